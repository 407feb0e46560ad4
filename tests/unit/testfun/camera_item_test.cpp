// The camera test with its drivers played in-process: the register window
// of /dev/mem, the frame buffer's screen information and memory (a file of
// the test's own), and a V4L2 capture driver with memory-mapped buffers.
// The picture left in the frame buffer is compared byte by byte with a
// conversion of the driver's frames worked out here.

#include "testfun_support.h"

#include "testfun/camera_regop.h"
#include "testfun/testcamera.h"

#include "lumi_test.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/videodev2.h>
#include <map>
#include <string>
#include <sys/mman.h>
#include <vector>

namespace {

char kName[] = "\xD5\xD5\xCF\xE0\xBB\xFA"; // 照相机

constexpr int kMemFd = 500;
constexpr int kFbFd = 501;
constexpr int kVideoFd = 502;

struct FakeBoard;
FakeBoard* s_board = nullptr;

// The drivers and what the test saw of the program.
struct FakeBoard {
    // boot environment
    std::map<std::string, std::string> env;
    // /dev/mem
    std::vector<unsigned char> regs = std::vector<unsigned char>(CAMERA_REG_WINDOW, 0x11);
    int memOpenResult { kMemFd };
    std::vector<std::string> memMaps; // "length offset prot flags"
    bool regsUnmapped { false };
    // the frame buffer
    unsigned screenWidth { 800 };
    unsigned screenHeight { 480 };
    std::string fbFile;
    std::vector<std::string> fopenModes;
    // the capture driver
    int videoFailOpens { 0 }; // opens that fail before the node appears
    int videoOpens { 0 };
    std::vector<unsigned> sleeps;
    unsigned grant { 4 };
    size_t bufferBytes { 0 }; // 0: a frame of the format set
    std::vector<std::vector<uint8_t>> buffers;
    std::deque<unsigned> queued;
    bool streaming { false };
    bool streamedOff { false };
    int framesMade { 0 };
    int frameLimit { 1000 }; // frames the sensor delivers before it stops
    std::vector<uint8_t> lastFrame; // the last frame dequeued
    struct v4l2_format fmt { };
    bool fmtSet { false };
    unsigned reqbufsCount { 0 };
    unsigned reqbufsMemory { 0 };
    int dequeues { 0 };
    unsigned dequeueIndex { ~0u }; // answer with this index instead of the right one
    std::map<unsigned long, int> interruptOnce; // request -> EINTR answers still to give
    int selectInterrupts { 0 };
    std::vector<long> selectTimeouts;
    int unmaps { 0 };
    std::vector<int> closed;

    unsigned width() const { return fmt.fmt.pix.width; }
    unsigned height() const { return fmt.fmt.pix.height; }
    bool semiPlanar { false }; // how the sensor lays out its frames

    // A frame of noise that differs from frame to frame and reaches every
    // value, so that clamping and both chroma signs are exercised.
    void fill(std::vector<uint8_t>& b)
    {
        uint32_t x = 0x9E3779B9u * static_cast<uint32_t>(++framesMade);
        for (uint8_t& byte : b) {
            x ^= x << 13;
            x ^= x >> 17;
            x ^= x << 5;
            byte = static_cast<uint8_t>(x);
        }
    }
};

int fakeOpen(const char* path, int flags)
{
    FakeBoard* b = s_board;
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR) << path;
    if (std::strcmp(path, "/dev/mem") == 0)
        return b->memOpenResult;
    if (std::strcmp(path, "/dev/fb0") == 0)
        return kFbFd;
    if (std::strcmp(path, "/dev/video0") == 0) {
        ++b->videoOpens;
        if (b->videoOpens <= b->videoFailOpens) {
            errno = ENOENT;
            return -1;
        }
        return kVideoFd;
    }
    ADD_FAILURE() << "opened " << path;
    errno = ENOENT;
    return -1;
}

int fakeClose(int fd)
{
    s_board->closed.push_back(fd);
    return 0;
}

unsigned fakeSleep(unsigned seconds)
{
    s_board->sleeps.push_back(seconds);
    return 0;
}

