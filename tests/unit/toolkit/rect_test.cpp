#include <lumi/rect.h>

#include <gtest/gtest.h>

TEST(Rect, WidthAndHeightAreEdgeDifferences)
{
    const Rect r(10, 20, 110, 70);
    EXPECT_EQ(r.width(), 100);
    EXPECT_EQ(r.height(), 50);
}

TEST(Rect, RightAndBottomEdgesAreExclusive)
{
    const Rect r(0, 0, 10, 10);
    EXPECT_TRUE(r.ptInRect(0, 0));
    EXPECT_TRUE(r.ptInRect(9, 9));
    EXPECT_FALSE(r.ptInRect(10, 5));
    EXPECT_FALSE(r.ptInRect(5, 10));
    EXPECT_FALSE(r.ptInRect(-1, 5));
}

TEST(Rect, IsEmptyWhenAnEdgeDoesNotPassItsOpposite)
{
    EXPECT_TRUE(Rect(5, 5, 5, 10).isEmpty());
    EXPECT_TRUE(Rect(5, 5, 10, 5).isEmpty());
    EXPECT_TRUE(Rect(5, 5, 4, 10).isEmpty());
    EXPECT_TRUE(Rect().isEmpty());
    EXPECT_FALSE(Rect(5, 5, 6, 6).isEmpty());
}

TEST(Rect, SetRectStoresTheFourEdges)
{
    Rect r;
    r.setRect(1, 2, 3, 4);
    EXPECT_EQ(r, Rect(1, 2, 3, 4));
}

TEST(Rect, OffsetMovesAllFourEdges)
{
    Rect r(1, 2, 3, 4);
    r.offset(10, -20);
    EXPECT_EQ(r, Rect(11, -18, 13, -16));
}

TEST(Rect, ShrinkMovesEdgesInwards)
{
    Rect r(0, 0, 100, 50);
    r.shrink(12, 8);
    EXPECT_EQ(r, Rect(12, 8, 88, 42));
}

TEST(Rect, ShrinkWithNegativeValuesGrows)
{
    Rect r(10, 10, 20, 20);
    r.shrink(-5, -3);
    EXPECT_EQ(r, Rect(5, 7, 25, 23));
}

TEST(Rect, EqualityComparesAllFourEdges)
{
    EXPECT_TRUE(Rect(1, 2, 3, 4) == Rect(1, 2, 3, 4));
    EXPECT_FALSE(Rect(1, 2, 3, 4) == Rect(1, 2, 3, 5));
    EXPECT_FALSE(Rect(0, 2, 3, 4) == Rect(1, 2, 3, 4));
    EXPECT_TRUE(Rect(1, 2, 3, 4) != Rect(1, 2, 4, 4));
}

TEST(Rect, UnionCoversBothRectangles)
{
    Rect r(0, 0, 10, 10);
    r |= Rect(5, -5, 20, 8);
    EXPECT_EQ(r, Rect(0, -5, 20, 10));
}

TEST(Rect, UnionWithEmptyLeftOperandTakesTheRightWhole)
{
    Rect r(100, 100, 100, 100);
    r |= Rect(1, 2, 3, 4);
    EXPECT_EQ(r, Rect(1, 2, 3, 4));
}

TEST(Rect, UnionWithEmptyRightOperandChangesNothing)
{
    Rect r(1, 2, 3, 4);
    r |= Rect(-50, -50, -60, 100);
    EXPECT_EQ(r, Rect(1, 2, 3, 4));
}

TEST(Rect, IntersectionKeepsTheCommonPart)
{
    Rect r(0, 0, 10, 10);
    r &= Rect(5, 5, 20, 20);
    EXPECT_EQ(r, Rect(5, 5, 10, 10));
    Rect apart(0, 0, 10, 10);
    apart &= Rect(20, 20, 30, 30);
    EXPECT_TRUE(apart.isEmpty());
}

TEST(Rect, MousePointKeepsTheLayoutThePointerSourcesFill)
{
    MousePoint p;
    EXPECT_EQ(p.x, 0);
    EXPECT_EQ(p.y, 0);
    EXPECT_EQ(p.reserved, 0u);
    EXPECT_EQ(p.pressure, 0);
    EXPECT_EQ(sizeof(p.x), 2u);
    EXPECT_EQ(sizeof(p.reserved), 4u);
    EXPECT_EQ(sizeof(p.pressure), 2u);
}
