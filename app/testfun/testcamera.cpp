#include "testfun/testcamera.h"

#include "platform/syspara.h"
#include "testfun/camera_convert.h"
#include "testfun/camera_regop.h"

#include <lumi/fatal.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/fb.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

const char kSource[] = "testfun/camera";
const char kVideoDevice[] = "/dev/video0";
const char kFrameBufferDevice[] = "/dev/fb0";
const char kMemDevice[] = "/dev/mem";
// The boot environment's values are read into a zero-filled buffer of 50
// bytes; one more byte keeps a 50-character value terminated.
constexpr int kSysparaSize = 50;

CameraState s_cam;

int systemOpen(const char* path, int flags)
{
    return ::open(path, flags);
}
int systemIoctl(int fd, unsigned long request, void* arg)
{
    return ::ioctl(fd, request, arg);
}
void* systemMmap(void* addr, size_t length, int prot, int flags, int fd, off_t offset)
{
    return ::mmap(addr, length, prot, flags, fd, offset);
}

CameraSystem withDefaults(const CameraSystem& calls)
{
    CameraSystem c = calls;
    if (!c.open)
        c.open = systemOpen;
    if (!c.close)
        c.close = ::close;
    if (!c.ioctl)
        c.ioctl = systemIoctl;
    if (!c.mmap)
        c.mmap = systemMmap;
    if (!c.munmap)
        c.munmap = ::munmap;
    if (!c.select)
        c.select = ::select;
    if (!c.sleep)
        c.sleep = ::sleep;
    if (!c.fopen)
        c.fopen = std::fopen;
    if (!c.getsyspara)
        c.getsyspara = zor_getsyspara;
    return c;
}

CameraSystem s_given;
CameraSystem s_sys = withDefaults({});

// Reads one variable of the boot environment; true when it exists.
bool readSyspara(const char* name, char (&value)[kSysparaSize + 1])
{
    std::memset(value, 0, sizeof value);
    int size = kSysparaSize;
    return s_sys.getsyspara(name, value, &size) == 0;
}

// Writes the converted frame into the frame buffer, one row a write.
void showFrame()
{
    FILE* fb = s_cam.frameBuffer;
    const long sw = static_cast<long>(s_cam.screenWidth);
    const size_t rowBytes = static_cast<size_t>(s_cam.width) * 4;
    std::fseek(fb, ((sw * s_cam.yOffset) + s_cam.xOffset) * 4, SEEK_SET);
    for (unsigned r = 0; r < s_cam.height; ++r) {
        std::fwrite(s_cam.converted + r * rowBytes, rowBytes, 1, fb);
        // Kept: the seek goes back to the start of the line just written, so
        // row r + 1 overwrites row r: the picture sits one line up, its first
        // row is never seen and the bottom line of its area is never
        // written. Operators and the line's fixtures know the picture so.
        std::fseek(fb, ((sw * (s_cam.yOffset + r)) + s_cam.xOffset) * 4, SEEK_SET);
    }
}

int read_frame()
{
    struct v4l2_buffer buf;
    std::memset(&buf, 0, sizeof buf);
    buf.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buf.memory = V4L2_MEMORY_MMAP;
    if (xioctl(s_cam.videoFd, VIDIOC_DQBUF, &buf) == -1)
        return 1;
    const unsigned n_buffers = s_cam.nBuffers;
    LUMI_ASSERT(buf.index < n_buffers, kSource, __LINE__, "int read_frame()");
    convertFrame(static_cast<const uint8_t*>(s_cam.buffers[buf.index].start), s_cam.width, s_cam.height,
        s_cam.semiPlanar != 0, s_cam.converted);
    showFrame();
    ++s_cam.framesShown;
    if (xioctl(s_cam.videoFd, VIDIOC_QBUF, &buf) == -1)
        return 1;
    return 0;
}

