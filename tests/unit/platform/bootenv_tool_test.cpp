// uishull-bootenv on environment image files: print, get, set and delete
// round trips in both layouts, and refused images and command lines.

#include "platform/bootenv_tool.h"

#include "bootenv_test_support.h"
#include "child_process.h"
#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using namespace bootenvtest;

struct ToolRun {
    int status;
    std::string out;
    std::string err;
    std::string printed; // the store's own lines on standard output
};

std::string slurp(FILE* f)
{
    std::string s;
    std::rewind(f);
    char buf[4096];
    size_t n = 0;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    std::fclose(f);
    return s;
}

ToolRun run(std::vector<std::string> words)
{
    words.insert(words.begin(), "uishull-bootenv");
    std::vector<char*> argv;
    for (std::string& w : words)
        argv.push_back(&w[0]);
    argv.push_back(nullptr);
    lumitest::TempDir dir;
    FILE* out = std::fopen(dir.file("out").c_str(), "w+");
    FILE* err = std::fopen(dir.file("err").c_str(), "w+");
    testing::internal::CaptureStdout();
    ToolRun r;
    r.status = runBootenvTool(static_cast<int>(words.size()), argv.data(), out, err);
    r.printed = testing::internal::GetCapturedStdout();
    r.out = slurp(out);
    r.err = slurp(err);
    return r;
}

class BootenvTool : public ::testing::Test {
protected:
    void SetUp() override
    {
        copy1 = tmp.file("env1.bin");
        copy2 = tmp.file("env2.bin");
    }
    lumitest::TempDir tmp;
    std::string copy1;
    std::string copy2;
};

TEST_F(BootenvTool, PrintListsEveryVariableInFlashOrder)
{
    writeFile(
        copy1, makeImage(Layout::Redundant, { "bootdelay=1", "camera_chip=ccir656", "camera_up=10=ff" }));
    const ToolRun r = run({ "--image", copy1, "print" });
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "bootdelay=1\ncamera_chip=ccir656\ncamera_up=10=ff\n");
    EXPECT_EQ(r.err, "");
}

TEST_F(BootenvTool, GetPrintsTheValueOrSaysTheNameIsNotSet)
{
    writeFile(copy1, makeImage(Layout::Redundant, { "camera_chip=ccir656" }));
    ToolRun r = run({ "--image", copy1, "get", "camera_chip" });
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "ccir656\n");
    r = run({ "--image", copy1, "get", "camera_up" });
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "uishull-bootenv: camera_up is not set\n");
}

TEST_F(BootenvTool, SetThenGetAndPrintRoundTripInTheRedundantLayout)
{
    writeFile(copy1, makeImage(Layout::Redundant, { "a=1", "b=2" }, 1));
    writeFile(copy2, makeImage(Layout::Redundant, { "a=0" }, 0));
    ToolRun r = run({ "--image", copy1, "--image2", copy2, "set", "a", "changed value" });
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    r = run({ "--image", copy1, "--image2", copy2, "get", "a" });
    EXPECT_EQ(r.out, "changed value\n");
    r = run({ "--image", copy1, "--image2", copy2, "print" });
    EXPECT_EQ(r.out, "b=2\na=changed value\n");
    r = run({ "--image", copy1, "--image2", copy2, "info" });
    EXPECT_EQ(r.out, "layout: redundant copies\ncopy: 2 (flagged active)\nsector: 18\n");
    // Written the safe way: copy 2 new and active, copy 1 kept and retired.
    const std::vector<char> c1 = readFile(copy1);
    EXPECT_TRUE(crcValid(c1, Layout::Redundant));
    EXPECT_EQ(c1[4], 0);
    EXPECT_EQ(entriesOf(c1.data(), Layout::Redundant), (std::vector<std::string> { "a=1", "b=2" }));
}

TEST_F(BootenvTool, SetAndDeleteRoundTripInTheSingleLayout)
{
    writeFile(copy1, makeImage(Layout::Single, { "a=1", "b=2" }));
    ToolRun r = run({ "--single", "--image", copy1, "set", "c", "3" });
    ASSERT_EQ(r.status, 0) << r.err;
    r = run({ "--single", "--image", copy1, "delete", "a" });
    ASSERT_EQ(r.status, 0) << r.err;
    r = run({ "--image", copy1, "--single", "print" });
    EXPECT_EQ(r.out, "b=2\nc=3\n");
    EXPECT_TRUE(crcValid(readFile(copy1), Layout::Single));
    r = run({ "--single", "--image", copy1, "info" });
    EXPECT_EQ(r.out, "layout: single copy\ncopy: 1\nsector: 3\n");
    r = run({ "--single", "--image", copy1, "delete", "a" });
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "uishull-bootenv: a is not set\n");
}

