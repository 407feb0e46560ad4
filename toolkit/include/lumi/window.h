#pragma once
// Windows: the tree of top-level (main) windows and their child controls.
//
// A main window covers its rectangle of the screen; main windows are stacked,
// the newest shown on top. Child windows live inside their parent's client
// area and are clipped to it; later children lie above earlier ones.
// Rectangles passed to create() are in the parent's client coordinates (the
// screen for main windows). Main windows have no decoration: the client
// rectangle is the window rectangle.

#include <lumi/message.h>
#include <lumi/rect.h>
#include <lumi/region.h>

#include <vector>

class DC;
class Font;
class MainWndBase;
namespace lumi {
class Screen;
}

class WndBase {
public:
    enum FocusDirection { FocusNext, FocusPrev, FocusLeft, FocusRight, FocusUp, FocusDown };

    WndBase();
    virtual ~WndBase();
    WndBase(const WndBase&) = delete;
    WndBase& operator=(const WndBase&) = delete;

    // The one way in for a message, whoever sends it: the queue, the pointer,
    // the key routing and tests. It owns the input policy: keys, characters
    // and pointer events for a window that is not enabled (see isEnabled) are
    // dropped here, so no handler has to check for it. Everything else goes
    // to handleMessage. Returns the handler's result (0 for dropped input).
    int dispatch(LUMIMessage& msg);

    // Creates a child window. 0 on success, -1 for a null parent or a parent
    // that does not exist (any more).
    int create(WndBase* parent, const Rect& rect, unsigned int style);
    // Destroys the window and its children (onDestroy on the window, then on
    // its children). Child objects are deleted by the toolkit; a main window
    // object when it is auto-delete (the default). Deletion waits until the
    // current handler has returned, so a window may destroy itself from its
    // own handler.
    void destroy();
    bool isCreated() const { return m_created; }

    WndBase* getParent() const { return m_parent; }
    MainWndBase* getMainWnd();   // the main window this window belongs to
    const std::vector<WndBase*>& children() const { return m_children; }

    // Geometry.
    void getClientRect(Rect& rect) const;   // (0, 0, width, height)
    void getWindowRect(Rect& rect) const;   // in the parent's client coordinates
    Rect screenRect() const;
    void clientToScreen(Rect& rect) const;
    void screenToClient(Rect& rect) const;
    // Converts a rectangle from the coordinates this window's own rectangle
    // is given in (the parent's client area; the screen for a main window)
    // into this window's client coordinates.
    void wndToClient(Rect& rect) const;
    void moveWindow(const Rect& rect);   // in the parent's client coordinates

    // Painting. invalidateRect schedules a repaint of rect (client
    // coordinates; null: the whole window) for when the queue is empty;
    // updateWindow paints what is pending at once and shows it.
    void invalidateRect(const Rect* rect = nullptr, unsigned int erase = 1);
    void updateWindow();
    // Asks the parent to paint the background behind child into rect of dc.
    void redrawBackground(DC& dc, const Rect* rect, WndBase* child);
    void setBackColor(unsigned short colour);
    unsigned short backColor() const { return m_backColor; }
    // Declares that onPaint covers every pixel of the client area (a window
    // that paints off-screen and copies the whole picture): the toolkit then
    // neither erases its background nor paints its parents under it.
    void setOpaquePaint(bool opaque) { m_opaquePaint = opaque; }
    bool isOpaquePaint() const { return m_opaquePaint; }

    // Style and status bits; the tests are true when every given bit is set.
    bool isStyle(unsigned int bits) const { return (m_style & bits) == bits; }
    bool isStatus(unsigned int bits) const { return (m_status & bits) == bits; }
    // Setting WS_DISABLED takes the focus away from the window (and from its
    // children): it moves to the next focusable sibling, or nowhere. The
    // window also lets go of the pointer and loses its pressed look.
    void setStyle(unsigned int bits);
    void unsetStyle(unsigned int bits);
    unsigned int style() const { return m_style; }
    unsigned int status() const { return m_status; }

    void setFocus();
    bool hasFocus() const { return isStatus(WS_FOCUSED); }
    bool acceptsFocus() const;
    // Neither this window nor any of its ancestors is disabled (WS_DISABLED).
    bool isEnabled() const;
    void showWindow(bool show);
    bool isVisible() const;   // this window and all its ancestors are shown

    // A repeating timer whose ticks arrive at onTimer(id) until killed. The
    // ids are unique in the process and never 0.
    int setTimer(int periodMs);
    void killTimer(int id);

    void postMsg(LUMIMessage& msg);        // queued, target this window
    void postNotifyMsg(int code, int param);   // queued to the parent's onNotify
    void sendNotifyMsg(int code, int param);   // the parent's onNotify, now

