// The sample "config.ini" shipped in res/ (installed with the program) reads
// cleanly and names every key the program reads.

#include "testfun_support.h"

#include "testfun/catalogue.h"
#include "testfun/log.hpp"

#include <lumi/config.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string samplePath()
{
    return lumitest::sourceDir() + "/res/config.ini";
}

bool hasKey(const IniFile& ini, const char* section, const char* key)
{
    char value[128] = {};
    return ini.readString(section, key, value, -1) == 0;
}

TEST(SampleConfig, ParsesWithoutErrors)
{
    IniFile ini;
    EXPECT_EQ(ini.open(samplePath().c_str()), 0) << samplePath();
}

TEST(SampleConfig, ListsEveryTestKeyOfSectionFunction)
{
    IniFile ini;
    ASSERT_EQ(ini.open(samplePath().c_str()), 0);
    for (const CatalogueRow& row : g_catalogueRows) {
        char value[10] = {};
        ASSERT_EQ(ini.readString("function", row.key, value, -1), 0) << row.key;
        int enabled = -1;
        EXPECT_EQ(sscanf(value, "%d", &enabled), 1) << row.key << " has no number";
    }
}

TEST(SampleConfig, SetsRunAllInSectionAutorun)
{
    IniFile ini;
    ASSERT_EQ(ini.open(samplePath().c_str()), 0);
    char value[10] = {};
    ASSERT_EQ(ini.readString("autorun", "runall", value, -1), 0);
    int runAll = 0;
    EXPECT_EQ(sscanf(value, "%d", &runAll), 1);
}

TEST(SampleConfig, ListsTheNineteenKeypadNames)
{
    const char* names[] = { "clear", "left", "right", "up", "down", "volUp", "volDown", "select", "back",
        "menu", "previous", "next", "mute", "multi", "playpause", "stop", "power", "sleep", "hold" };
    static_assert(sizeof names / sizeof names[0] == 19);
    IniFile ini;
    ASSERT_EQ(ini.open(samplePath().c_str()), 0);
    for (const char* name : names)
        EXPECT_TRUE(hasKey(ini, "keypad", name)) << name;
}

TEST(SampleConfig, NamesTheLogoOfTheUpdateScreen)
{
    IniFile ini;
    ASSERT_EQ(ini.open(samplePath().c_str()), 0);
    EXPECT_TRUE(hasKey(ini, "Log", "log_path"));
}

TEST(SampleConfig, SwitchesOnEveryDeviceTestWhenUsedAsIs)
{
    lumitest::TempDir tmp;
    std::ifstream in(samplePath(), std::ios::binary);
    ASSERT_TRUE(in.good());
    std::ostringstream text;
    text << in.rdbuf();
    ASSERT_TRUE(testfuntest::writeFile(tmp.file("config.ini"), text.str()));
    testfuntest::ScopedChdir cwd(tmp.path());
    ASSERT_TRUE(cwd.ok());

    testfuntest::ItemList list;
    bool decided[CATALOGUE_CONFIG_ROWS] {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(initTestItems(list.items, decided), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_GE(list.size(), CATALOGUE_DEMO_ITEMS);
    for (int i = 0; i < CATALOGUE_CONFIG_ROWS; ++i)
        EXPECT_TRUE(decided[i]) << g_catalogueRows[i].key;
}

}