int fakeSyspara(const char* name, char* value, int* len)
{
    EXPECT_EQ(*len, 50);
    for (int i = 0; i < *len; ++i)
        EXPECT_EQ(value[i], 0) << "the value buffer is zero-filled";
    auto it = s_board->env.find(name);
    if (it == s_board->env.end())
        return -1;
    std::strncpy(value, it->second.c_str(), static_cast<size_t>(*len));
    *len = static_cast<int>(it->second.size());
    return 0;
}

FILE* fakeFopen(const char* path, const char* mode)
{
    EXPECT_STREQ(path, "/dev/fb0");
    s_board->fopenModes.emplace_back(mode);
    // A frame buffer is not truncated by "wb": the test's file plays it.
    return std::fopen(s_board->fbFile.c_str(), "r+b");
}

void* fakeMmap(void* addr, size_t length, int prot, int flags, int fd, off_t offset)
{
    FakeBoard* b = s_board;
    EXPECT_EQ(addr, nullptr);
    EXPECT_EQ(prot, PROT_READ | PROT_WRITE);
    EXPECT_EQ(flags, MAP_SHARED);
    if (fd == kMemFd) {
        b->memMaps.push_back(
            std::to_string(length) + " " + std::to_string(static_cast<unsigned long long>(offset)));
        if (length == CAMERA_REG_WINDOW && static_cast<unsigned long long>(offset) == 0xD8110000ULL)
            return b->regs.data();
        errno = EINVAL;
        return MAP_FAILED;
    }
    if (fd == kVideoFd) {
        const size_t index = static_cast<size_t>(offset) / (1 << 20);
        if (static_cast<size_t>(offset) % (1 << 20) == 0 && index < b->buffers.size()
            && length == b->buffers[index].size())
            return b->buffers[index].data();
    }
    errno = EINVAL;
    return MAP_FAILED;
}

int fakeMunmap(void* addr, size_t length)
{
    FakeBoard* b = s_board;
    if (addr == b->regs.data()) {
        EXPECT_EQ(length, CAMERA_REG_WINDOW);
        b->regsUnmapped = true;
        return 0;
    }
    for (auto& buf : b->buffers) {
        if (addr == buf.data()) {
            EXPECT_EQ(length, buf.size());
            ++b->unmaps;
            return 0;
        }
    }
    ADD_FAILURE() << "unmapped an unknown address";
    errno = EINVAL;
    return -1;
}

int videoIoctl(FakeBoard* b, unsigned long request, void* arg)
{
    switch (request) {
    case VIDIOC_S_FMT: {
        std::memcpy(&b->fmt, arg, sizeof b->fmt);
        b->fmtSet = true;
        return 0;
    }
    case VIDIOC_REQBUFS: {
        auto* req = static_cast<v4l2_requestbuffers*>(arg);
        b->reqbufsCount = req->count;
        b->reqbufsMemory = req->memory;
        EXPECT_EQ(req->type, V4L2_BUF_TYPE_VIDEO_CAPTURE);
        req->count = b->grant;
        const size_t bytes
            = b->bufferBytes ? b->bufferBytes : static_cast<size_t>(b->width()) * b->height() * 2;
        b->buffers.assign(b->grant, std::vector<uint8_t>(bytes, 0));
        return 0;
    }
    case VIDIOC_QUERYBUF: {
        auto* buf = static_cast<v4l2_buffer*>(arg);
        if (buf->index >= b->buffers.size()) {
            errno = EINVAL;
            return -1;
        }
        buf->length = static_cast<uint32_t>(b->buffers[buf->index].size());
        buf->m.offset = buf->index << 20;
        return 0;
    }
    case VIDIOC_QBUF: {
        auto* buf = static_cast<v4l2_buffer*>(arg);
        EXPECT_EQ(buf->memory, V4L2_MEMORY_MMAP);
        b->queued.push_back(buf->index);
        return 0;
    }
    case VIDIOC_DQBUF: {
        auto* buf = static_cast<v4l2_buffer*>(arg);
        if (b->queued.empty() || !b->streaming) {
            errno = EAGAIN;
            return -1;
        }
        const unsigned index = b->queued.front();
        b->queued.pop_front();
        b->fill(b->buffers[index]);
        b->lastFrame = b->buffers[index];
        ++b->dequeues;
        buf->index = b->dequeueIndex != ~0u ? b->dequeueIndex : index;
        buf->bytesused = static_cast<uint32_t>(b->buffers[index].size());
        return 0;
    }
    case VIDIOC_STREAMON:
        EXPECT_EQ(*static_cast<int*>(arg), V4L2_BUF_TYPE_VIDEO_CAPTURE);
        b->streaming = true;
        return 0;
    case VIDIOC_STREAMOFF:
        b->streaming = false;
        b->streamedOff = true;
        return 0;
    default:
        errno = ENOTTY;
        return -1;
    }
}

