// The touch driver's requests and the stored calibration: which request each
// mode issues, the printed lines, failures, and the calibration file read
// safely whatever it holds.

#include "touch_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using touchtest::DeviceScope;
using touchtest::FakeDriver;

namespace {

class TsDeviceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(scope.ok()); }

    // Writes bytes as the calibration file of the working directory.
    void writeCalibration(const std::vector<unsigned char>& bytes)
    {
        FILE* f = fopen(TS_CALIBRATION_FILE, "wb");
        ASSERT_NE(f, nullptr);
        if (!bytes.empty()) {
            ASSERT_EQ(fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
        }
        ASSERT_EQ(fclose(f), 0);
    }
    // What stands at the calibration file's name cannot be loaded: the
    // buffer is left as it was and the start-up calibration installs nothing.
    void expectNotLoadable()
    {
        char buf[28];
        memset(buf, 0x7E, sizeof buf);
        testing::internal::CaptureStdout();
        EXPECT_EQ(loadConfigFile(buf, sizeof buf), -1);
        EXPECT_EQ(touchScreenCalibrate(), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "[loadConfigFile] open calibration.dat fail \n[loadConfigFile] open calibration.dat fail \n");
        EXPECT_EQ(buf[0], 0x7E);
        EXPECT_EQ(fake.calDones, 0);
    }

    static std::vector<unsigned char> littleEndian(std::initializer_list<int> values)
    {
        std::vector<unsigned char> out;
        for (int v : values) {
            const uint32_t u = static_cast<uint32_t>(v);
            for (int i = 0; i < 4; ++i)
                out.push_back(static_cast<unsigned char>(u >> (8 * i)));
        }
        return out;
    }

    lumitest::TempDir tmp;
    FakeDriver fake;
    DeviceScope scope { tmp.path(), &fake };
};

TEST_F(TsDeviceTest, RequestNumbersAreThoseOfTheDriver)
{
    EXPECT_EQ(TS_CAL_START, 0x7401u);
    EXPECT_EQ(TS_CAL_DONE, 0x40047402u);
    EXPECT_EQ(TS_RAWDATA, 0x80047403u);
    const int identity[7] = { 1, 0, 0, 0, 1, 0, 1 };
    EXPECT_EQ(memcmp(g_tsIdentity, identity, sizeof identity), 0);
}

TEST_F(TsDeviceTest, CalStartPutsTheDriverInRawModeAndSaysSo)
{
    int coeffs[7] = { 1, 0, 0, 0, 1, 0, 1 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_CAL_START, coeffs), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " [--I] CAL_START......\n");
    EXPECT_TRUE(fake.rawMode);
    EXPECT_EQ(fake.calStarts, 1);
}

TEST_F(TsDeviceTest, CalDoneInstallsTheSevenCoefficients)
{
    int coeffs[7] = { 11, -2, 33, 4, 55, -6, 77 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_CAL_DONE, coeffs), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[--I] CAL_DONE......\n");
    ASSERT_EQ(fake.installed.size(), 1u);
    EXPECT_EQ(fake.installed[0], (std::vector<int> { 11, -2, 33, 4, 55, -6, 77 }));
}

TEST_F(TsDeviceTest, RawDataFillsTheFirstTwoElements)
{
    fake.rawX = 1234;
    fake.rawY = 3210;
    int coeffs[7] = { 1, 0, 0, 0, 1, 0, 1 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_RAWDATA, coeffs), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[--I] RAWDATA......\n");
    EXPECT_EQ(coeffs[0], 1234);
    EXPECT_EQ(coeffs[1], 3210);
    EXPECT_EQ(coeffs[6], 1);
}

TEST_F(TsDeviceTest, PanelThatReturnsNothingForRawDataLeavesTheIdentityValues)
{
    fake.refuseRawData = true;
    int coeffs[7] = { 1, 0, 0, 0, 1, 0, 1 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_RAWDATA, coeffs), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[--I] RAWDATA......\nRAWDATA......ioctl failed!\n");
    EXPECT_EQ(coeffs[0], 1);
    EXPECT_EQ(coeffs[1], 0);
}

