// The flash driver's variable requests over the 408-byte record, and the
// display's chip identifier, against a driver played by the test.

#include "platform/syspara.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <map>
#include <string>
#include <unistd.h>

namespace {

// The driver: variables by name, and what it was last asked.
struct FakeDriver {
    std::map<std::string, std::string> vars;
    bool refuse { false };
    int calls { 0 };
    int fd { -1 };
    unsigned long request { 0 };
    SysparaRecord seen {};
    int32_t chipId { 0x33570001 };
} s_driver;

int driverRequest(int fd, unsigned long request, void* arg)
{
    ++s_driver.calls;
    s_driver.fd = fd;
    s_driver.request = request;
    if (s_driver.refuse)
        return -1;
    if (request == SOCINFO_REQUEST) {
        std::memcpy(arg, &s_driver.chipId, sizeof s_driver.chipId);
        return 0;
    }
    SysparaRecord* r = static_cast<SysparaRecord*>(arg);
    s_driver.seen = *r;
    const std::string name(r->name, strnlen(r->name, sizeof r->name));
    if (request == SYSPARA_SET_REQUEST) {
        if (r->valuePtr)
            s_driver.vars[name] = std::string(r->value, strnlen(r->value, sizeof r->value));
        else
            s_driver.vars.erase(name);
        return 0;
    }
    if (request != SYSPARA_GET_REQUEST)
        return -1;
    auto it = s_driver.vars.find(name);
    if (it == s_driver.vars.end())
        return -1;
    std::memcpy(r->value, it->second.c_str(), it->second.size() + 1);
    r->length = static_cast<int32_t>(it->second.size());
    return 0;
}

class Syspara : public ::testing::Test {
protected:
    void SetUp() override
    {
        s_driver = FakeDriver();
        fd = open(tmp.file("mtd0").c_str(), O_RDWR | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
    }
    void TearDown() override { close(fd); }
    lumitest::TempDir tmp;
    int fd { -1 };
};

TEST(SysparaRecordLayout, IsFourHundredEightBytesWithItsFieldsWhereTheDriverReadsThem)
{
    EXPECT_EQ(sizeof(SysparaRecord), 408u);
    EXPECT_EQ(offsetof(SysparaRecord, name), 0u);
    EXPECT_EQ(offsetof(SysparaRecord, valuePtr), 200u);
    EXPECT_EQ(offsetof(SysparaRecord, value), 204u);
    EXPECT_EQ(offsetof(SysparaRecord, length), 404u);
    EXPECT_EQ(SYSPARA_GET_REQUEST, 0x81984D14UL);
    EXPECT_EQ(SYSPARA_SET_REQUEST, 0x81984D15UL);
    EXPECT_EQ(SOCINFO_REQUEST, 0x80046905UL);
}

TEST_F(Syspara, GetAsksWithTheNameAndCapacityAndReturnsTheValueAndItsLength)
{
    s_driver.vars["camera_chip"] = "ccir656";
    char value[50] = {};
    int len = 50;
    EXPECT_EQ(sysparaGet(fd, "camera_chip", value, &len, driverRequest), 0);
    EXPECT_EQ(s_driver.fd, fd);
    EXPECT_EQ(s_driver.request, SYSPARA_GET_REQUEST);
    EXPECT_STREQ(s_driver.seen.name, "camera_chip");
    EXPECT_EQ(s_driver.seen.length, 50);
    EXPECT_STREQ(value, "ccir656");
    EXPECT_EQ(len, 7);
}

TEST_F(Syspara, GetCopiesTheWholeCapacityNotTheReturnedLength)
{
    s_driver.vars["v"] = "abc";
    char value[50];
    std::memset(value, '#', sizeof value);
    int len = 20;
    EXPECT_EQ(sysparaGet(fd, "v", value, &len, driverRequest), 0);
    EXPECT_EQ(len, 3);
    // Twenty bytes came from the record: the value and its zero padding.
    EXPECT_EQ(std::string(value, 20), std::string("abc") + std::string(17, '\0'));
    EXPECT_EQ(value[20], '#');
}

TEST_F(Syspara, ACapacityAbove200CopiesPastTheValueFieldButNotPastTheRecord)
{
    s_driver.vars["v"] = "abc";
    std::vector<char> value(300, '#');
    int len = 300;
    EXPECT_EQ(sysparaGet(fd, "v", value.data(), &len, driverRequest), 0);
    EXPECT_EQ(len, 3);
    // Bytes 200 to 203 are the record's length field as the driver left it
    // (3, little-endian on the device and the development machine), then zeros.
    int32_t lengthField = 0;
    std::memcpy(&lengthField, value.data() + 200, 4);
    EXPECT_EQ(lengthField, 3);
    for (size_t i = 204; i < 300; ++i)
        EXPECT_EQ(value[i], 0) << i;
}

TEST_F(Syspara, ARefusedGetEmptiesTheValueAndTheLength)
{
    char value[50];
    std::memset(value, '#', sizeof value);
    int len = 50;
    EXPECT_EQ(sysparaGet(fd, "missing", value, &len, driverRequest), -1);
    EXPECT_EQ(value[0], 0);
    EXPECT_EQ(value[1], '#');
    EXPECT_EQ(len, 0);
}

TEST_F(Syspara, ANameThatDoesNotFitTheRecordIsRefusedBeforeAsking)
{
    const std::string longName(200, 'n');
    char value[8] = "keep";
    int len = 8;
    EXPECT_EQ(sysparaGet(fd, longName.c_str(), value, &len, driverRequest), -1);
    EXPECT_EQ(sysparaSet(fd, longName.c_str(), "1", driverRequest), -1);
    EXPECT_EQ(s_driver.calls, 0);
    EXPECT_STREQ(value, "keep");
    EXPECT_EQ(len, 8);
    const std::string fits(199, 'n');
    EXPECT_EQ(sysparaSet(fd, fits.c_str(), "1", driverRequest), 0);
    EXPECT_EQ(s_driver.vars.count(fits), 1u);
}

TEST_F(Syspara, SetCopiesTheNameAndTheValueWithANonZeroPointer)
{
    EXPECT_EQ(sysparaSet(fd, "camera_up", "10=ff", driverRequest), 0);
    EXPECT_EQ(s_driver.request, SYSPARA_SET_REQUEST);
    EXPECT_STREQ(s_driver.seen.name, "camera_up");
    EXPECT_STREQ(s_driver.seen.value, "10=ff");
    EXPECT_NE(s_driver.seen.valuePtr, 0u);
    EXPECT_EQ(s_driver.vars["camera_up"], "10=ff");
}

TEST_F(Syspara, SetWithANullValueAsksToDelete)
{
    s_driver.vars["gone"] = "1";
    EXPECT_EQ(sysparaSet(fd, "gone", nullptr, driverRequest), 0);
    EXPECT_EQ(s_driver.seen.valuePtr, 0u);
    EXPECT_EQ(s_driver.seen.value[0], 0);
    EXPECT_EQ(s_driver.vars.count("gone"), 0u);
}

TEST_F(Syspara, AValueThatDoesNotFitTheRecordIsRefused)
{
    const std::string longValue(200, 'v');
    EXPECT_EQ(sysparaSet(fd, "x", longValue.c_str(), driverRequest), -1);
    EXPECT_EQ(s_driver.calls, 0);
    EXPECT_EQ(sysparaSet(fd, "x", longValue.substr(1).c_str(), driverRequest), 0);
    EXPECT_EQ(s_driver.vars["x"], longValue.substr(1));
}

TEST_F(Syspara, ARefusedSetReturnsMinusOne)
{
    s_driver.refuse = true;
    EXPECT_EQ(sysparaSet(fd, "x", "1", driverRequest), -1);
}

TEST_F(Syspara, NullArgumentsAreRefused)
{
    char value[8];
    int len = 8;
    EXPECT_EQ(sysparaGet(fd, nullptr, value, &len, driverRequest), -1);
    EXPECT_EQ(sysparaGet(fd, "x", nullptr, &len, driverRequest), -1);
    EXPECT_EQ(sysparaGet(fd, "x", value, nullptr, driverRequest), -1);
    EXPECT_EQ(sysparaSet(fd, nullptr, "1", driverRequest), -1);
    EXPECT_EQ(s_driver.calls, 0);
}

TEST_F(Syspara, TheChipIdentifierComesFromTheDisplayRequest)
{
    int id = 7;
    socinfoRead(fd, &id, driverRequest);
    EXPECT_EQ(s_driver.request, SOCINFO_REQUEST);
    EXPECT_EQ(id, 0x33570001);
}

TEST_F(Syspara, AnUnansweredChipRequestLeavesTheIdentifierAsItWas)
{
    s_driver.refuse = true;
    int id = 0;
    socinfoRead(fd, &id, driverRequest);
    EXPECT_EQ(id, 0);
}

TEST_F(Syspara, TheRealRequestOnAPlainFileIsRefused)
{
    // A regular file answers no device request: the get fails cleanly.
    char value[8];
    std::memset(value, '#', sizeof value);
    int len = 8;
    EXPECT_EQ(sysparaGet(fd, "x", value, &len), -1);
    EXPECT_EQ(value[0], 0);
    EXPECT_EQ(len, 0);
    EXPECT_EQ(sysparaSet(fd, "x", "1"), -1);
}

}