int fakeIoctl(int fd, unsigned long request, void* arg)
{
    FakeBoard* b = s_board;
    auto it = b->interruptOnce.find(request);
    if (it != b->interruptOnce.end() && it->second > 0) {
        --it->second;
        errno = EINTR;
        return -1;
    }
    if (fd == kFbFd && request == FBIOGET_VSCREENINFO) {
        auto* v = static_cast<fb_var_screeninfo*>(arg);
        v->xres = b->screenWidth;
        v->yres = b->screenHeight;
        v->xres_virtual = b->screenWidth;
        v->yres_virtual = b->screenHeight * 2;
        v->bits_per_pixel = 32;
        return 0;
    }
    if (fd == kVideoFd)
        return videoIoctl(b, request, arg);
    errno = ENOTTY;
    return -1;
}

int fakeSelect(int nfds, fd_set* readfds, fd_set*, fd_set*, struct timeval* timeout)
{
    FakeBoard* b = s_board;
    EXPECT_EQ(nfds, kVideoFd + 1);
    EXPECT_TRUE(FD_ISSET(kVideoFd, readfds));
    b->selectTimeouts.push_back(timeout->tv_sec * 1000000L + timeout->tv_usec);
    if (b->selectInterrupts > 0) {
        --b->selectInterrupts;
        errno = EINTR;
        return -1;
    }
    // The sensor delivers while buffers are queued, until its limit.
    if (!b->streaming || b->queued.empty() || b->framesMade >= b->frameLimit) {
        FD_ZERO(readfds);
        return 0;
    }
    return 1;
}

// The reference: each pixel as the sensor's YUV turned into blue, green, red, 0.
std::vector<uint8_t> referencePicture(
    const std::vector<uint8_t>& frame, unsigned w, unsigned h, bool semiPlanar)
{
    std::vector<uint8_t> out(static_cast<size_t>(w) * h * 4);
    auto px = [&](size_t i, int y, int u, int v) {
        const double c[3] = { y + 2.03 * u, y - 0.39 * u - 0.58 * v, y + 1.14 * v };
        for (int k = 0; k < 3; ++k) {
            long t = static_cast<long>(c[k]);
            out[i * 4 + k] = static_cast<uint8_t>(t < 0 ? 0 : t > 255 ? 255 : t);
        }
        out[i * 4 + 3] = 0;
    };
    const size_t n = static_cast<size_t>(w) * h;
    for (size_t p = 0; p < n; p += 2) {
        int y0, y1, u, v;
        if (semiPlanar) {
            y0 = frame[p];
            y1 = frame[p + 1];
            u = frame[n + p] - 128;
            v = frame[n + p + 1] - 128;
        } else {
            y0 = frame[2 * p];
            u = frame[2 * p + 1] - 128;
            y1 = frame[2 * p + 2];
            v = frame[2 * p + 3] - 128;
        }
        px(p, y0, u, v);
        px(p + 1, y1, u, v);
    }
    return out;
}

constexpr uint8_t kUntouched = 0xA5;

class CameraTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        s_board = &board;
        board.fbFile = tmp.file("fb0");
        resizeScreen(800, 480);
        resetCameraState();
        CameraSystem calls;
        calls.open = fakeOpen;
        calls.close = fakeClose;
        calls.ioctl = fakeIoctl;
        calls.mmap = fakeMmap;
        calls.munmap = fakeMunmap;
        calls.select = fakeSelect;
        calls.sleep = fakeSleep;
        calls.fopen = fakeFopen;
        calls.getsyspara = fakeSyspara;
        m_old = setCameraSystem(calls);
    }
    void TearDown() override
    {
        setCameraSystem(m_old);
        resetCameraState();
        s_board = nullptr;
    }

    void resizeScreen(unsigned w, unsigned h)
    {
        board.screenWidth = w;
        board.screenHeight = h;
        ASSERT_TRUE(testfuntest::writeFile(
            board.fbFile, std::string(static_cast<size_t>(w) * h * 4, static_cast<char>(kUntouched))));
    }

    std::vector<uint8_t> screen() const
    {
        std::vector<uint8_t> bytes;
        FILE* f = std::fopen(board.fbFile.c_str(), "rb");
        if (!f)
            return bytes;
        char buf[65536];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
            bytes.insert(bytes.end(), buf, buf + n);
        std::fclose(f);
        return bytes;
    }

    // The whole screen as the program must leave it: the last frame's
    // picture one line up (row r on line y + r - 1, row 0 overwritten), the
    // picture area's bottom line and everything around it untouched.
    void expectPicture(unsigned x, unsigned y, unsigned w, unsigned h, bool semiPlanar)
    {
        const std::vector<uint8_t> picture = referencePicture(board.lastFrame, w, h, semiPlanar);
        std::vector<uint8_t> expected(
            static_cast<size_t>(board.screenWidth) * board.screenHeight * 4, kUntouched);
        for (unsigned r = 1; r < h; ++r)
            std::memcpy(&expected[((static_cast<size_t>(y) + r - 1) * board.screenWidth + x) * 4],
                &picture[static_cast<size_t>(r) * w * 4], static_cast<size_t>(w) * 4);
        const std::vector<uint8_t> got = screen();
        ASSERT_EQ(got.size(), expected.size());
        size_t differing = 0, first = 0;
        for (size_t i = 0; i < got.size(); ++i) {
            if (got[i] != expected[i] && differing++ == 0)
                first = i;
        }
        EXPECT_EQ(differing, 0u) << "first at pixel " << (first / 4) % board.screenWidth << ","
                                 << (first / 4) / board.screenWidth;
        // The bottom line of the picture area is never written.
        const size_t bottom = ((static_cast<size_t>(y) + h - 1) * board.screenWidth + x) * 4;
        EXPECT_EQ(got[bottom], kUntouched);
    }

    lumitest::TempDir tmp;
    FakeBoard board;

private:
    CameraSystem m_old;
};

TEST_F(CameraTest, WithoutCameraChipTheSensorIs320x240ShownAt360x40)
{
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(item.getResult(), -1);
    const CameraState& s = cameraState();
    EXPECT_EQ(s.width, 320u);
    EXPECT_EQ(s.height, 240u);
    EXPECT_EQ(s.xOffset, 360u);
    EXPECT_EQ(s.yOffset, 40u);
    EXPECT_EQ(s.semiPlanar, 0);
    EXPECT_EQ(s.screenWidth, 800u);
    EXPECT_EQ(s.screenHeight, 480u);
    ASSERT_TRUE(board.fmtSet);
    EXPECT_EQ(board.fmt.type, V4L2_BUF_TYPE_VIDEO_CAPTURE);
    EXPECT_EQ(board.fmt.fmt.pix.width, 320u);
    EXPECT_EQ(board.fmt.fmt.pix.height, 240u);
    EXPECT_EQ(board.fmt.fmt.pix.pixelformat, static_cast<uint32_t>(V4L2_PIX_FMT_YUYV));
    EXPECT_EQ(board.fmt.fmt.pix.field, 0u);
    EXPECT_EQ(board.fmt.fmt.pix.bytesperline, 0u);
    EXPECT_EQ(board.fmt.fmt.pix.sizeimage, 0u);
    expectPicture(360, 40, 320, 240, false);
}

