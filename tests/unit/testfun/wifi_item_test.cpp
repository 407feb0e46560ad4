// The wireless test: scans with the scanning tool into /data/wifi_aplist and
// passes when a cell shows within the first 1024 bytes.

#include "device_support.h"

#include "testfun/testwifi.h"

#include <gtest/gtest.h>

#include <cstring>

using devtest::DeviceTest;

namespace {

char kName[] = "\xCE\xDE\xCF\xDF";
const std::string kWait = "\xC7\xEB\xB5\xC8\xB4\xFD...";
const std::string kPass = "Wifi \xB3\xC9\xB9\xA6";
const std::string kFail = "Wifi \xCA\xA7\xB0\xDC";

const std::string kScan = "ra0       Scan completed :\n"
                          "          Cell 01 - Address: 00:11:22:33:44:55\n"
                          "                    ESSID:\"factory\"\n";

class WifiTest : public DeviceTest {
protected:
    // The shell plays the scan: the redirection writes scan to the list.
    void scanGives(const std::string& scan)
    {
        shell.onCommand = [this, scan](const std::string& command) {
            if (command == "./iwlist ra0 scanning >/data/wifi_aplist")
                writeDevice("/data/wifi_aplist", scan);
        };
    }
};

TEST_F(WifiTest, ACellPassesAfterTheCommandsInOrder)
{
    scanGives(kScan);
    TestWIFI item(kName);
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(&log), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(shell.commands,
        (std::vector<std::string> {
            "rm -f /data/wifi_aplist", "ifconfig ra0 up", "./iwlist ra0 scanning >/data/wifi_aplist" }));
    EXPECT_EQ(log.lines, (std::vector<std::string> { kWait, kPass }));
    EXPECT_EQ(out, "wifi read " + kScan + "\nfind cell\n");
}

TEST_F(WifiTest, NoCellFails)
{
    scanGives("ra0       No scan results\n");
    TestWIFI item(kName);
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(&log), 1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(item.getResult(), -1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kWait, kFail }));
    EXPECT_NE(out.find("not find cell\n"), std::string::npos) << out;
}

TEST_F(WifiTest, ACellAfterTheFirst1024BytesFails)
{
    scanGives(
        "ra0       Scan completed :\n" + std::string(1024, ' ') + "Cell 01 - Address: 00:11:22:33:44:55\n");
    TestWIFI item(kName);
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(&log), 1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(log.lines.back(), kFail);
}

TEST_F(WifiTest, AMissingListFails)
{
    TestWIFI item(kName);
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "wifi read \nnot find cell\n");
}

TEST(WifiScanParse, OnlyTheFirst1024BytesCount)
{
    std::string text(1020, '.');
    text += "Cell";
    EXPECT_TRUE(wifiScanHasCell(text.data(), text.size()));
    text.insert(0, "x");
    EXPECT_FALSE(wifiScanHasCell(text.data(), text.size()));
    // A zero byte ends the text.
    const char withZero[] = "ra0\0Cell";
    EXPECT_FALSE(wifiScanHasCell(withZero, sizeof withZero - 1));
    EXPECT_FALSE(wifiScanHasCell("", 0));
}

}