TEST_F(TsDeviceTest, RefusedRequestsSayWhichFailed)
{
    fake.refuseAll = true;
    int coeffs[7] = { 1, 0, 0, 0, 1, 0, 1 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_CAL_START, coeffs), -1);
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_CAL_DONE, coeffs), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
        " [--I] CAL_START......\nCAL_START......ioctl failed!\n[--I] CAL_DONE......\nCAL_DONE......ioctl "
        "failed!\n");
}

TEST_F(TsDeviceTest, UnknownModeIssuesNothing)
{
    int coeffs[7] = { 1, 0, 0, 0, 1, 0, 1 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(3, coeffs), 0);
    EXPECT_EQ(pointerCalibrationSet(-1, coeffs), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(fake.calStarts + fake.calDones + fake.rawReads, 0);
}

TEST_F(TsDeviceTest, MissingDeviceSaysOpenDeviceError)
{
    setTsDevicePath(tmp.file("absent").c_str());
    int coeffs[7] = { 1, 0, 0, 0, 1, 0, 1 };
    testing::internal::CaptureStdout();
    EXPECT_EQ(pointerCalibrationSet(TS_MODE_CAL_DONE, coeffs), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "open device error......\n");
    EXPECT_EQ(fake.calDones, 0);
    setTsDevicePath(scope.device().c_str());
}

TEST_F(TsDeviceTest, WrittenFileIsTheBytesGiven)
{
    const auto bytes = littleEndian({ 1, 2, 3, 4, 5, 6, 7 });
    std::vector<char> buf(bytes.begin(), bytes.end());
    EXPECT_EQ(writeConfigFile(buf.data(), static_cast<int>(buf.size())), 0);
    char back[28] = {};
    EXPECT_EQ(loadConfigFile(back, sizeof back), 0);
    EXPECT_EQ(memcmp(back, buf.data(), 28), 0);
}

TEST_F(TsDeviceTest, WriteFailureNamesTheFile)
{
    ASSERT_EQ(mkdir(TS_CALIBRATION_FILE, 0700), 0);
    char buf[28] = {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(writeConfigFile(buf, sizeof buf), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[writeConfigFile] open calibration.dat fail \n");
}

TEST_F(TsDeviceTest, MissingFileCannotBeLoaded)
{
    char buf[28];
    testing::internal::CaptureStdout();
    EXPECT_EQ(loadConfigFile(buf, sizeof buf), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[loadConfigFile] open calibration.dat fail \n");
}

TEST_F(TsDeviceTest, LoadNeverWritesMoreThanTheBufferHolds)
{
    writeCalibration(littleEndian({ 0x11111111, 2, 3, 4, 5, 6, 7 }));
    char buf[6];
    memset(buf, 0x7E, sizeof buf);
    EXPECT_EQ(loadConfigFile(buf, 4), 0);
    EXPECT_EQ(buf[0], 0x11);
    EXPECT_EQ(buf[4], 0x7E);
}

TEST_F(TsDeviceTest, FirstStartWithoutAFileLoadsNothing)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "First calibrated! \n");
    EXPECT_EQ(fake.calDones, 0);
}

TEST_F(TsDeviceTest, StoredCalibrationIsSentToTheDriver)
{
    writeCalibration(littleEndian({ -9000, 120, 35000000, 80, 15000, -7000000, 65536 }));
    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 1);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(fake.installed.size(), 1u);
    EXPECT_EQ(fake.installed[0], (std::vector<int> { -9000, 120, 35000000, 80, 15000, -7000000, 65536 }));
}

TEST_F(TsDeviceTest, IdentityFileIsUncalibratedAndNotSent)
{
    // Only a1, b2 and delta decide: the other four may hold anything.
    writeCalibration(littleEndian({ 1, 5, 6, 7, 1, 8, 1 }));
    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "uncalibrated.. \n");
    EXPECT_EQ(fake.calDones, 0);
}

TEST_F(TsDeviceTest, DriverThatRefusesTheStoredCalibrationGivesZero)
{
    writeCalibration(littleEndian({ 3, 0, 0, 0, 3, 0, 12 }));
    fake.refuseAll = true;
    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[--I] CAL_DONE......\nCAL_DONE......ioctl failed!\n");
}