TEST_F(CameraTest, ACcir656SensorIs640x480SemiPlanarShownAtTheOrigin)
{
    board.env["camera_chip"] = "ccir656";
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    const CameraState& s = cameraState();
    EXPECT_EQ(s.width, 640u);
    EXPECT_EQ(s.height, 480u);
    EXPECT_EQ(s.xOffset, 0u);
    EXPECT_EQ(s.yOffset, 0u);
    EXPECT_EQ(s.semiPlanar, 1);
    EXPECT_EQ(board.fmt.fmt.pix.width, 640u);
    EXPECT_EQ(board.fmt.fmt.pix.height, 480u);
    // The format asked for stays "YUYV"; the sensor's layout decides the conversion.
    EXPECT_EQ(board.fmt.fmt.pix.pixelformat, static_cast<uint32_t>(V4L2_PIX_FMT_YUYV));
    expectPicture(0, 0, 640, 480, true);
}

TEST_F(CameraTest, AnotherChipNameIsTheDefaultSensor)
{
    board.env["camera_chip"] = "ccir6560";
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(cameraState().width, 320u);
    expectPicture(360, 40, 320, 240, false);
}

TEST_F(CameraTest, LineAddressingUsesTheVisibleScreenWidth)
{
    resizeScreen(1024, 600);
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    expectPicture(360, 40, 320, 240, false);
}

TEST_F(CameraTest, TheRegisterProgramFromCameraUpIsAppliedToTheMappedWindow)
{
    board.env["camera_up"] = "10=ff,14|~01";
    board.regs[0x14] = 0x00;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(board.memMaps, (std::vector<std::string> { "1296 3624992768" })); // 0xD8110000
    EXPECT_EQ(board.regs[0x10], 0xFF);
    EXPECT_EQ(board.regs[0x14], 0xFE);
    EXPECT_EQ(board.regs[0x15], 0x11);
    EXPECT_TRUE(board.regsUnmapped);
    ASSERT_FALSE(board.closed.empty());
    EXPECT_EQ(board.closed.front(), kMemFd);
}

TEST_F(CameraTest, WithoutCameraUpNoRegisterIsWritten)
{
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(board.regs, std::vector<unsigned char>(CAMERA_REG_WINDOW, 0x11));
    EXPECT_TRUE(board.regsUnmapped);
}

TEST_F(CameraTest, AMemDescriptorOfZeroFailsTheTest)
{
    board.memOpenResult = 0;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 1);
    EXPECT_TRUE(board.memMaps.empty());
    EXPECT_EQ(board.videoOpens, 0);
}

TEST_F(CameraTest, AFailedMemOpenIsNotCaughtButNothingIsWrittenThroughIt)
{
    board.memOpenResult = -1;
    board.env["camera_up"] = "10=ff";
    TestCamera item(kName);
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(nullptr), 2);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("the camera registers cannot be mapped"), std::string::npos) << out;
    EXPECT_EQ(board.regs[0x10], 0x11);
    EXPECT_FALSE(board.regsUnmapped);
}

TEST_F(CameraTest, TenFramesAreTakenEachWaitingAtMostTwoSeconds)
{
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(board.dequeues, 10);
    EXPECT_EQ(cameraState().framesShown, 10);
    EXPECT_EQ(board.selectTimeouts, std::vector<long>(10, 2000000L));
    EXPECT_EQ(board.reqbufsCount, 4u);
    EXPECT_EQ(board.reqbufsMemory, static_cast<unsigned>(V4L2_MEMORY_MMAP));
    // Every buffer went back to the driver after its frame was shown.
    EXPECT_EQ(board.queued.size(), 4u);
    EXPECT_TRUE(board.streamedOff);
    EXPECT_EQ(board.unmaps, 4);
    EXPECT_EQ(cameraState().nBuffers, 0u);
    EXPECT_EQ(cameraState().videoFd, -1);
    EXPECT_EQ(cameraState().frameBuffer, nullptr);
    EXPECT_EQ(board.fopenModes, (std::vector<std::string> { "wb" }));
    // /dev/mem, the frame buffer's descriptor, then the video node at the end.
    EXPECT_EQ(board.closed, (std::vector<int> { kMemFd, kFbFd, kVideoFd }));
}

