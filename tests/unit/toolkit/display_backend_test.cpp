// Choosing a display backend from its description.

#include "display/backend.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

off_t fileSize(const std::string& path)
{
    struct stat st { };
    if (stat(path.c_str(), &st) != 0)
        return -1;
    return st.st_size;
}

TEST(ParseSize, AcceptsWidthByHeight)
{
    int w = 0;
    int h = 0;
    ASSERT_TRUE(lumi::parseSize("800x480", w, h));
    EXPECT_EQ(w, 800);
    EXPECT_EQ(h, 480);
    ASSERT_TRUE(lumi::parseSize("1x8192", w, h));
    EXPECT_EQ(w, 1);
    EXPECT_EQ(h, 8192);
}

TEST(ParseSize, RejectsMalformedOrOutOfRangeSizesAndLeavesTheOutputsAlone)
{
    for (const char* bad :
        { "", "x", "800", "800x", "x480", "0x480", "800x0", "8193x10", "10x8193", "-1x5", "+1x5", "80 0x480",
            "800x480 ", "800X480", "800x480x2", "0x0", "99999999999x1", "1e3x2", "abc" }) {
        int w = 7;
        int h = 9;
        EXPECT_FALSE(lumi::parseSize(bad, w, h)) << bad;
        EXPECT_EQ(w, 7) << bad;
        EXPECT_EQ(h, 9) << bad;
    }
}

TEST(DisplayFactory, RefusesAnUnknownBackendName)
{
    std::string error;
    EXPECT_EQ(lumi::createDisplayBackend("vnc:5900", error), nullptr);
    EXPECT_NE(error.find("unknown display \"vnc\""), std::string::npos) << error;
}

TEST(DisplayFactory, RefusesAnSdlBackendWithABadSize)
{
    std::string error;
    EXPECT_EQ(lumi::createDisplayBackend("sdl:800by480", error), nullptr);
    EXPECT_NE(error.find("bad size"), std::string::npos) << error;
}

TEST(DisplayFactory, RefusesAnEmptyFbdevDeviceName)
{
    std::string error;
    EXPECT_EQ(lumi::createDisplayBackend("fbdev:", error), nullptr);
    EXPECT_NE(error.find("empty device"), std::string::npos) << error;
}

TEST(DisplayFactory, RefusesAFileBackendWithoutAPath)
{
    for (const char* description : { "file", "file:", "file::320x240" }) {
        std::string error;
        EXPECT_EQ(lumi::createDisplayBackend(description, error), nullptr) << description;
        EXPECT_NE(error.find("missing path"), std::string::npos) << description << ": " << error;
    }
}

TEST(DisplayFactory, MakesAFileScreenOfTheDefaultSize)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createDisplayBackend(("file:" + tmp.file("screen.raw")).c_str(), error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_EQ(display->width(), 800);
    EXPECT_EQ(display->height(), 480);
    EXPECT_EQ(display->bitsPerPixel(), 16);
    EXPECT_EQ(fileSize(tmp.file("screen.raw")), 800 * 480 * 2);
}

TEST(DisplayFactory, TakesTheSizeAfterTheLastColonOfAFileDisplay)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createDisplayBackend(("file:" + tmp.file("screen.raw") + ":320x240").c_str(), error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_EQ(display->width(), 320);
    EXPECT_EQ(display->height(), 240);
    EXPECT_EQ(fileSize(tmp.file("screen.raw")), 320 * 240 * 2);
}

TEST(DisplayFactory, KeepsAColonInAFilePathWhenNoSizeFollowsIt)
{
    lumitest::TempDir tmp;
    std::string error;
    auto display = lumi::createDisplayBackend(("file:" + tmp.file("a:b.raw")).c_str(), error);
    ASSERT_NE(display, nullptr) << error;
    EXPECT_EQ(fileSize(tmp.file("a:b.raw")), 800 * 480 * 2);

    auto sized = lumi::createDisplayBackend(("file:" + tmp.file("c:d.raw") + ":16x8").c_str(), error);
    ASSERT_NE(sized, nullptr) << error;
    EXPECT_EQ(fileSize(tmp.file("c:d.raw")), 16 * 8 * 2);
}

TEST(DisplayFactory, RefusesAFileDisplayWhoseSizeIsMistyped)
{
    lumitest::TempDir tmp;
    for (const char* size : { ":800x48O", ":0x480", ":800x", ":9000x10" }) {
        std::string error;
        std::string description = "file:" + tmp.file("screen.raw") + size;
        EXPECT_EQ(lumi::createDisplayBackend(description.c_str(), error), nullptr) << description;
        EXPECT_NE(error.find("bad size"), std::string::npos) << description << ": " << error;
    }
    // No file was made under a wrong name either.
    EXPECT_EQ(fileSize(tmp.file("screen.raw")), -1);
}

TEST(DisplayFactory, RefusesAnOverlongDescription)
{
    std::string error;
    std::string description = "file:/" + std::string(5000, 'a');
    EXPECT_EQ(lumi::createDisplayBackend(description.c_str(), error), nullptr);
    EXPECT_NE(error.find("too long"), std::string::npos) << error;
}

TEST(DisplayFactory, ReportsAFbdevNodeThatDoesNotExist)
{
    lumitest::TempDir tmp;
    std::string error;
    EXPECT_EQ(lumi::createDisplayBackend(("fbdev:" + tmp.file("fb9")).c_str(), error), nullptr);
    EXPECT_NE(error.find("cannot open"), std::string::npos) << error;
    EXPECT_NE(error.find(tmp.file("fb9")), std::string::npos) << error;
}

}