TEST_F(BootenvTool, AnUnflaggedSingleImageOfTheRedundantLayoutIsWrittenInPlace)
{
    writeFile(copy1, makeImage(Layout::Redundant, { "a=1" }, 0));
    ToolRun r = run({ "--image", copy1, "set", "a", "2" });
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<char> c1 = readFile(copy1);
    EXPECT_EQ(c1[4], 1);
    EXPECT_EQ(run({ "--image", copy1, "get", "a" }).out, "2\n");
}

TEST_F(BootenvTool, AnActiveCopyAloneCannotBeWrittenAndSaysWhy)
{
    const std::vector<char> image = makeImage(Layout::Redundant, { "a=1" }, 1);
    writeFile(copy1, image);
    const ToolRun r = run({ "--image", copy1, "set", "a", "2" });
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("cannot write the environment to " + copy1), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("--image2"), std::string::npos) << r.err;
    EXPECT_EQ(readFile(copy1), image);
}

TEST_F(BootenvTool, ACorruptedImageIsRefusedWithAClearMessage)
{
    std::vector<char> image = makeImage(Layout::Redundant, { "a=1" });
    image[100] = 'x';
    writeFile(copy1, image);
    ToolRun r = run({ "--image", copy1, "print" });
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.printed, "mtd dev1 crc32 is not correct\n");
    EXPECT_EQ(r.err,
        "uishull-bootenv: no valid environment in " + copy1
            + " (an image of the single-copy layout needs --single)\n");
    r = run({ "--image", copy1, "set", "a", "2" });
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(readFile(copy1), image);
    writeFile(copy1, makeImage(Layout::Single, { "a=1" }, 1, false));
    r = run({ "--single", "--image", copy1, "get", "a" });
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.printed, "mtd dev crc32 is not correct\n");
    EXPECT_EQ(r.err, "uishull-bootenv: no valid environment in " + copy1 + "\n");
}

TEST_F(BootenvTool, AMissingOrShortImageIsRefused)
{
    ToolRun r = run({ "--image", tmp.file("none"), "print" });
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("no valid environment"), std::string::npos);
    writeFile(copy1, std::vector<char>(10, 0));
    r = run({ "--image", copy1, "print" });
    EXPECT_EQ(r.status, 1);
}

TEST_F(BootenvTool, AValueThatDoesNotFitIsRefusedAndNothingIsWritten)
{
    const std::vector<char> image = makeImage(Layout::Redundant, { "a=1" }, 0);
    writeFile(copy1, image);
    const ToolRun r = run({ "--image", copy1, "set", "big", std::string(ENV_IMAGE_SIZE, 'v') });
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("no room for big="), std::string::npos);
    EXPECT_EQ(readFile(copy1), image);
}

TEST_F(BootenvTool, BadCommandLinesAreUsageErrors)
{
    writeFile(copy1, makeImage(Layout::Redundant, { "a=1" }));
    const std::vector<std::vector<std::string>> bad {
        {},
        { "--image" },
        { "--image", copy1 },
        { "--image", copy1, "get" },
        { "--image", copy1, "set", "a" },
        { "--image", copy1, "print", "x" },
        { "--image", copy1, "frobnicate" },
        { "--bogus", "print" },
        { "--image2", copy2, "print" },
        { "--single", "print" },
        { "--single", "--image", copy1, "--image2", copy2, "print" },
        { "--image", copy1, "set", "", "1" },
        { "--image", copy1, "set", "a=b", "1" },
        { "--image", copy1, "delete", "x=y" },
    };
    for (const auto& words : bad) {
        std::string line;
        for (const std::string& w : words)
            line += w + " ";
        const ToolRun r = run(words);
        EXPECT_EQ(r.status, 2) << line;
        EXPECT_EQ(r.err.rfind("uishull-bootenv: ", 0), 0u) << line << r.err;
    }
    EXPECT_TRUE(crcValid(readFile(copy1), Layout::Redundant));
}

TEST_F(BootenvTool, HelpDescribesEveryCommandAndOption)
{
    const ToolRun r = run({ "--help" });
    EXPECT_EQ(r.status, 0);
    for (const char* word : { "print", "get NAME", "set NAME VALUE", "delete NAME", "info", "--image FILE",
             "--image2 FILE2", "--single" })
        EXPECT_NE(r.out.find(word), std::string::npos) << word;
}

TEST_F(BootenvTool, TheInstalledProgramRunsTheSameCommandLine)
{
    writeFile(copy1, makeImage(Layout::Redundant, { "camera_chip=ccir656" }, 0));
    {
        lumitest::ChildProcess p(lumitest::buildProgram("tools/uishull-bootenv"),
            { "--image", copy1, "set", "camera_up", "10=ff" }, {});
        ASSERT_TRUE(p.started());
        EXPECT_EQ(p.wait(), 0) << p.errors();
    }
    lumitest::ChildProcess p(
        lumitest::buildProgram("tools/uishull-bootenv"), { "--image", copy1, "print" }, {});
    ASSERT_TRUE(p.started());
    EXPECT_EQ(p.wait(), 0);
    EXPECT_EQ(p.output(), "camera_chip=ccir656\ncamera_up=10=ff\n");
}

}
