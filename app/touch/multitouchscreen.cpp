#include "touch/multitouchscreen.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

TsReadHandler g_tsReadHandler;

namespace {

ssize_t systemRead(int fd, void* buffer, size_t size)
{
    return ::read(fd, buffer, size);
}

TsReadFunc s_read = systemRead;

// Little-endian 16-bit word of a sample, whatever the host's byte order.
uint16_t word(const unsigned char* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

}

TsReadFunc setTsRead(TsReadFunc func)
{
    TsReadFunc previous = s_read;
    s_read = func ? func : systemRead;
    return previous;
}

TsReadHandler::~TsReadHandler() = default;

void TsReadHandler::onRead(int fd)
{
    // Whole samples only; a cut-off tail is dropped. The loop ends on -1
    // alone: the driver reports an empty queue as EAGAIN on the non-blocking
    // descriptor, and a zero-byte read is read again.
    unsigned char buffer[512];
    for (;;) {
        const ssize_t n = s_read(fd, buffer, sizeof buffer);
        if (n == -1)
            return;
        const int count = static_cast<int>(n) / MultiTouchScreen::kSampleSize;
        for (int i = 0; i < count; ++i) {
            const unsigned char* s = buffer + i * MultiTouchScreen::kSampleSize;
            MousePoint point;
            point.pressure = word(s);
            point.x = static_cast<short>(word(s + 2));
            point.y = static_cast<short>(word(s + 4));
            point.reserved = 0;
            if (ts)
                ts->deliverMousePoint(point);
        }
    }
}

MultiTouchScreen::~MultiTouchScreen() = default;

MultiTouchScreen* MultiTouchScreen::getTs()
{
    static MultiTouchScreen ts;
    return &ts;
}

int MultiTouchScreen::open(const char* path)
{
    const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        printf("Cannot open %s, error = %s.\n", path, strerror(errno));
        return -1;
    }
    m_fd = fd;
    g_tsReadHandler.ts = this;
    if (MsgLoop* loop = GuiRT::instance())
        loop->registerHandler(fd, &g_tsReadHandler);
    return 0;
}

void MultiTouchScreen::close()
{
    if (m_fd == -1)
        return;
    if (MsgLoop* loop = GuiRT::instance())
        loop->unregisterHandler(m_fd);
    ::close(m_fd);
    m_fd = -1;
    puts("[MultiTouchScreen] ----close()-------------------");
}

MultiTouchScreen::FilterFunc MultiTouchScreen::filter(FilterFunc func)
{
    FilterFunc previous = m_filterFunc;
    m_filterFunc = func;
    return previous;
}

void MultiTouchScreen::deliverMousePoint(MousePoint& point)
{
    if (m_filterFunc && m_filterFunc(point)) {
        puts("[MultiTouchScreen] m_filterFunc !=NULL ");
        return;
    }
    addPoint(point, static_cast<int>(point.pressure) > m_pressureThreshold);
}
