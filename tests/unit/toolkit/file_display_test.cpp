// The headless display: a shared RGB565 little-endian file.

#include "display/file_display.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kWidth = 16;
constexpr int kHeight = 8;

// The file as another process sees it, read through its own descriptor.
std::vector<uint8_t> readFile(const std::string& path)
{
    std::vector<uint8_t> data;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return data;
    uint8_t buffer[4096];
    for (;;) {
        ssize_t got = read(fd, buffer, sizeof(buffer));
        if (got <= 0)
            break;
        data.insert(data.end(), buffer, buffer + got);
    }
    close(fd);
    return data;
}

uint16_t pixelAt(const std::vector<uint8_t>& file, int x, int y)
{
    size_t at = (static_cast<size_t>(y) * kWidth + x) * 2;
    return static_cast<uint16_t>(file[at] | (file[at + 1] << 8));
}

// A frame where every pixel differs from its neighbours and from zero.
std::vector<uint16_t> patternFrame()
{
    std::vector<uint16_t> frame(kWidth * kHeight);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            frame[y * kWidth + x] = static_cast<uint16_t>(0x8000 | (y << 8) | x);
    return frame;
}

TEST(FileDisplay, CreatesAZeroedFileOfWidthTimesHeightTimesTwoBytes)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createFileDisplay(tmp.file("screen.raw"), kWidth, kHeight, error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_EQ(display->width(), kWidth);
    EXPECT_EQ(display->height(), kHeight);
    std::vector<uint8_t> file = readFile(tmp.file("screen.raw"));
    ASSERT_EQ(file.size(), static_cast<size_t>(kWidth * kHeight * 2));
    for (uint8_t byte : file)
        ASSERT_EQ(byte, 0);
}

TEST(FileDisplay, EmptiesAnOlderLargerScreenFile)
{
    lumitest::TempDir tmp;
    {
        FILE* old = std::fopen(tmp.file("screen.raw").c_str(), "wb");
        ASSERT_NE(old, nullptr);
        std::vector<uint8_t> junk(100000, 0xAB);
        std::fwrite(junk.data(), 1, junk.size(), old);
        std::fclose(old);
    }
    std::string error;
    auto display = lumi::createFileDisplay(tmp.file("screen.raw"), kWidth, kHeight, error);
    ASSERT_NE(display, nullptr) << error;
    std::vector<uint8_t> file = readFile(tmp.file("screen.raw"));
    ASSERT_EQ(file.size(), static_cast<size_t>(kWidth * kHeight * 2));
    EXPECT_EQ(file[0], 0);
    EXPECT_EQ(file.back(), 0);
}

TEST(FileDisplay, ShowsAFlushedRectangleAndLeavesTheRestUntouched)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createFileDisplay(tmp.file("screen.raw"), kWidth, kHeight, error);
    ASSERT_NE(display, nullptr) << error;
    std::vector<uint16_t> frame = patternFrame();
    Rect rect(3, 2, 7, 5);
    display->flush(frame.data(), kWidth * 2, &rect, 1);

    std::vector<uint8_t> file = readFile(tmp.file("screen.raw"));
    ASSERT_EQ(file.size(), static_cast<size_t>(kWidth * kHeight * 2));
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            uint16_t expected = rect.ptInRect(x, y) ? frame[y * kWidth + x] : 0;
            ASSERT_EQ(pixelAt(file, x, y), expected) << "at " << x << "," << y;
        }
    }
}

TEST(FileDisplay, StoresPixelsLowByteFirst)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createFileDisplay(tmp.file("screen.raw"), kWidth, kHeight, error);
    ASSERT_NE(display, nullptr) << error;
    std::vector<uint16_t> frame(kWidth * kHeight, 0);
    frame[0] = 0xF81F;
    Rect rect(0, 0, 1, 1);
    display->flush(frame.data(), kWidth * 2, &rect, 1);
    std::vector<uint8_t> file = readFile(tmp.file("screen.raw"));
    ASSERT_GE(file.size(), 2u);
    EXPECT_EQ(file[0], 0x1F);
    EXPECT_EQ(file[1], 0xF8);
}

TEST(FileDisplay, CopiesEveryRectangleOfOneFlushFromAWiderFrame)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createFileDisplay(tmp.file("screen.raw"), kWidth, kHeight, error);
    ASSERT_NE(display, nullptr) << error;
    // A frame with padding at the end of each row: the stride is honoured.
    const int strideWords = kWidth + 5;
    std::vector<uint16_t> frame(static_cast<size_t>(strideWords) * kHeight, 0xFFFF);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            frame[y * strideWords + x] = static_cast<uint16_t>(y * 100 + x + 1);
    Rect rects[] = { Rect(0, 0, 2, 1), Rect(10, 6, 16, 8) };
    display->flush(frame.data(), strideWords * 2, rects, 2);

    std::vector<uint8_t> file = readFile(tmp.file("screen.raw"));
    ASSERT_EQ(file.size(), static_cast<size_t>(kWidth * kHeight * 2));
    EXPECT_EQ(pixelAt(file, 1, 0), 2);
    EXPECT_EQ(pixelAt(file, 15, 7), 7 * 100 + 16);
    EXPECT_EQ(pixelAt(file, 10, 6), 6 * 100 + 11);
    EXPECT_EQ(pixelAt(file, 2, 0), 0);
    EXPECT_EQ(pixelAt(file, 9, 6), 0);
    EXPECT_EQ(pixelAt(file, 0, 1), 0);
}

