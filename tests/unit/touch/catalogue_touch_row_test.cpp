// The quick test's touch-screen row: "test_calts" in section "function"
// lists the calibration test, which runs on in its own window.

#include "testfun/catalogue.h"
#include "touch/tscalibratewnd.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

int countTouchItems(const std::string& dir, const char* config)
{
    char previous[4096];
    if (!getcwd(previous, sizeof previous) || chdir(dir.c_str()) != 0)
        return -1;
    FILE* f = fopen("config.ini", "w");
    if (f) {
        fputs(config, f);
        fclose(f);
    }
    TDynArray<TestItem*> items;
    testing::internal::CaptureStdout();
    initTestItems(items);
    testing::internal::GetCapturedStdout();
    int count = 0;
    for (int i = 0; i < items.size(); ++i) {
        if (auto* t = dynamic_cast<TestTouchScreen*>(items[i])) {
            ++count;
            EXPECT_FALSE(t->isAutoRun());
            EXPECT_STREQ(t->getName(), "\xE8\xA7\xA6\xE6\x91\xB8\xE5\xB1\x8F\xE6\xA0\xA1\xE5\x87\x86");
        }
        delete items[i];
    }
    if (chdir(previous) != 0)
        return -1;
    return count;
}

TEST(CatalogueTouchRow, CaltsKeyListsTheTouchScreenTest)
{
    lumitest::TempDir tmp;
    EXPECT_EQ(countTouchItems(tmp.path(), "[function]\ntest_calts = 1\n"), 1);
    EXPECT_EQ(countTouchItems(tmp.path(), "[function]\ntest_mouse = 1\ntest_calts = 0\n"), 0);
}

}