int init_mmap()
{
    struct v4l2_requestbuffers req;
    std::memset(&req, 0, sizeof req);
    req.count = CAMERA_REQUESTED_BUFFERS;
    req.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    req.memory = V4L2_MEMORY_MMAP;
    if (xioctl(s_cam.videoFd, VIDIOC_REQBUFS, &req) == -1)
        return 1;
    // Double buffering at least: with one buffer the sensor has nowhere to
    // write while a frame is shown.
    if (req.count < 2)
        return 1;
    // A driver granting absurdly many is refused rather than trusted.
    if (req.count > VIDEO_MAX_FRAME)
        return 1;
    // A table left by a run that failed goes; its mappings stay, as after any failure.
    std::free(s_cam.buffers);
    s_cam.nBuffers = 0;
    s_cam.buffers = static_cast<CameraBuffer*>(std::calloc(req.count, sizeof(CameraBuffer)));
    if (!s_cam.buffers)
        return 1;
    const size_t frameBytes = cameraFrameBytes(s_cam.width, s_cam.height);
    for (s_cam.nBuffers = 0; s_cam.nBuffers < req.count; ++s_cam.nBuffers) {
        struct v4l2_buffer buf;
        std::memset(&buf, 0, sizeof buf);
        buf.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buf.memory = V4L2_MEMORY_MMAP;
        buf.index = s_cam.nBuffers;
        if (xioctl(s_cam.videoFd, VIDIOC_QUERYBUF, &buf) == -1)
            return 1;
        // The conversion reads a whole frame from the buffer: a shorter one
        // would be read past its end.
        if (buf.length < frameBytes) {
            printf("***ERR: %s: buffer %u holds %u bytes, a %ux%u frame needs %zu\n", kVideoDevice, buf.index,
                buf.length, s_cam.width, s_cam.height, frameBytes);
            return 1;
        }
        void* start = s_sys.mmap(
            nullptr, buf.length, PROT_READ | PROT_WRITE, MAP_SHARED, s_cam.videoFd, buf.m.offset);
        if (start == MAP_FAILED)
            return 1;
        s_cam.buffers[s_cam.nBuffers].start = start;
        s_cam.buffers[s_cam.nBuffers].length = buf.length;
    }
    return 0;
}

}

const CameraState& cameraState()
{
    return s_cam;
}

void resetCameraState()
{
    std::free(s_cam.converted);
    std::free(s_cam.buffers);
    s_cam = CameraState {};
}

CameraSystem setCameraSystem(const CameraSystem& calls)
{
    const CameraSystem previous = s_given;
    s_given = calls;
    s_sys = withDefaults(calls);
    return previous;
}

int xioctl(int fd, unsigned long request, void* arg)
{
    int r;
    do
        r = s_sys.ioctl(fd, request, arg);
    while (r == -1 && errno == EINTR);
    return r;
}

int enable_device()
{
    const int fd = s_sys.open(kMemDevice, O_RDWR | O_CLOEXEC);
    // Kept: only 0 counts as a failed open; a negative descriptor goes on to
    // a mapping that fails below.
    if (fd == 0)
        return 1;
    void* map = s_sys.mmap(nullptr, CAMERA_REG_WINDOW, PROT_READ | PROT_WRITE, MAP_SHARED, fd,
        static_cast<off_t>(CAMERA_REG_BASE));

    char value[kSysparaSize + 1];
    if (readSyspara("camera_chip", value) && std::strcmp(value, "ccir656") == 0) {
        s_cam.width = 640;
        s_cam.height = 480;
        s_cam.xOffset = 0;
        s_cam.yOffset = 0;
        s_cam.semiPlanar = 1;
    } else {
        // Kept: the offsets (and the layout) stay what they were.
        s_cam.width = 320;
        s_cam.height = 240;
    }

    if (readSyspara("camera_up", value)) {
        // A mapping that failed is never written through.
        if (map != MAP_FAILED)
            excute_reg_op(value, static_cast<unsigned char*>(map));
        else
            printf(
                "***ERR: %s: the camera registers cannot be mapped: %s\n", kMemDevice, std::strerror(errno));
    }

    if (map != MAP_FAILED)
        s_sys.munmap(map, CAMERA_REG_WINDOW);
    if (fd >= 0)
        s_sys.close(fd);
    return 0;
}