TEST(FileDisplay, IgnoresThePartOfARectangleOutsideTheScreen)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createFileDisplay(tmp.file("screen.raw"), kWidth, kHeight, error);
    ASSERT_NE(display, nullptr) << error;
    std::vector<uint16_t> frame = patternFrame();
    Rect rect(-4, -4, kWidth + 4, 1);
    display->flush(frame.data(), kWidth * 2, &rect, 1);
    std::vector<uint8_t> file = readFile(tmp.file("screen.raw"));
    ASSERT_EQ(file.size(), static_cast<size_t>(kWidth * kHeight * 2));
    EXPECT_EQ(pixelAt(file, kWidth - 1, 0), frame[kWidth - 1]);
    EXPECT_EQ(pixelAt(file, 0, 1), 0);
}

TEST(FileDisplay, ReportsAFileThatCannotBeCreated)
{
    lumitest::TempDir tmp;
    std::string error;
    std::string path = tmp.file("no-such-dir/screen.raw");
    EXPECT_EQ(lumi::createFileDisplay(path, kWidth, kHeight, error), nullptr);
    EXPECT_NE(error.find("cannot create"), std::string::npos) << error;
    EXPECT_NE(error.find(path), std::string::npos) << error;
}

void writeText(const std::string& path, const std::string& text)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr) << path;
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
}

std::string textOf(const std::string& path)
{
    std::vector<uint8_t> data = readFile(path);
    return std::string(data.begin(), data.end());
}

// Why a screen file at path is refused ("" when it is taken).
std::string refusal(const std::string& path)
{
    std::string error;
    if (lumi::createFileDisplay(path, kWidth, kHeight, error))
        return "";
    return error;
}

TEST(FileDisplay, RefusesASymbolicLinkAndLeavesItsTargetUntouched)
{
    lumitest::TempDir tmp;
    writeText(tmp.file("precious.txt"), "a file that is not a screen\n");
    ASSERT_EQ(symlink(tmp.file("precious.txt").c_str(), tmp.file("screen.raw").c_str()), 0);
    const std::string error = refusal(tmp.file("screen.raw"));
    EXPECT_NE(error.find(tmp.file("screen.raw") + " is a symbolic link"), std::string::npos) << error;
    EXPECT_EQ(textOf(tmp.file("precious.txt")), "a file that is not a screen\n");
}

TEST(FileDisplay, DoesNotCreateTheTargetOfADanglingSymbolicLink)
{
    lumitest::TempDir tmp;
    ASSERT_EQ(symlink(tmp.file("elsewhere.raw").c_str(), tmp.file("screen.raw").c_str()), 0);
    const std::string error = refusal(tmp.file("screen.raw"));
    EXPECT_NE(error.find("symbolic link"), std::string::npos) << error;
    struct stat st { };
    EXPECT_NE(stat(tmp.file("elsewhere.raw").c_str(), &st), 0);
}

TEST(FileDisplay, RefusesADirectory)
{
    lumitest::TempDir tmp;
    ASSERT_EQ(mkdir(tmp.file("screen.raw").c_str(), 0700), 0);
    const std::string error = refusal(tmp.file("screen.raw"));
    EXPECT_NE(error.find(tmp.file("screen.raw") + " is a directory"), std::string::npos) << error;
}

TEST(FileDisplay, RefusesAFileWithAnotherNameAndLeavesItUntouched)
{
    lumitest::TempDir tmp;
    writeText(tmp.file("precious.txt"), "keep");
    ASSERT_EQ(link(tmp.file("precious.txt").c_str(), tmp.file("screen.raw").c_str()), 0);
    EXPECT_NE(refusal(tmp.file("screen.raw")).find("hard links"), std::string::npos);
    EXPECT_EQ(textOf(tmp.file("precious.txt")), "keep");
}

TEST(FileDisplay, RefusesAPathThatIsNotARegularFile)
{
    lumitest::TempDir tmp;
    ASSERT_EQ(mkfifo(tmp.file("pipe").c_str(), 0600), 0);
    std::string error;
    EXPECT_EQ(lumi::createFileDisplay(tmp.file("pipe"), kWidth, kHeight, error), nullptr);
    EXPECT_NE(error.find("not a regular file"), std::string::npos) << error;
}

}
