#include <lumi/dynarray.h>

#include <gtest/gtest.h>

#include <cstdint>

static void* ptr(intptr_t v)
{
    return reinterpret_cast<void*>(v);
}

TEST(DynArray, PushBackAppendsInOrderAndCounts)
{
    DynArray a(2);
    for (intptr_t i = 1; i <= 100; ++i)
        a.push_back(ptr(i));
    ASSERT_EQ(a.size(), 100);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(a[i], ptr(i + 1));
}

TEST(DynArray, IndexReturnsAWritableElement)
{
    DynArray a(4);
    a.push_back(ptr(1));
    a[0] = ptr(7);
    EXPECT_EQ(a[0], ptr(7));
}

TEST(DynArray, EraseMovesLaterElementsDown)
{
    DynArray a(4);
    for (intptr_t i = 0; i < 5; ++i)
        a.push_back(ptr(i));
    EXPECT_EQ(a.erase(1), 0);
    ASSERT_EQ(a.size(), 4);
    EXPECT_EQ(a[0], ptr(0));
    EXPECT_EQ(a[1], ptr(2));
    EXPECT_EQ(a[3], ptr(4));
}

TEST(DynArray, EraseOutOfRangeFailsAndChangesNothing)
{
    DynArray a(4);
    a.push_back(ptr(1));
    EXPECT_EQ(a.erase(1), -1);
    EXPECT_EQ(a.erase(-1), -1);
    EXPECT_EQ(a.size(), 1);
}

TEST(DynArray, ClearEmptiesAndTheArrayStaysUsable)
{
    DynArray a(1);
    a.push_back(ptr(1));
    a.push_back(ptr(2));
    a.clear();
    EXPECT_EQ(a.size(), 0);
    a.push_back(ptr(3));
    EXPECT_EQ(a.size(), 1);
    EXPECT_EQ(a[0], ptr(3));
}

TEST(DynArray, ZeroCapacityStillGrows)
{
    DynArray a(0);
    a.push_back(ptr(5));
    a.push_back(ptr(6));
    EXPECT_EQ(a.size(), 2);
    EXPECT_EQ(a[1], ptr(6));
}

// Past the end is a programming error: fatal in every build type, with the
// standard assertion line.
TEST(DynArrayDeathTest, AnIndexPastTheEndIsFatal)
{
    DynArray a(2);
    a.push_back(ptr(1));
    EXPECT_DEATH(a[1] = ptr(2),
        "dynarray:[0-9]+: .*operator\\[\\].*: Assertion `index >= 0 && index < m_count' failed\\.");
    EXPECT_DEATH(a[-1] = ptr(2), "Assertion `index >= 0 && index < m_count' failed\\.");
}
