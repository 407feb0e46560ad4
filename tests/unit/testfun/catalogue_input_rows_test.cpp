// The catalogue makes the pointer test in row 6 and the key test in row 18.

#include "input_support.h"

#include "testfun/catalogue.h"

#include <gtest/gtest.h>

namespace {

class CatalogueInputRowsTest : public inputtest::InputLayerTest { };

TEST_F(CatalogueInputRowsTest, PointerTestIsRowSixAndKeyTestRowEighteen)
{
    ASSERT_TRUE(testfuntest::writeFile("config.ini", "[function]\ntest_mouse=1\n"));
    testfuntest::ItemList list;
    ASSERT_EQ(initTestItems(list.items), 0);
    // The pointer test right after the demo tests, the key test last.
    ASSERT_GE(list.size(), 7);
    auto* mouseTest = dynamic_cast<MouseItem*>(list[5]);
    auto* keyTest = dynamic_cast<InputItem*>(list[list.size() - 1]);
    ASSERT_NE(mouseTest, nullptr);
    ASSERT_NE(keyTest, nullptr);
    EXPECT_EQ(s_mouseTest, mouseTest);
    EXPECT_EQ(s_input, keyTest);
    EXPECT_STREQ(mouseTest->getName(), "\xE9\xBC\xA0\xE6\xA0\x87"); // 鼠标
    EXPECT_STREQ(keyTest->getName(), "\xE6\x8C\x89\xE9\x94\xAE"); // 按键
}

TEST_F(CatalogueInputRowsTest, SwitchedOffRowsMakeNoTests)
{
    ASSERT_TRUE(testfuntest::writeFile("config.ini", "[function]\ntest_mouse=0\ntest_keypress=0\n"));
    testfuntest::ItemList list;
    ASSERT_EQ(initTestItems(list.items), 0);
    for (int i = 0; i < list.size(); ++i) {
        EXPECT_EQ(dynamic_cast<MouseItem*>(list[i]), nullptr);
        EXPECT_EQ(dynamic_cast<InputItem*>(list[i]), nullptr);
    }
    EXPECT_EQ(s_mouseTest, nullptr);
    EXPECT_EQ(s_input, nullptr);
}

}
