// The camera on the board: the program's camera test item (camera-probe)
// captures from the board's /dev/video0, programs /dev/mem, and leaves its
// picture in a 32-bit frame buffer, on x86_64 and on armhf under qemu-arm
// (whose V4L2 structures differ). The picture is compared byte by byte with
// a conversion, worked out here, of the test frame the board says was shown
// last; the faults of the driver fail the test.

#include "board_fixture.h"

#include "../../sim/board/camera_picture.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace boardtest;

namespace {

const char kPython[] = "/usr/bin/python3";
const char kCameraBoard[] = "[screen]\nbpp = 32\n[camera]\nsensor = yuyv\nrate = 50\n";

// The number after "key": in the camera's member of the state, or -2.
long jsonNumber(const std::string& json, const std::string& key)
{
    const std::string k = "\"" + key + "\": ";
    // Within the camera's member: other models have keys of the same names.
    const size_t camera = json.find("\"camera\": {");
    const size_t at = camera == std::string::npos ? camera : json.find(k, camera);
    if (at == std::string::npos)
        return -2;
    return std::strtol(json.c_str() + at + k.size(), nullptr, 10);
}

// The conversion the camera test must have made, pixel by pixel: packed
// YUYV, or (semi-planar) a Y plane followed by a plane of U, V pairs.
std::vector<uint8_t> referencePicture(
    const std::vector<uint8_t>& frame, unsigned w, unsigned h, bool semiPlanar = false)
{
    const size_t pixels = static_cast<size_t>(w) * h;
    std::vector<uint8_t> out(pixels * 4);
    for (size_t p = 0; p < pixels; p += 2) {
        const int y[2]
            = { semiPlanar ? frame[p] : frame[2 * p], semiPlanar ? frame[p + 1] : frame[2 * p + 2] };
        const int u = (semiPlanar ? frame[pixels + p] : frame[2 * p + 1]) - 128;
        const int v = (semiPlanar ? frame[pixels + p + 1] : frame[2 * p + 3]) - 128;
        for (int k = 0; k < 2; ++k) {
            const double c[3] = { y[k] + 2.03 * u, y[k] - 0.39 * u - 0.58 * v, y[k] + 1.14 * v };
            for (int i = 0; i < 3; ++i) {
                const long t = static_cast<long>(c[i]);
                out[(p + k) * 4 + i] = static_cast<uint8_t>(t < 0 ? 0 : t > 255 ? 255 : t);
            }
            out[(p + k) * 4 + 3] = 0;
        }
    }
    return out;
}

class BoardCamera : public ::testing::TestWithParam<ProbeArch> {
protected:
    void SetUp() override
    {
        if (GetParam() == ProbeArch::Armhf) {
            probe = armhfBuild() + "/tests/sim/camera-probe";
            if (!exists(probe))
                GTEST_SKIP() << "no armhf build with the camera probe (build/armhf or UISHULL_ARMHF_BUILD)";
            if (!exists(armhfSysroot()))
                GTEST_SKIP() << "no armhf sysroot at " << armhfSysroot();
        } else {
            probe = buildProgram("tests/sim/camera-probe");
        }
    }

    // Runs the probe to its end on a board of scenario; its output in out, the final state in state.
    int runProbe(const std::string& name, const std::string& scenario, std::string& out, std::string& state,
        const std::vector<std::string>& extra = {})
    {
        std::vector<std::string> command = { probe, "fb.raw" };
        command.insert(command.end(), extra.begin(), extra.end());
        Board b(tmp, name, command, scenario);
        const int status = b.process->wait(120000);
        out = b.process->output();
        state = readFile(b.dir() + "/state.json");
        dir = b.dir();
        return status;
    }