    void setFont(Font* font);
    Font* getFont() const;

protected:
    // The handlers, in the toolkit's slot order. Each returns 0 when it has
    // done its work; overrides call the base for what they do not consume.

    // Turns a message into the handler below that serves its id. Reached
    // only through dispatch(); subclasses override it to take messages of
    // their own and pass the rest on.
    virtual int handleMessage(LUMIMessage& msg);
    virtual int onPaint();
    // Paints the background behind child (this window itself when child is
    // this) into rect of dc. Before onPaint the toolkit asks the parent for a
    // transparent window's background and the window itself for any other's.
    // The default fills with the colour given to setBackColor, if any (so a
    // window without one keeps what is on the screen), and passes a child's
    // request on to its own parent when it is transparent itself.
    virtual int onDrawBackground(DC* dc, const Rect* rect, WndBase* child);
    virtual int onDestroy();
    virtual int onShow(bool show);
    virtual int onMove(const Rect& rect, bool resized);
    virtual int onFocus(bool focused);
    // Default: tab and the direction keys move the focus to the neighbouring
    // focusable sibling; any other key (or a move with no neighbour) goes to the parent.
    virtual int onKeydown(int key, int state);
    virtual int onKeyUp(int key, int state);
    // Pointer events in client coordinates; flags MOUSE_PRESS, MOUSE_MOVE or
    // MOUSE_RELEASE. Default: a press focuses a focusable window and sets the
    // pressed status; a release clears it and, when inside, notifies the parent
    // with NOTIFY_CLICKED.
    virtual int onMouseEvent(int x, int y, unsigned int flags);
    virtual int onMouseStatusChanged();
    virtual int onFontChanged(Font* font);
    virtual int onKeyChangeFocus(WndBase* from, WndBase* to, FocusDirection direction);
    virtual int onTimer(int id);
    virtual int onNotify(WndBase* from, int code, int param);
    virtual int onChar(short ch);
    virtual int onCommand(LUMIMessage& msg);
    virtual int onScroll(int code, int pos, void* data);

    void setAcceptFocus(bool accept) { m_acceptFocus = accept; }
    // Stores value in field and schedules a repaint of the whole window,
    // unless nothing changes; true when it changed. For the setters of controls.
    template <typename T> bool setAndRepaint(T& field, const T& value)
    {
        if (field == value)
            return false;
        field = value;
        invalidateRect(nullptr);
        return true;
    }
    // Moves the focus from this window to its neighbour; true when it moved.
    bool moveFocus(FocusDirection direction);

private:
    friend class MainWndBase;
    friend class lumi::Screen;
    // The loop delivers window timer ticks to onTimer; a tick is not input,
    // so the dispatcher's policy has nothing to say about it.
    friend class MsgLoop;

    // The focusable sibling nearest in direction, or null.
    WndBase* neighbour(FocusDirection direction) const;
    // Called when the window becomes disabled: focus, capture and pressed look go.
    void dropInputState();

    int attach(WndBase* parent, const Rect& rect, unsigned int style);
    void setStatusBits(unsigned int bits, bool on);

    WndBase* m_parent { nullptr };
    std::vector<WndBase*> m_children;
    Rect m_rect;   // in the parent's client coordinates (screen for main windows)
    unsigned int m_style { 0 };
    unsigned int m_status { 0 };
    unsigned short m_backColor { 0 };
    bool m_hasBackColor { false };
    Font* m_font { nullptr };
    bool m_created { false };
    bool m_destroyed { false };
    bool m_acceptFocus { true };
    bool m_isMain { false };
    bool m_opaquePaint { false };
    bool m_pressed { false };
};

class MainWndBase : public WndBase {
public:
    MainWndBase();
    ~MainWndBase() override;

    // Creates a top-level window on rect (screen coordinates). id is the
    // number GuiApp::getWndById finds it by. 0 on success.
    int create(const Rect& rect, unsigned int style, int id);
    int getId() const { return m_id; }
    // Main windows are owned by the toolkit and deleted when destroyed (also by
    // GuiApp::term); setAutoDelete(false) leaves deletion to the creator.
    void setAutoDelete(bool autoDelete) { m_autoDelete = autoDelete; }
    bool isAutoDelete() const { return m_autoDelete; }
    WndBase* getFocusWnd() const { return m_focus; }

protected:
    int handleMessage(LUMIMessage& msg) override;
    // Called when the window becomes the top window (true) or stops being it.
    virtual int onActivate(bool active);
    // A request to close; the default destroys the window.
    virtual int onClose();
    // Called once after create() has made the window.
    virtual int onCreate();

private:
    friend class WndBase;
    friend class lumi::Screen;

    int m_id { 0 };
    bool m_autoDelete { true };
    WndBase* m_focus { nullptr };
};
