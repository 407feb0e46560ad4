#pragma once
// The resistive touch screen as a pointer source of the toolkit.
//
// The touch device delivers 8-byte samples (pressure, x, y, unused; 16-bit
// little-endian words); once the driver holds a calibration, x and y are
// screen pixels. MultiTouchScreen is a toolkit Mouse: every sample becomes a
// point of Mouse::addPoint, pen down when its pressure is above the
// threshold. The descriptor is read by TsReadHandler inside the toolkit's
// loop. A filter lets one client take samples away from the toolkit (the
// calibration window does while the driver reports raw coordinates).

#include <lumi/app.h>
#include <lumi/mouse.h>

#include <sys/types.h>

class MultiTouchScreen;

// Drains the touch descriptor when the loop sees it readable and hands each
// whole sample to the screen it points to.
class TsReadHandler : public EventHandler {
public:
    TsReadHandler() = default;
    ~TsReadHandler() override;
    void onRead(int fd) override;

    MultiTouchScreen* ts { nullptr };
};

class MultiTouchScreen : public Mouse {
public:
    using FilterFunc = bool (*)(MousePoint&);

    ~MultiTouchScreen() override;

    // The one touch screen of the process, made on first use.
    static MultiTouchScreen* getTs();

    // Opens path read-only and non-blocking and registers it with the loop.
    // 0, or -1 after "Cannot open PATH, error = CAUSE." when it cannot be
    // opened. Callers open once: a second open without close leaks the first
    // descriptor.
    int open(const char* path) override;
    // Unregisters and closes the device; nothing when it is not open.
    void close();
    bool isOpen() const { return m_fd != -1; }
    int fd() const { return m_fd; }

    // Installs a filter (null removes it) and returns the one it replaces.
    // A filter that returns true has consumed the point.
    FilterFunc filter(FilterFunc func);
    // The one way a sample enters the toolkit: through the filter, else to
    // Mouse::addPoint with pen down when pressure > threshold.
    void deliverMousePoint(MousePoint& point);

    int pressureThreshold() const { return m_pressureThreshold; }

    // Size of one device sample.
    static constexpr int kSampleSize = 8;

private:
    MultiTouchScreen() = default;

    FilterFunc m_filterFunc { nullptr };
    int m_pressureThreshold { 200 };
    int m_fd { -1 };
};

// The handler the touch descriptor is registered with.
extern TsReadHandler g_tsReadHandler;

// Reads of the touch descriptor go through one function (read by default)
// so that unit tests can give the handler the results a driver gives,
// zero-byte reads included. Null restores read.
using TsReadFunc = ssize_t (*)(int fd, void* buffer, size_t size);
TsReadFunc setTsRead(TsReadFunc func);