    TempDir tmp;
    std::string probe;
    std::string dir;
};

TEST_P(BoardCamera, ThePictureOnTheScreenIsTheLastFrameConvertedOneLineUp)
{
    std::string out, state;
    ASSERT_EQ(runProbe("picture", kCameraBoard, out, state), 0) << out;
    EXPECT_NE(out.find("camera 2\n"), std::string::npos) << out;
    EXPECT_NE(out.find("capture 320x240 at 360,40 layout packed screen 800x480 frames 10"), std::string::npos)
        << out;
    EXPECT_EQ(jsonNumber(state, "dequeued"), 10) << state;
    EXPECT_GE(jsonNumber(state, "frames"), 10) << state;
    EXPECT_NE(state.find("\"streaming\": false"), std::string::npos) << state;
    const long last = jsonNumber(state, "last_dequeued");
    ASSERT_GE(last, 9) << state;

    const unsigned w = 320, h = 240, x = 360, y = 40, sw = 800, sh = 480;
    std::vector<uint8_t> frame(static_cast<size_t>(w) * h * 2);
    board::cameraTestFrame(frame.data(), w, h, false, static_cast<uint32_t>(last));
    const std::vector<uint8_t> picture = referencePicture(frame, w, h);
    // The screen starts black; row r lands on line y + r - 1 and the area's bottom line stays black.
    std::vector<uint8_t> expected(static_cast<size_t>(sw) * sh * 4, 0);
    for (unsigned r = 1; r < h; ++r)
        std::memcpy(
            &expected[((y + r - 1) * static_cast<size_t>(sw) + x) * 4], &picture[r * w * 4ul], w * 4ul);
    const std::string copy = readFile(dir + "/work/fb.raw");
    ASSERT_EQ(copy.size(), expected.size());
    size_t differing = 0, first = 0;
    for (size_t i = 0; i < copy.size(); ++i) {
        if (static_cast<uint8_t>(copy[i]) != expected[i] && differing++ == 0)
            first = i;
    }
    EXPECT_EQ(differing, 0u) << "first at " << (first / 4) % sw << "," << (first / 4) / sw;
    // The marker of the frame shown sits where the board put it (one line up).
    const unsigned mx = board::cameraMarkerX(w, static_cast<uint32_t>(last));
    const unsigned my = board::cameraMarkerY(h);
    const size_t at = ((y + my) * static_cast<size_t>(sw) + x + mx) * 4;
    EXPECT_EQ(static_cast<uint8_t>(copy[at]), 126);
    EXPECT_EQ(static_cast<uint8_t>(copy[at + 1]), 126);
    EXPECT_EQ(static_cast<uint8_t>(copy[at + 2]), 126);
    // The register window was mapped once; without camera_up nothing was set.
    EXPECT_NE(state.find("\"maps\": 1, \"set\": {}"), std::string::npos) << state;
}

// The CCIR 656 sensor, chosen by the boot environment that the camera test
// reads from the flash driver (/dev/mtd0), which also gives the register
// program applied to the controller's window.
const char kCcir656Board[] = "[screen]\nbpp = 32\n[camera]\nsensor = ccir656\nrate = 50\n"
                             "[bootenv]\ncamera_chip = ccir656\n"
                             "camera_up = 10=ff,14|~01,20=3c,20&~0c,40|5,50f=7,600=1\n";

// The bytes of the register window "set" in the state's camera_registers.
std::string registersSet(const std::string& json)
{
    const size_t regs = json.find("\"camera_registers\": {");
    const size_t at = regs == std::string::npos ? regs : json.find("\"set\": {", regs);
    const size_t end = at == std::string::npos ? at : json.find('}', at);
    return end == std::string::npos ? std::string() : json.substr(at, end + 1 - at);
}

TEST_P(BoardCamera, TheCcir656SensorOfTheBootEnvironmentFillsTheScreenFromItsOrigin)
{
    std::string out, state;
    ASSERT_EQ(runProbe("ccir656", kCcir656Board, out, state), 0) << out;
    EXPECT_NE(out.find("camera 2\n"), std::string::npos) << out;
    EXPECT_NE(
        out.find("capture 640x480 at 0,0 layout semi-planar screen 800x480 frames 10"), std::string::npos)
        << out;
    EXPECT_NE(state.find("\"width\": 640, \"height\": 480, \"layout\": \"semi-planar\""), std::string::npos)
        << state;
    EXPECT_EQ(jsonNumber(state, "dequeued"), 10) << state;
    const long last = jsonNumber(state, "last_dequeued");
    ASSERT_GE(last, 9) << state;

    const unsigned w = 640, h = 480, sw = 800, sh = 480;
    std::vector<uint8_t> frame(static_cast<size_t>(w) * h * 2);
    board::cameraTestFrame(frame.data(), w, h, true, static_cast<uint32_t>(last));
    const std::vector<uint8_t> picture = referencePicture(frame, w, h, true);
    // Row r lands on line r - 1: the first row is overwritten, the last line
    // stays black, and so do the columns right of the picture.
    std::vector<uint8_t> expected(static_cast<size_t>(sw) * sh * 4, 0);
    for (unsigned r = 1; r < h; ++r)
        std::memcpy(&expected[(r - 1) * static_cast<size_t>(sw) * 4], &picture[r * w * 4ul], w * 4ul);
    const std::string copy = readFile(dir + "/work/fb.raw");
    ASSERT_EQ(copy.size(), expected.size());
    size_t differing = 0, first = 0;
    for (size_t i = 0; i < copy.size(); ++i) {
        if (static_cast<uint8_t>(copy[i]) != expected[i] && differing++ == 0)
            first = i;
    }
    EXPECT_EQ(differing, 0u) << "first at " << (first / 4) % sw << "," << (first / 4) / sw;
    // The picture is not all black: the white bar reached the screen's top left.
    EXPECT_GT(static_cast<uint8_t>(copy[0]), 200);

    // The register program ran on the mapped window: 0x10 set, 0x14 ORed
    // with ~01, 0x20 set then ANDed with ~0c, 0x40 ORed, the window's last
    // byte set; the operation beyond it skipped and told.
    EXPECT_EQ(registersSet(state),
        "\"set\": {\"0x010\": 255, \"0x014\": 254, \"0x020\": 48, \"0x040\": 5, "
        "\"0x50f\": 7}")
        << state;
    EXPECT_NE(state.find("\"maps\": 1,"), std::string::npos) << state;
    EXPECT_NE(out.find("***ERR: camera_up: 1 operation(s) outside the 1296-byte register window skipped"),
        std::string::npos)
        << out;
}

TEST_P(BoardCamera, TwoRunsInOneProcessBothPass)
{
    std::string out, state;
    ASSERT_EQ(runProbe("twice", kCameraBoard, out, state, { "2" }), 0) << out;
    size_t passes = 0;
    for (size_t at = 0; (at = out.find("camera 2\n", at)) != std::string::npos; ++at)
        ++passes;
    EXPECT_EQ(passes, 2u) << out;
    EXPECT_EQ(jsonNumber(state, "dequeued"), 20) << state;
    EXPECT_EQ(jsonNumber(state, "opens"), 2) << state;
}

TEST_P(BoardCamera, ADriverGrantingOneBufferFailsTheTest)
{
    std::string out, state;
    ASSERT_EQ(runProbe("onebuffer", std::string(kCameraBoard) + "buffers = 1\n", out, state), 0) << out;
    EXPECT_NE(out.find("camera 1\n"), std::string::npos) << out;
    EXPECT_EQ(jsonNumber(state, "dequeued"), 0) << state;
    EXPECT_EQ(jsonNumber(state, "frames"), 0) << state;
}

TEST_P(BoardCamera, ASensorWithoutFramesFailsTheTestAfterItsWait)
{
    std::string out, state;
    ASSERT_EQ(runProbe("noframes", std::string(kCameraBoard) + "frames = 0\n", out, state), 0) << out;
    EXPECT_NE(out.find("camera 1\n"), std::string::npos) << out;
    EXPECT_EQ(jsonNumber(state, "dequeued"), 0) << state;
}

TEST_P(BoardCamera, ASensorFallingSilentAfterFourFramesFailsTheTest)
{
    std::string out, state;
    ASSERT_EQ(runProbe("silent", std::string(kCameraBoard) + "frames = 4\n", out, state), 0) << out;
    EXPECT_NE(out.find("camera 1\n"), std::string::npos) << out;
    EXPECT_EQ(jsonNumber(state, "dequeued"), 4) << state;
}

TEST_P(BoardCamera, ANodeAppearingAfterThreeSecondsIsFoundOnTheThirdAttempt)
{
    std::string out, state;
    ASSERT_EQ(runProbe("late", std::string(kCameraBoard) + "appear_after = 3\n", out, state), 0) << out;
    EXPECT_NE(out.find("camera 2\n"), std::string::npos) << out;
    EXPECT_EQ(jsonNumber(state, "open_attempts"), 3) << state;
}

TEST_P(BoardCamera, AMissingCameraFailsTheTestAfterFiveAttempts)
{
    std::string out, state;
    ASSERT_EQ(runProbe("missing", std::string(kCameraBoard) + "present = no\n", out, state), 0) << out;
    EXPECT_NE(out.find("camera 1\n"), std::string::npos) << out;
    EXPECT_EQ(jsonNumber(state, "open_attempts"), 5) << state;
}

INSTANTIATE_TEST_SUITE_P(Arch, BoardCamera, ::testing::Values(ProbeArch::X86_64, ProbeArch::Armhf),
    [](const ::testing::TestParamInfo<ProbeArch>& info) {
        return info.param == ProbeArch::X86_64 ? std::string("x86_64") : std::string("armhf");
    });

// The register window: only the controller's 1296 bytes at 0xD8110000 map,
// and what is written through the mapping shows in the state.
const char kMemProbe[] = R"(
import ctypes, os
libc = ctypes.CDLL(None, use_errno=True)
libc.mmap.restype = ctypes.c_void_p
libc.mmap.argtypes = [ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int, ctypes.c_int, ctypes.c_int, ctypes.c_long]
libc.munmap.argtypes = [ctypes.c_void_p, ctypes.c_size_t]
failed = ctypes.c_void_p(-1).value
fd = os.open('/dev/mem', os.O_RDWR)
for offset, size in ((0, 4096), (0xD8100000, 1296), (0xD8110000, 4096)):
    p = libc.mmap(None, size, 3, 1, fd, offset)
    print('refused' if p == failed else 'mapped', hex(offset), size, ctypes.get_errno() if p == failed else 0)
p = libc.mmap(None, 1296, 3, 1, fd, 0xD8110000)
regs = (ctypes.c_ubyte * 1296).from_address(p)
regs[0x10] = 0xff
regs[0x14] = regs[0x14] | 0xfe
regs[0x50f] = 7
print('window', len(regs), regs[0x10])
libc.munmap(p, 1296)
)";

TEST(BoardCameraRegisters, OnlyTheControllerWindowMapsAndItsBytesShowInTheState)
{
    if (!exists(kPython))
        GTEST_SKIP() << "no " << kPython;
    TempDir tmp;
    Board b(tmp, "mem", { kPython, "-c", kMemProbe });
    ASSERT_EQ(b.process->wait(60000), 0) << b.process->output() << b.process->errors();
    const std::string out = b.process->output();
    EXPECT_NE(out.find("refused 0x0 4096 22"), std::string::npos) << out;
    EXPECT_NE(out.find("refused 0xd8100000 1296 22"), std::string::npos) << out;
    EXPECT_NE(out.find("refused 0xd8110000 4096 22"), std::string::npos) << out;
    EXPECT_NE(out.find("window 1296 255"), std::string::npos) << out;
    const std::string state = readFile(b.dir() + "/state.json");
    EXPECT_NE(state.find("\"set\": {\"0x010\": 255, \"0x014\": 254, \"0x50f\": 7}"), std::string::npos)
        << state;
    EXPECT_NE(state.find("\"maps\": 1,"), std::string::npos) << state;
}

}
