#pragma once
// Shared pieces of the test-model tests: a log that records its lines, an
// owner for heap test items, a change of working directory, a host window for
// the log's edit box, and a switch that makes the GBK conversion fail.

#include "testfun/log.hpp"
#include "widgets/tdynarray.h"

#include <lumi/lumi.h>

#include "line_log.h"
#include "lumi_test.h"

#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace testfuntest {

// Makes the next `count` calls of str2utf8 return null, as they do when
// memory runs out (the only way a non-empty conversion fails). The test
// executable is linked with the linker's --wrap of str2utf8 (see
// tests/CMakeLists.txt); calls go through to the real function otherwise.
void failConversions(int count);
// Calls of str2utf8 failed so far by failConversions (for checking that a
// test really went through the failing path).
int failedConversions();

// A log that keeps every line it is given, formatted.
class RecordingLog final : public LineLog {
public:
    std::vector<std::string> lines;

protected:
    void line(const char* text) override { lines.emplace_back(text); }
};

// The heap items of a catalogue, deleted with the list (as the quick-test
// window deletes them).
class ItemList {
public:
    ItemList() = default;
    ItemList(const ItemList&) = delete;
    ItemList& operator=(const ItemList&) = delete;
    ~ItemList()
    {
        for (int i = 0; i < items.size(); ++i)
            delete items[i];
        items.clear();
    }

    int size() const { return items.size(); }
    TestItem* operator[](int i) { return items[i]; }

    TDynArray<TestItem*> items;
};

// Runs the test in another working directory and comes back.
class ScopedChdir {
public:
    explicit ScopedChdir(const std::string& dir)
    {
        char buf[4096];
        if (getcwd(buf, sizeof buf))
            m_previous = buf;
        m_ok = chdir(dir.c_str()) == 0;
    }
    ~ScopedChdir()
    {
        if (!m_previous.empty() && chdir(m_previous.c_str()) != 0)
            perror("chdir back");
    }
    bool ok() const { return m_ok; }

private:
    std::string m_previous;
    bool m_ok { false };
};

// Writes text to path; true on success.
inline bool writeFile(const std::string& path, const std::string& text)
{
    FILE* f = fopen(path.c_str(), "w");
    if (!f)
        return false;
    const bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
    return fclose(f) == 0 && ok;
}

// A full-screen main window with the given id that records the program's
// notification messages (id 8195) it receives.
class HostWnd : public MainWndBase {
public:
    static constexpr unsigned short kBack = 0x7BAF;

    int create(int width, int height, int id)
    {
        const int rc = MainWndBase::create(Rect(0, 0, width, height), WS_VISIBLE, id);
        setBackColor(kBack);
        return rc;
    }

    int handleMessage(LUMIMessage& msg) override
    {
        if (msg.id == 8195)
            notifications.push_back(msg);
        return MainWndBase::handleMessage(msg);
    }

    std::vector<LUMIMessage> notifications;
};

// The pixels of rect (screen coordinates) as the display shows them, row by
// row, read from the screen file at once; empty when it cannot be read.
inline std::vector<uint16_t> shownPixels(const std::string& screenFile, int screenWidth, const Rect& rect)
{
    std::vector<uint16_t> pixels(static_cast<size_t>(rect.width()) * static_cast<size_t>(rect.height()));
    const int fd = ::open(screenFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    bool ok = true;
    const ssize_t want = static_cast<ssize_t>(rect.width()) * 2;
    for (int y = rect.top; ok && y < rect.bottom; ++y) {
        const off_t offset = (static_cast<off_t>(y) * screenWidth + rect.left) * 2;
        // The file is little-endian RGB565, as the machines that run the tests are.
        ok = ::pread(fd, pixels.data() + static_cast<size_t>(y - rect.top) * rect.width(),
                 static_cast<size_t>(want), offset)
            == want;
    }
    ::close(fd);
    return ok ? pixels : std::vector<uint16_t>();
}

}