TEST_F(TsDeviceTest, ShortFileKeepsTheIdentityValuesInItsTail)
{
    const auto bytes = littleEndian({ 3, 0, 0, 0, 3, 0, 12 });
    struct Case {
        size_t size;
        std::vector<int> sent;
    };
    // 1 byte: a1's low byte only; 24: all but delta; 27: delta's top byte
    // from the identity's 1 (zero).
    const Case cases[] = { { 1, { 3, 0, 0, 0, 1, 0, 1 } }, { 24, { 3, 0, 0, 0, 3, 0, 1 } },
        { 27, { 3, 0, 0, 0, 3, 0, 12 } } };
    for (const Case& c : cases) {
        fake.installed.clear();
        writeCalibration(
            std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<long>(c.size)));
        testing::internal::CaptureStdout();
        EXPECT_EQ(touchScreenCalibrate(), 1) << c.size;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "[--I] CAL_DONE......\n") << c.size;
        ASSERT_EQ(fake.installed.size(), 1u) << c.size;
        EXPECT_EQ(fake.installed[0], c.sent) << c.size;
    }
}

TEST_F(TsDeviceTest, EmptyOrShortFileLeavingTheIdentityIsUncalibrated)
{
    // 12 bytes set a1, b1, c1 only: a1 = 1 and b2, delta stay 1.
    const auto bytes = littleEndian({ 1, 7, 9 });
    for (size_t size : { size_t { 0 }, size_t { 12 } }) {
        writeCalibration(std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<long>(size)));
        testing::internal::CaptureStdout();
        EXPECT_EQ(touchScreenCalibrate(), 0) << size;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "uncalibrated.. \n") << size;
    }
    EXPECT_EQ(fake.calDones, 0);
}

TEST_F(TsDeviceTest, ShortFileFillsOnlyTheBytesItHas)
{
    writeCalibration({ 0x21, 0x22, 0x23, 0x24, 0x25 });
    char buf[28];
    memset(buf, 0x7E, sizeof buf);
    EXPECT_EQ(loadConfigFile(buf, sizeof buf), 0);
    EXPECT_EQ(buf[0], 0x21);
    EXPECT_EQ(buf[4], 0x25);
    EXPECT_EQ(buf[5], 0x7E);
    EXPECT_EQ(buf[27], 0x7E);
}

TEST_F(TsDeviceTest, LongerFileGivesItsFirstTwentyEightBytes)
{
    auto bytes = littleEndian({ 3, 0, 0, 0, 3, 0, 12, 99 });
    bytes.resize(4096, 0xFF);
    writeCalibration(bytes);
    char buf[32];
    memset(buf, 0x7E, sizeof buf);
    EXPECT_EQ(loadConfigFile(buf, sizeof buf), 0);
    EXPECT_EQ(memcmp(buf, bytes.data(), 28), 0);
    EXPECT_EQ(buf[28], 0x7E);

    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 1);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(fake.installed.size(), 1u);
    EXPECT_EQ(fake.installed[0], (std::vector<int> { 3, 0, 0, 0, 3, 0, 12 }));
}

TEST_F(TsDeviceTest, DirectoryAtTheNameCannotBeLoaded)
{
    ASSERT_EQ(mkdir(TS_CALIBRATION_FILE, 0700), 0);
    expectNotLoadable();
}

TEST_F(TsDeviceTest, FileThatFailsToReadCannotBeLoaded)
{
    // The process's own memory seen as a file opens as a regular file and
    // fails to read at offset 0 (nothing is mapped there), whoever runs it.
    ASSERT_EQ(symlink("/proc/self/mem", TS_CALIBRATION_FILE), 0);
    expectNotLoadable();
}

TEST_F(TsDeviceTest, FileWithADivisorOfZeroGoesToTheDriverAsStored)
{
    writeCalibration(littleEndian({ 3, 0, 0, 0, 3, 0, 0 }));
    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 1);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(fake.installed.size(), 1u);
    EXPECT_EQ(fake.installed[0], (std::vector<int> { 3, 0, 0, 0, 3, 0, 0 }));
}

TEST_F(TsDeviceTest, FifoAtTheNameIsRefusedWithoutWaiting)
{
    ASSERT_EQ(mkfifo(TS_CALIBRATION_FILE, 0600), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(touchScreenCalibrate(), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(fake.calDones, 0);
}

}
