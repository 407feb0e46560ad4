#include <lumi/region.h>

#include <gtest/gtest.h>

TEST(Region, StartsEmpty)
{
    Region r;
    int count = -1;
    r.rects(count);
    EXPECT_TRUE(r.isEmpty());
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(r.boundRect().isEmpty());
}

TEST(Region, OfOneRectangleHasThatRectangle)
{
    Region r(Rect(10, 20, 30, 40));
    int count = 0;
    const Rect* rects = r.rects(count);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(rects[0], Rect(10, 20, 30, 40));
    EXPECT_EQ(r.boundRect(), Rect(10, 20, 30, 40));
}

TEST(Region, UnionOfDisjointRectanglesKeepsBoth)
{
    Region r(Rect(0, 0, 10, 10));
    r.unite(Rect(20, 0, 30, 10));
    int count = 0;
    r.rects(count);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(r.boundRect(), Rect(0, 0, 30, 10));
    EXPECT_TRUE(r.containsPoint(5, 5));
    EXPECT_FALSE(r.containsPoint(15, 5));
}

TEST(Region, ContainsIsTrueForRectanglesTouchingTheRegion)
{
    Region r(Rect(0, 0, 10, 10));
    EXPECT_TRUE(r.contains(Rect(2, 2, 4, 4)));
    EXPECT_TRUE(r.contains(Rect(5, 5, 50, 50)));
    EXPECT_FALSE(r.contains(Rect(10, 0, 20, 10)));   // shares only the exclusive edge
    EXPECT_FALSE(r.contains(Rect(3, 3, 3, 3)));      // empty
}

TEST(Region, SubtractCutsAHole)
{
    Region r(Rect(0, 0, 30, 30));
    r.subtract(Rect(10, 10, 20, 20));
    EXPECT_FALSE(r.containsPoint(15, 15));
    EXPECT_TRUE(r.containsPoint(5, 15));
    EXPECT_EQ(r.boundRect(), Rect(0, 0, 30, 30));
}

TEST(Region, IntersectKeepsTheCommonPart)
{
    Region r(Rect(0, 0, 30, 30));
    r.intersect(Rect(20, 20, 40, 40));
    EXPECT_EQ(r.boundRect(), Rect(20, 20, 30, 30));
    r.intersect(Rect(100, 100, 110, 110));
    EXPECT_TRUE(r.isEmpty());
}

TEST(Region, OffsetMovesEveryRectangle)
{
    Region r(Rect(0, 0, 10, 10));
    r.offset(5, 7);
    EXPECT_EQ(r.boundRect(), Rect(5, 7, 15, 17));
}

TEST(Region, CopiesAreIndependent)
{
    Region a(Rect(0, 0, 10, 10));
    Region b = a;
    b.unite(Rect(50, 50, 60, 60));
    EXPECT_EQ(a.boundRect(), Rect(0, 0, 10, 10));
    EXPECT_EQ(b.boundRect(), Rect(0, 0, 60, 60));
    a = b;
    EXPECT_EQ(a.boundRect(), Rect(0, 0, 60, 60));
}

TEST(Region, EmptyRectanglesChangeNothing)
{
    Region r(Rect(0, 0, 10, 10));
    r.unite(Rect(40, 40, 30, 30));
    r.subtract(Rect(5, 5, 5, 5));
    EXPECT_EQ(r.boundRect(), Rect(0, 0, 10, 10));
    r.set(Rect(3, 3, 2, 2));
    EXPECT_TRUE(r.isEmpty());
}