int open_device()
{
    const int fbfd = s_sys.open(kFrameBufferDevice, O_RDWR | O_CLOEXEC);
    if (fbfd < 0)
        return 1;
    struct fb_var_screeninfo vinfo;
    std::memset(&vinfo, 0, sizeof vinfo);
    if (s_sys.ioctl(fbfd, FBIOGET_VSCREENINFO, &vinfo) == -1) {
        s_sys.close(fbfd);
        return 1;
    }
    s_cam.screenWidth = vinfo.xres;
    s_cam.screenHeight = vinfo.yres;
    s_sys.close(fbfd);

    std::free(s_cam.converted);
    s_cam.converted
        = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(s_cam.width) * s_cam.height * 4));
    if (!s_cam.converted)
        return 1;
    s_cam.frameBuffer = s_sys.fopen(kFrameBufferDevice, "wb");
    if (!s_cam.frameBuffer)
        return 1;
    fcntl(fileno(s_cam.frameBuffer), F_SETFD, FD_CLOEXEC);

    // The sensor's node may appear only a while after the power-up above.
    for (int attempt = 1; attempt <= CAMERA_OPEN_ATTEMPTS; ++attempt) {
        s_cam.videoFd = s_sys.open(kVideoDevice, O_RDWR | O_CLOEXEC);
        if (s_cam.videoFd >= 0)
            break;
        if (attempt < CAMERA_OPEN_ATTEMPTS)
            s_sys.sleep(CAMERA_OPEN_RETRY_SECONDS);
    }
    if (s_cam.videoFd < 0)
        return 1;

    struct v4l2_format fmt;
    std::memset(&fmt, 0, sizeof fmt);
    fmt.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    fmt.fmt.pix.width = s_cam.width;
    fmt.fmt.pix.height = s_cam.height;
    fmt.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    if (xioctl(s_cam.videoFd, VIDIOC_S_FMT, &fmt) == -1)
        return 1;
    return init_mmap();
}

int start_capturing()
{
    for (unsigned i = 0; i < s_cam.nBuffers; ++i) {
        struct v4l2_buffer buf;
        std::memset(&buf, 0, sizeof buf);
        buf.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buf.memory = V4L2_MEMORY_MMAP;
        buf.index = i;
        if (xioctl(s_cam.videoFd, VIDIOC_QBUF, &buf) == -1)
            return 1;
    }
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (xioctl(s_cam.videoFd, VIDIOC_STREAMON, &type) == -1)
        return 1;
    return 0;
}

int mainloop()
{
    // select cannot watch a descriptor beyond its set.
    if (s_cam.videoFd < 0 || s_cam.videoFd >= FD_SETSIZE)
        return 1;
    for (int frame = 0; frame < CAMERA_FRAMES; ++frame) {
        for (;;) {
            fd_set fds;
            FD_ZERO(&fds);
            FD_SET(s_cam.videoFd, &fds);
            struct timeval tv;
            tv.tv_sec = CAMERA_FRAME_WAIT_SECONDS;
            tv.tv_usec = 0;
            const int r = s_sys.select(s_cam.videoFd + 1, &fds, nullptr, nullptr, &tv);
            if (r == -1) {
                if (errno == EINTR)
                    continue;
                return 1;
            }
            if (r == 0)
                return 1;
            if (read_frame())
                return 1;
            break;
        }
    }
    return 0;
}

int stop_capturing()
{
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (xioctl(s_cam.videoFd, VIDIOC_STREAMOFF, &type) == -1)
        return 1;
    return 0;
}

int uninit_device()
{
    for (unsigned i = 0; i < s_cam.nBuffers; ++i) {
        if (s_sys.munmap(s_cam.buffers[i].start, s_cam.buffers[i].length) == -1)
            return 1;
    }
    std::free(s_cam.buffers);
    s_cam.buffers = nullptr;
    s_cam.nBuffers = 0;
    return 0;
}

int test()
{
    s_cam.framesShown = 0;
    // Each step's failure ends the test where it is; what the earlier steps
    // opened is left as it is.
    if (enable_device() || open_device() || start_capturing() || mainloop() || stop_capturing()
        || uninit_device())
        return 1;
    std::fclose(s_cam.frameBuffer);
    s_cam.frameBuffer = nullptr;
    s_sys.close(s_cam.videoFd);
    s_cam.videoFd = -1;
    // The picture stays on the screen; the conversion buffer is not needed for it.
    std::free(s_cam.converted);
    s_cam.converted = nullptr;
    return 0;
}

TestCamera::TestCamera(char* name)
    : TestItem(name, false)
{
}

int TestCamera::execute(Log*)
{
    return test() ? 1 : 2;
}
