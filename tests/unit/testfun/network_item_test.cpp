// The Ethernet test: eth0 comes up without complaint, the PHY reports link,
// DHCP gives a non-loopback address that ifconfig shows with "Bcast".

#include "device_support.h"

#include "testfun/testnetwork.h"

#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>

#include <gtest/gtest.h>

#include <cstring>

using devtest::DeviceTest;

namespace {

char kName[] = "\xD2\xD4\xCC\xAB\xCD\xF8";
const std::string kDeviceError = "\xD2\xD4\xCC\xAB\xCD\xF8\xC9\xE8\xB1\xB8\xB3\xF6\xB4\xED";
const std::string kNoCable = "\xCD\xF8\xCF\xDF\xC3\xBB\xB2\xE5\xC8\xEB!";

const std::string kLease = "eth0      Link encap:Ethernet  HWaddr 00:11:22:33:44:55  \n"
                           "          inet addr:192.168.1.23  Bcast:192.168.1.255  Mask:255.255.255.0\n"
                           "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1\n";

// The PHY as the fake answers it.
struct Phy {
    bool phyAnswers { true };
    bool regAnswers { true };
    unsigned short status { 0x786D }; // link up, autonegotiation complete
    std::vector<unsigned long> requests;
    std::string interface;
    unsigned int regAsked { 0xFFFFFFFF };
};
Phy* s_phy = nullptr;

int fakeMii(int, unsigned long request, ifreq* ifr)
{
    s_phy->requests.push_back(request);
    s_phy->interface = ifr->ifr_name;
    auto* mii = reinterpret_cast<mii_ioctl_data*>(&ifr->ifr_ifru);
    if (request == SIOCGMIIPHY) {
        if (!s_phy->phyAnswers)
            return -1;
        mii->phy_id = 1;
        return 0;
    }
    if (request == SIOCGMIIREG) {
        if (!s_phy->regAnswers)
            return -1;
        s_phy->regAsked = mii->reg_num;
        mii->val_out = s_phy->status;
        return 0;
    }
    return -1;
}

class NetworkTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        s_phy = &phy;
        m_old = setMiiIoctl(fakeMii);
    }
    void TearDown() override
    {
        setMiiIoctl(m_old);
        s_phy = nullptr;
        DeviceTest::TearDown();
    }

    Phy phy;

private:
    MiiIoctl m_old { nullptr };
};

TEST_F(NetworkTest, CableLinkReadsTheStatusRegisterOfEth0)
{
    EXPECT_EQ(cableLink(), 1);
    EXPECT_EQ(phy.requests, (std::vector<unsigned long> { SIOCGMIIPHY, SIOCGMIIREG }));
    EXPECT_EQ(phy.interface, "eth0");
    EXPECT_EQ(phy.regAsked, 1u);
}

TEST_F(NetworkTest, CableLinkIsDownWithoutTheLinkBit)
{
    phy.status = 0x7849; // everything but link status
    EXPECT_EQ(cableLink(), 0);
}

TEST_F(NetworkTest, CableLinkIsDownWhenNoPhyAnswers)
{
    phy.status = 0xFFFF; // the link bit reads set, but nothing is there
    EXPECT_EQ(cableLink(), 0);
}

TEST_F(NetworkTest, CableLinkIsDownWhenARequestFails)
{
    testing::internal::CaptureStdout();
    phy.phyAnswers = false;
    EXPECT_EQ(cableLink(), 0);
    phy.phyAnswers = true;
    phy.regAnswers = false;
    EXPECT_EQ(cableLink(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ioctl error\nioctl error\n");
}

TEST_F(NetworkTest, ALeasePassesAndRunsTheCommandsInOrder)
{
    shell.pipeOutput["/sbin/ifconfig eth0"] = kLease;
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 0);
    EXPECT_EQ(item.getResult(), 0);
    EXPECT_EQ(shell.commands,
        (std::vector<std::string> {
            "pipe: /sbin/ifconfig eth0 up", "udhcpc eth0 -t 2", "pipe: /sbin/ifconfig eth0" }));
    EXPECT_EQ(log.lines,
        (std::vector<std::string> { "inet addr:192.168.1.23  Bcast:192.168.1.255  Mask:255.255.255.0\n" }));
}

TEST_F(NetworkTest, AWarningFromBringingEth0UpFails)
{
    shell.pipeOutput["/sbin/ifconfig eth0 up"] = "ifconfig: SIOCSIFFLAGS: Operation not permitted\n";
    shell.pipeOutput["/sbin/ifconfig eth0"] = kLease;
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kDeviceError }));
    EXPECT_EQ(shell.commands, (std::vector<std::string> { "pipe: /sbin/ifconfig eth0 up" }));
    EXPECT_TRUE(phy.requests.empty());
}