TEST_F(CameraTest, ADriverGrantingOneBufferFailsTheTest)
{
    board.grant = 1;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 1);
    EXPECT_FALSE(board.streaming);
    EXPECT_EQ(board.dequeues, 0);
}

TEST_F(CameraTest, TwoGrantedBuffersAreEnough)
{
    board.grant = 2;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(board.dequeues, 10);
    expectPicture(360, 40, 320, 240, false);
}

TEST_F(CameraTest, NoFrameWithinTwoSecondsFailsTheTest)
{
    board.frameLimit = 0;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 1);
    EXPECT_EQ(board.selectTimeouts, std::vector<long>(1, 2000000L));
    EXPECT_EQ(board.dequeues, 0);
    // Nothing of the picture reached the screen.
    EXPECT_EQ(screen(), std::vector<uint8_t>(800 * 480 * 4, kUntouched));
}

TEST_F(CameraTest, ASensorStoppingAfterFiveFramesFailsTheTest)
{
    board.frameLimit = 5;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 1);
    EXPECT_EQ(board.dequeues, 5);
    // Failing leaves the capture as it is: no stream-off.
    EXPECT_FALSE(board.streamedOff);
}

TEST_F(CameraTest, InterruptedRequestsAndWaitsAreRepeated)
{
    for (unsigned long r : { VIDIOC_S_FMT, VIDIOC_REQBUFS, VIDIOC_QUERYBUF, VIDIOC_QBUF, VIDIOC_DQBUF,
             VIDIOC_STREAMON, VIDIOC_STREAMOFF })
        board.interruptOnce[r] = 2;
    board.selectInterrupts = 3;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    for (const auto& r : board.interruptOnce)
        EXPECT_EQ(r.second, 0) << std::hex << r.first;
    EXPECT_EQ(board.dequeues, 10);
    EXPECT_EQ(board.selectTimeouts.size(), 13u);
}

TEST_F(CameraTest, TheVideoNodeIsOpenedUpToFiveTimesTwoSecondsApart)
{
    board.videoFailOpens = 3;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(board.videoOpens, 4);
    EXPECT_EQ(board.sleeps, (std::vector<unsigned> { 2, 2, 2 }));
}

TEST_F(CameraTest, AVideoNodeMissingAfterFiveAttemptsFailsTheTest)
{
    board.videoFailOpens = 5;
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 1);
    EXPECT_EQ(board.videoOpens, 5);
    EXPECT_EQ(board.sleeps, (std::vector<unsigned> { 2, 2, 2, 2 }));
    EXPECT_FALSE(board.fmtSet);
}

TEST_F(CameraTest, ABufferShorterThanAFrameFailsBeforeAnythingIsRead)
{
    board.bufferBytes = 320 * 240 * 2 - 1;
    TestCamera item(kName);
    testing::internal::CaptureStdout();
    EXPECT_EQ(item.execute(nullptr), 1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("buffer 0 holds 153599 bytes, a 320x240 frame needs 153600"), std::string::npos)
        << out;
    EXPECT_EQ(board.dequeues, 0);
}

TEST_F(CameraTest, ASecondRunShowsItsOwnFrames)
{
    TestCamera item(kName);
    EXPECT_EQ(item.execute(nullptr), 2);
    board.buffers.clear();
    board.queued.clear();
    EXPECT_EQ(item.execute(nullptr), 2);
    EXPECT_EQ(board.dequeues, 20);
    expectPicture(360, 40, 320, 240, false);
}

using CameraDeathTest = CameraTest;

TEST_F(CameraDeathTest, ADequeuedIndexBeyondTheBuffersStopsTheProgram)
{
    board.dequeueIndex = 4;
    TestCamera item(kName);
    EXPECT_DEATH(item.execute(nullptr),
        "testfun/camera:[0-9]+: int read_frame\\(\\): Assertion `buf.index < n_buffers' failed");
}

}
