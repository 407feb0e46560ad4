#include <lumi/gdi.h>

#include <gtest/gtest.h>

TEST(Bitmap, StartsNullWithNoPixels)
{
    Bitmap bitmap;
    EXPECT_TRUE(bitmap.isNull());
    EXPECT_EQ(bitmap.width(), 0);
    EXPECT_EQ(bitmap.height(), 0);
    EXPECT_EQ(bitmap.native(), nullptr);
}

TEST(Bitmap, CreateGivesBlackPixelsOfTheRequestedSize)
{
    Bitmap bitmap;
    ASSERT_EQ(bitmap.create(7, 5), 0);
    EXPECT_FALSE(bitmap.isNull());
    EXPECT_EQ(bitmap.width(), 7);
    EXPECT_EQ(bitmap.height(), 5);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            EXPECT_EQ(bitmap.pixel(x, y), 0) << x << "," << y;
}

TEST(Bitmap, RowsOfOddWidthsArePaddedToWholeWords)
{
    Bitmap bitmap;
    ASSERT_EQ(bitmap.create(3, 2), 0);
    EXPECT_EQ(bitmap.stride(), 8);
    ASSERT_NE(bitmap.native(), nullptr);
    EXPECT_EQ(pixman_image_get_stride(bitmap.native()), 8);
    EXPECT_EQ(pixman_image_get_format(bitmap.native()), PIXMAN_r5g6b5);
}

TEST(Bitmap, PixelReadsWhatWasWrittenAtThatRowAndColumn)
{
    Bitmap bitmap;
    ASSERT_EQ(bitmap.create(3, 2), 0);
    auto* row1 = reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(bitmap.bits()) + bitmap.stride());
    row1[2] = 0xF800;
    EXPECT_EQ(bitmap.pixel(2, 1), 0xF800);
    EXPECT_EQ(bitmap.pixel(2, 0), 0);
}

TEST(Bitmap, PixelOutsideTheBitmapReadsAsZero)
{
    Bitmap bitmap;
    ASSERT_EQ(bitmap.create(2, 2), 0);
    bitmap.bits()[0] = 0xFFFF;
    EXPECT_EQ(bitmap.pixel(-1, 0), 0);
    EXPECT_EQ(bitmap.pixel(0, -1), 0);
    EXPECT_EQ(bitmap.pixel(2, 0), 0);
    EXPECT_EQ(bitmap.pixel(0, 2), 0);
    EXPECT_EQ(bitmap.pixel(0, 0), 0xFFFF);
}

TEST(Bitmap, RefusesEmptyNegativeAndHugeSizes)
{
    Bitmap bitmap;
    EXPECT_EQ(bitmap.create(0, 10), -1);
    EXPECT_EQ(bitmap.create(10, 0), -1);
    EXPECT_EQ(bitmap.create(-5, 10), -1);
    EXPECT_EQ(bitmap.create(8193, 1), -1);
    EXPECT_EQ(bitmap.create(1, 8193), -1);
    EXPECT_TRUE(bitmap.isNull());
}

TEST(Bitmap, CreateAgainReplacesThePicture)
{
    Bitmap bitmap;
    ASSERT_EQ(bitmap.create(4, 4), 0);
    bitmap.bits()[0] = 0x1234;
    ASSERT_EQ(bitmap.create(9, 2), 0);
    EXPECT_EQ(bitmap.width(), 9);
    EXPECT_EQ(bitmap.height(), 2);
    EXPECT_EQ(bitmap.pixel(0, 0), 0);
}

TEST(Bitmap, DestroyReleasesThePixels)
{
    Bitmap bitmap;
    ASSERT_EQ(bitmap.create(4, 4), 0);
    bitmap.destroy();
    EXPECT_TRUE(bitmap.isNull());
    EXPECT_EQ(bitmap.width(), 0);
    EXPECT_EQ(bitmap.native(), nullptr);
}
