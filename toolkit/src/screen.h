#pragma once
// The screen: the off-screen frame, the stack of main windows, what needs
// painting and what needs showing, pointer capture and key routing.

#include <lumi/region.h>
#include <lumi/window.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class Mouse;

namespace lumi {

class DisplayBackend;

class Screen {
public:
    explicit Screen(std::unique_ptr<DisplayBackend> backend);
    ~Screen();
    // Destroys the main windows still open and deletes them; the run-time
    // calls it while lumi::screen() still answers, before it lets go.
    void shutdown();

    int width() const { return m_width; }
    int height() const { return m_height; }
    DisplayBackend* backend() { return m_backend.get(); }
    pixman_image_t* frame() const { return m_frame; }
    const uint16_t* pixels() const { return m_pixels; }
    int stride() const { return m_stride; }   // bytes per row of the frame

    // Main windows, bottom first.
    const std::vector<MainWndBase*>& mainWindows() const { return m_mains; }
    void addMain(MainWndBase* window);
    void removeMain(MainWndBase* window);
    void raise(MainWndBase* window);
    MainWndBase* topWindow() const;   // the topmost shown main window

    // The part of the screen where window shows: its rectangle cut by its
    // ancestors' and by the main windows stacked above its own.
    Region visibleRegion(const WndBase* window) const;
    // Where a DC of window may draw now: during the window's paint the part
    // being repainted, otherwise its visible region.
    Region drawRegion(const WndBase* window) const;

    // Marks screen pixels as needing a repaint of every window there.
    void invalidate(const Region& region);
    void invalidate(const Rect& rect);
    bool needsPaint() const { return !m_dirty.isEmpty(); }
    // Repaints everything pending (limited to limit when given) in stacking
    // order and queues it for showing.
    void paint(const Region* limit = nullptr);
    // Reports pixels drawn outside a paint, to be shown by the next flush.
    void addFlush(const Rect& rect);
    // Shows everything painted or drawn since the last flush, with the cursor.
    void flush();

    // Pointer: the window under a screen point, pointer capture, delivery.
    WndBase* windowAt(int x, int y) const;
    void deliverPointer(int x, int y, unsigned int flags);
    WndBase* capture() const { return m_capture; }

    // The window keys go to: the focused window of the top window, or the top window.
    WndBase* keyTarget() const;

    // Called by WndBase::destroy before a window leaves the tree.
    void forget(WndBase* window);
    // Called when a window is hidden or disabled: it (and its children) lose
    // the pointer capture.
    void releaseCapture(WndBase* window);
    // Tells the main windows that became or stopped being the top window.
    void stackChanged();
    // Windows destroyed and waiting to be deleted.
    void buryLater(WndBase* window);
    void unbury(WndBase* window);
    void deleteBuried();

    // The test-input pointer source (also used by backends without their own).
    Mouse* virtualMouse() { return m_mouse.get(); }

    // Non-zero while a window paints, different for every window's paint:
    // a DC made for the window being painted draws only inside the area
    // that paint shows, so it need not report what it draws.
    uint64_t paintSerial() const { return m_painting ? m_paintSerial : 0; }
    bool isPainting(const WndBase* window) const { return window && window == m_painting; }

private:
    void paintWindow(WndBase* window, const Region& area);
    void activateTop();

    std::unique_ptr<DisplayBackend> m_backend;
    int m_width { 0 };
    int m_height { 0 };
    int m_stride { 0 };
    uint16_t* m_pixels { nullptr };
    size_t m_pixelBytes { 0 };   // the mapping m_pixels heads
    pixman_image_t* m_frame { nullptr };
    std::vector<MainWndBase*> m_mains;
    std::vector<WndBase*> m_buried;
    Region m_dirty;   // needs repainting
    Region m_shown;   // painted, not yet shown
    const WndBase* m_painting { nullptr };
    Region m_paintArea;   // while painting m_painting
    uint64_t m_paintSerial { 0 };
    WndBase* m_capture { nullptr };
    MainWndBase* m_activeTop { nullptr };
    std::unique_ptr<Mouse> m_mouse;
};

// The screen of the running GuiRT, or null before GuiRT::init.
Screen* screen();

}
