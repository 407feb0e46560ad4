// The camera controller's register program ("camera_up"): operations of
// offset, op and value in hexadecimal, one separator character after each.

#include "testfun/camera_regop.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct Window {
    std::vector<unsigned char> regs = std::vector<unsigned char>(CAMERA_REG_WINDOW, 0x5A);
    int apply(const std::string& ops, int* skipped = nullptr)
    {
        return applyRegisterProgram(ops.c_str(), regs.data(), regs.size(), skipped);
    }
};

TEST(CameraRegisterProgram, SetsOneByteAndOrsAnotherWithTheComplement)
{
    Window w;
    w.regs[0x14] = 0x01;
    std::string ops = "10=ff,14|~01";
    excute_reg_op(ops.data(), w.regs.data());
    EXPECT_EQ(w.regs[0x10], 0xFF);
    EXPECT_EQ(w.regs[0x14], 0xFF); // 0x01 | 0xFE
    for (size_t i = 0; i < w.regs.size(); ++i) {
        if (i != 0x10 && i != 0x14) {
            EXPECT_EQ(w.regs[i], 0x5A) << i;
        }
    }
}

TEST(CameraRegisterProgram, TheComplementOfOneIsOrredAsFe)
{
    Window w;
    w.regs[0x14] = 0x00;
    EXPECT_EQ(w.apply("14|~01"), 1);
    EXPECT_EQ(w.regs[0x14], 0xFE);
}

TEST(CameraRegisterProgram, AndClearsTheBitsNotInTheValue)
{
    Window w;
    w.regs[0x20] = 0xF3;
    w.regs[0x21] = 0xFF;
    EXPECT_EQ(w.apply("20&0f;21&~0f"), 2);
    EXPECT_EQ(w.regs[0x20], 0x03);
    EXPECT_EQ(w.regs[0x21], 0xF0);
}

TEST(CameraRegisterProgram, AnyCharacterSeparatesOperations)
{
    Window w;
    EXPECT_EQ(w.apply("1=1 2=2;3=3x4=4\n5=5"), 5);
    for (int i = 1; i <= 5; ++i)
        EXPECT_EQ(w.regs[i], i);
}

TEST(CameraRegisterProgram, AnUnknownOpConsumesItsOperationAndWritesNothing)
{
    Window w;
    EXPECT_EQ(w.apply("10+ff,11=22"), 1);
    EXPECT_EQ(w.regs[0x10], 0x5A);
    EXPECT_EQ(w.regs[0x11], 0x22);
}

TEST(CameraRegisterProgram, AnOffsetAtTheEndOfTheTextStopsTheProgram)
{
    Window w;
    EXPECT_EQ(w.apply("10=ff,20"), 1);
    EXPECT_EQ(w.regs[0x10], 0xFF);
    EXPECT_EQ(w.regs[0x20], 0x5A);
}

TEST(CameraRegisterProgram, AnEmptyTextWritesNothing)
{
    Window w;
    EXPECT_EQ(w.apply(""), 0);
    EXPECT_EQ(w.regs, std::vector<unsigned char>(CAMERA_REG_WINDOW, 0x5A));
}

TEST(CameraRegisterProgram, OnlyTheValuesLowByteIsWritten)
{
    Window w;
    EXPECT_EQ(w.apply("0=1234,1=~0"), 2);
    EXPECT_EQ(w.regs[0], 0x34);
    EXPECT_EQ(w.regs[1], 0xFF);
}

TEST(CameraRegisterProgram, AValueRunsOnUntilItsLastHexDigit)
{
    // Without a separator the next offset is read as part of the value:
    // "ff14" is the value, "=" the separator, and "01" an offset at the end.
    Window w;
    EXPECT_EQ(w.apply("10=ff14=01"), 1);
    EXPECT_EQ(w.regs[0x10], 0x14);
    EXPECT_EQ(w.regs[0x01], 0x5A);
}

TEST(CameraRegisterProgram, HexDigitsInEitherCaseAndAZeroXPrefix)
{
    Window w;
    EXPECT_EQ(w.apply("0x1A=0XbC,1b|A0"), 2);
    EXPECT_EQ(w.regs[0x1A], 0xBC);
    EXPECT_EQ(w.regs[0x1B], 0x5A | 0xA0);
}

TEST(CameraRegisterProgram, AMissingValueCountsAsZero)
{
    Window w;
    EXPECT_EQ(w.apply("30=,31|~"), 2);
    EXPECT_EQ(w.regs[0x30], 0x00);
    EXPECT_EQ(w.regs[0x31], 0xFF);
}

TEST(CameraRegisterProgram, AMissingOffsetIsOffsetZero)
{
    // No digits before the op: the offset is 0, as strtoul reads nothing.
    Window w;
    EXPECT_EQ(w.apply("=77"), 1);
    EXPECT_EQ(w.regs[0], 0x77);
}

TEST(CameraRegisterProgram, OffsetsOutsideTheWindowAreSkippedNotWritten)
{
    Window w;
    int skipped = -1;
    EXPECT_EQ(w.apply("50f=1,510=2,ffffffffffff=3,-1=4", &skipped), 1);
    EXPECT_EQ(skipped, 3);
    EXPECT_EQ(w.regs[0x50F], 0x01); // the last byte of the 1296-byte window
}

TEST(CameraRegisterProgram, TheProgramsOwnEntryReportsSkippedOperations)
{
    Window w;
    std::string ops = "510=2";
    testing::internal::CaptureStdout();
    excute_reg_op(ops.data(), w.regs.data());
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("camera_up: 1 operation(s) outside the 1296-byte register window skipped"),
        std::string::npos)
        << out;
    EXPECT_EQ(w.regs, std::vector<unsigned char>(CAMERA_REG_WINDOW, 0x5A));
}

}
