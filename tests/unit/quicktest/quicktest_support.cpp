#include "quicktest_support.h"

#include "platform/charset.h"
#include "platform/shell_command.h"
#include "widgets/pelbutton.h"
#include "widgets/pelsmoothgrid.h"

#include <lumi/controls.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace quicktesttest {

namespace {

    int recordCommand(const char* command)
    {
        shellCommands().push_back(command ? command : "");
        return 0;
    }

}

std::vector<std::string>& shellCommands()
{
    static std::vector<std::string> commands;
    return commands;
}

std::string converted(const OperatorText& text)
{
    int length = static_cast<int>(std::strlen(text.gbk));
    char* utf8 = str2utf8(text.gbk, &length, CHARSET_GBK);
    std::string result = utf8 ? utf8 : "";
    std::free(utf8);
    return result;
}

void ProbeWnd::useItems(std::initializer_list<TestItem*> list)
{
    for (int i = 0; i < items.size(); ++i)
        delete items[i];
    items.clear();
    for (TestItem* item : list)
        items.push_back(item);
    if (grid)
        grid->invalidateRect(nullptr);
}

Layout::Layout(int width, int height)
{
    // The rules the screen is laid out by, written out again independently.
    hint = Rect(0, 0, width * 2 / 5, 70);
    status = Rect(hint.right, 0, width, 70);
    grid = Rect(0, 70, hint.right, height - 100);
    rows = grid.height() / 40;
    work = grid;
    work.shrink(12, 8);
    const int wantedRows = rows < 1 ? 1 : rows;
    rowHeight = work.height() / wantedRows;
    // Whole rows only, centred in the area they were cut from.
    const int spare = work.height() - rowHeight * wantedRows;
    work.top += spare / 2;
    work.bottom = work.top + rowHeight * wantedRows;
    log = Rect(grid.right, grid.top, width, grid.bottom);
    current = Rect(10, grid.bottom + 5, grid.right - 10, grid.bottom + 5 + 40);
    for (int i = 0; i < 3; ++i) {
        swatch[i] = Rect(
            current.left + 90 * i, current.bottom + 10, current.left + 90 * i + 30, current.bottom + 40);
        text[i] = Rect(swatch[i].right, swatch[i].top, swatch[i].right + 50, swatch[i].bottom);
    }
    power = Rect(log.right - 30 - 120, log.bottom + 40, log.right - 30, log.bottom + 80);
    next = Rect(power.left - 60 - 120, power.top, power.left - 60, power.bottom);
}

Rect Layout::row(int index) const
{
    return Rect(work.left, work.top + index * rowHeight, work.right, work.top + (index + 1) * rowHeight);
}

void QuickTestFixture::SetUp()
{
    lumitest::ToolkitTest::SetUp();
    // Never the real command: the power button would switch this machine off.
    shellCommands().clear();
    setShellCommandRunner(&recordCommand);
    demoTestItem::s_result = 0;
    layout = Layout(screenWidth, screenHeight);

    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    previousDir = cwd;
    ASSERT_EQ(chdir(tmp.path().c_str()), 0);
}

void QuickTestFixture::TearDown()
{
    if (client >= 0)
        close(client);
    client = -1;
    if (inputOpen)
        rt->closeTestInput();
    inputOpen = false;
    lumitest::ToolkitTest::TearDown();
    if (!previousDir.empty() && chdir(previousDir.c_str()) != 0)
        perror("chdir back");
    setShellCommandRunner(nullptr);
}

void QuickTestFixture::writeConfig(const std::string& text)
{
    FILE* f = std::fopen(tmp.file("config.ini").c_str(), "w");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), f), text.size());
    ASSERT_EQ(std::fclose(f), 0);
}

void QuickTestFixture::writeDemoConfig(bool runAll)
{
    writeConfig(std::string("[function]\n[autorun]\nrunall=") + (runAll ? "1" : "0") + "\n");
}

ProbeWnd* QuickTestFixture::openWindow()
{
    auto* window = new ProbeWnd; // the toolkit deletes it
    EXPECT_EQ(window->create(), 0);
    window->showWindow(true);
    settle();
    return window;
}

PmpMsgBox* QuickTestFixture::topBox() const
{
    return dynamic_cast<PmpMsgBox*>(app->getTopWnd());
}

std::string QuickTestFixture::boxText() const
{
    PmpMsgBox* box = topBox();
    return box && box->label() ? box->label()->getText() : "";
}

int QuickTestFixture::boxCount() const
{
    int n = 0;
    for (MainWndBase* w : mainWindows())
        n += dynamic_cast<PmpMsgBox*>(w) ? 1 : 0;
    return n;
}

void QuickTestFixture::openOperator()
{
    const std::string path = tmp.file("input.sock");
    ASSERT_EQ(rt->openTestInput(path.c_str()), 0);
    inputOpen = true;
    client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(client, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

namespace {

    void sendLine(int fd, const std::string& line)
    {
        const std::string text = line + "\n";
        ASSERT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size())) << line;
    }

}

void QuickTestFixture::tap(int x, int y)
{
    ASSERT_GE(client, 0) << "openOperator() first";
    const int before = counting().releases;
    sendLine(client, "tap " + std::to_string(x) + " " + std::to_string(y));
    ASSERT_TRUE(pumpUntil([&] { return counting().releases > before; })) << "tap " << x << " " << y;
    settle();
}

void QuickTestFixture::key(int code)
{
    ASSERT_GE(client, 0) << "openOperator() first";
    const int before = counting().keyUps;
    sendLine(client, "key " + std::to_string(code));
    ASSERT_TRUE(pumpUntil([&] { return counting().keyUps > before; })) << "key " << code;
    settle();
}

void QuickTestFixture::answer(int button)
{
    PmpMsgBox* box = topBox();
    ASSERT_NE(box, nullptr) << "no question on the screen";
    const Rect r = box->button(button)->screenRect();
    tap((r.left + r.right) / 2, (r.top + r.bottom) / 2);
}

std::string QuickTestFixture::screenshot(const std::string& name) const
{
    const std::string path = tmp.file(name);
    saveScreenshot(path);
    return path;
}

}
