#include "widgets/tdynarray.h"

#include <gtest/gtest.h>

TEST(TDynArray, HoldsIntsByValue)
{
    TDynArray<int> a;
    for (int i = 0; i < 20; ++i)
        a.push_back(i * 3 - 7);
    ASSERT_EQ(a.size(), 20);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(a[i], i * 3 - 7);
}

TEST(TDynArray, IndexGivesAReferenceToTheElement)
{
    TDynArray<int> a;
    a.push_back(1);
    a[0] = -5;
    EXPECT_EQ(a[0], -5);
}

TEST(TDynArray, EraseAndClearForwardToTheArray)
{
    TDynArray<int> a;
    a.push_back(10);
    a.push_back(20);
    a.push_back(30);
    EXPECT_EQ(a.erase(0), 0);
    EXPECT_EQ(a.size(), 2);
    EXPECT_EQ(a[0], 20);
    EXPECT_EQ(a.erase(5), -1);
    a.clear();
    EXPECT_EQ(a.size(), 0);
}

TEST(TDynArray, HoldsPointers)
{
    int x = 1, y = 2;
    TDynArray<int*> a;
    a.push_back(&x);
    a.push_back(&y);
    EXPECT_EQ(*a[1], 2);
}