TEST_F(NetworkTest, ACableOutFailsBeforeDhcp)
{
    phy.status = 0x7849;
    shell.pipeOutput["/sbin/ifconfig eth0"] = kLease;
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { kNoCable }));
    EXPECT_EQ(shell.commands, (std::vector<std::string> { "pipe: /sbin/ifconfig eth0 up" }));
}

TEST_F(NetworkTest, TheResultIsSetToFailAtTheStart)
{
    phy.status = 0;
    TestNetWork item(kName);
    item.setResult(0);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
}

TEST_F(NetworkTest, ALoopbackLeaseFails)
{
    shell.pipeOutput["/sbin/ifconfig eth0"] = "eth0      Link encap:Ethernet\n          inet addr:127.0.0.1  "
                                              "Bcast:127.255.255.255  Mask:255.0.0.0\n";
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_EQ(log.lines,
        (std::vector<std::string> { "inet addr:127.0.0.1  Bcast:127.255.255.255  Mask:255.0.0.0\n" }));
}

TEST_F(NetworkTest, AnInetLineWithoutBcastIsLoggedButFails)
{
    shell.pipeOutput["/sbin/ifconfig eth0"]
        = "eth0      Link encap:Ethernet\n          inet addr:10.0.0.7  Mask:255.0.0.0\n";
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { "inet addr:10.0.0.7  Mask:255.0.0.0\n" }));
}

TEST_F(NetworkTest, NoLeaseLogsAnEmptyLineAndFails)
{
    shell.pipeOutput["/sbin/ifconfig eth0"] = "eth0      Link encap:Ethernet  HWaddr 00:11:22:33:44:55\n";
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(log.lines, (std::vector<std::string> { "" }));
}

TEST_F(NetworkTest, APipeThatCannotBeOpenedFails)
{
    shell.failingPipes.push_back("/sbin/ifconfig eth0");
    TestNetWork item(kName);
    EXPECT_EQ(item.execute(&log), 1);
    EXPECT_EQ(item.getResult(), 1);
    EXPECT_TRUE(log.lines.empty());
}

TEST(InetAddrParse, TheAddressIsTheTextUpToBcastAtMost50Bytes)
{
    InetAddrReport r;
    const std::string text = "inet addr:" + std::string(60, '1') + "Bcast:x\n";
    EXPECT_EQ(parseInetAddr(text.data(), text.size(), &r), 0);
    EXPECT_TRUE(r.addressTaken);
    EXPECT_EQ(std::string(r.address), std::string(50, '1'));
    EXPECT_EQ(std::string(r.report), text);
}

TEST(InetAddrParse, OnlyTheFirstInetLineCounts)
{
    InetAddrReport r;
    const std::string text = "inet addr:127.0.0.1  Bcast:1\ninet addr:10.1.1.1  Bcast:2\n";
    EXPECT_EQ(parseInetAddr(text.data(), text.size(), &r), 1);
    EXPECT_STREQ(r.address, "127.0.0.1  ");
}

TEST(InetAddrParse, BcastOnTheNextLineDoesNotCount)
{
    InetAddrReport r;
    const std::string text = "inet addr:10.1.1.1\n Bcast:2\n";
    EXPECT_EQ(parseInetAddr(text.data(), text.size(), &r), 1);
    EXPECT_TRUE(r.found);
    EXPECT_FALSE(r.addressTaken);
}

}
