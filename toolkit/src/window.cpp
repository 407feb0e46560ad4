#include "screen.h"

#include <lumi/app.h>
#include <lumi/gdi.h>
#include <lumi/window.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

// ---- WndBase ---------------------------------------------------------------

WndBase::WndBase() = default;

WndBase::~WndBase()
{
    // A window deleted without destroy() (a stack object, an owner's delete)
    // still leaves the tree cleanly; its own handlers are gone by now, so only
    // the toolkit's bookkeeping runs.
    if (m_created && !m_destroyed)
        destroy();
    if (lumi::Screen* s = lumi::screen())
        s->unbury(this);
}

int WndBase::dispatch(LUMIMessage& msg)
{
    switch (msg.id) {
    case MSG_KEY:
    case MSG_CHAR:
    case MSG_MOUSE:
        if (!isEnabled())
            return 0;
        break;
    default:
        break;
    }
    return handleMessage(msg);
}

int WndBase::handleMessage(LUMIMessage& msg)
{
    switch (msg.id) {
    case MSG_KEY:
        if (msg.param2 == 0)
            return onKeydown(msg.param1, msg.param2);
        return onKeyUp(msg.param1, msg.param2);
    case MSG_CHAR:
        return onChar(static_cast<short>(msg.param1));
    case MSG_COMMAND:
        return onCommand(msg);
    case MSG_NOTIFY:
        return onNotify(static_cast<WndBase*>(msg.data), msg.param1, msg.param2);
    case MSG_MOUSE:
        return onMouseEvent(msg.param1, static_cast<int>(msg.extra), static_cast<unsigned int>(msg.param2));
    default:
        return 0;
    }
}

int WndBase::onPaint()
{
    return 0;
}

int WndBase::onDrawBackground(DC* dc, const Rect* rect, WndBase* child)
{
    if (!dc || !rect)
        return 0;
    if (child && child != this && isStyle(WS_TRANSPARENT) && m_parent)
        return m_parent->onDrawBackground(dc, rect, this);
    if (m_hasBackColor)
        dc->fillRect(*rect, m_backColor);
    return 0;
}

int WndBase::onDestroy() { return 0; }
int WndBase::onShow(bool) { return 0; }
int WndBase::onMove(const Rect&, bool) { return 0; }
int WndBase::onFocus(bool) { return 0; }

static bool focusDirectionForKey(int key, WndBase::FocusDirection& dir)
{
    switch (key) {
    case VK_Tab: dir = WndBase::FocusNext; return true;
    case VK_Right: dir = WndBase::FocusRight; return true;
    case VK_Left: dir = WndBase::FocusLeft; return true;
    case VK_Up: dir = WndBase::FocusUp; return true;
    case VK_Down: dir = WndBase::FocusDown; return true;
    default: return false;
    }
}

int WndBase::onKeydown(int key, int state)
{
    FocusDirection dir;
    if (focusDirectionForKey(key, dir)) {
        if (m_parent && moveFocus(dir))
            return 0;
        // A main window whose controls have no focus yet hands it to the first
        // focusable one, so the keys can reach the controls at all.
        if (m_isMain) {
            MainWndBase* main = static_cast<MainWndBase*>(this);
            if (!main->m_focus) {
                for (WndBase* c : m_children) {
                    if (c->acceptsFocus()) {
                        c->setFocus();
                        return 0;
                    }
                }
            }
        }
    }
    if (m_parent)
        return m_parent->onKeydown(key, state);
    return 0;
}

int WndBase::onKeyUp(int key, int state)
{
    if (m_parent)
        return m_parent->onKeyUp(key, state);
    return 0;
}

int WndBase::onMouseEvent(int x, int y, unsigned int flags)
{
    Rect client;
    getClientRect(client);
    const bool inside = client.ptInRect(x, y);
    switch (flags) {
    case MOUSE_PRESS:
        if (m_parent && acceptsFocus())
            setFocus();
        m_pressed = true;
        if (!isStatus(WS_PRESSED)) {
            setStatusBits(WS_PRESSED, true);
            onMouseStatusChanged();
        }
        break;
    case MOUSE_MOVE:
        // The pressed look follows the finger in and out of the window.
        if (m_pressed && inside != isStatus(WS_PRESSED)) {
            setStatusBits(WS_PRESSED, inside);
            onMouseStatusChanged();
        }
        break;
    case MOUSE_RELEASE:
        if (m_pressed) {
            m_pressed = false;
            if (isStatus(WS_PRESSED)) {
                setStatusBits(WS_PRESSED, false);
                onMouseStatusChanged();
            }
            if (inside && m_created && !m_destroyed)
                postNotifyMsg(NOTIFY_CLICKED, 0);
        }
        break;
    default:
        break;
    }
    return 0;
}

int WndBase::onMouseStatusChanged() { return 0; }
int WndBase::onFontChanged(Font*) { return 0; }
int WndBase::onKeyChangeFocus(WndBase*, WndBase*, FocusDirection) { return 0; }
int WndBase::onTimer(int) { return 0; }
int WndBase::onNotify(WndBase*, int, int) { return 0; }
int WndBase::onChar(short) { return 0; }
int WndBase::onCommand(LUMIMessage&) { return 0; }
int WndBase::onScroll(int, int, void*) { return 0; }

int WndBase::attach(WndBase* parent, const Rect& rect, unsigned int style)
{
    if (m_created)
        return -1;
    lumi::Screen* s = lumi::screen();
    if (!s)
        return -1;
    m_parent = parent;
    m_rect = rect;
    m_style = style;
    m_status = 0;
    m_created = true;
    m_destroyed = false;
    if (parent)
        parent->m_children.push_back(this);
    return 0;
}

int WndBase::create(WndBase* parent, const Rect& rect, unsigned int style)
{
    if (!parent || !parent->m_created || parent->m_destroyed)
        return -1;
    if (attach(parent, rect, style) != 0)
        return -1;
    if (isVisible())
        invalidateRect(nullptr);
    return 0;
}

void WndBase::destroy()
{
    if (!m_created || m_destroyed)
        return;
    lumi::Screen* s = lumi::screen();
    if (s)
        s->invalidate(s->visibleRegion(this));
    m_destroyed = true;
    onDestroy();
    std::vector<WndBase*> children = m_children;
    for (auto it = children.rbegin(); it != children.rend(); ++it)
        (*it)->destroy();
    if (GuiRT* rt = GuiRT::instance())
        rt->killWindowTimers(this);
    if (GuiApp* app = theGuiApp())
        app->purgeMessages(this);
    if (s)
        s->forget(this);
    if (m_parent) {
        auto& siblings = m_parent->m_children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), this), siblings.end());
    }
    m_created = false;
    const bool owned = !m_isMain || static_cast<MainWndBase*>(this)->m_autoDelete;
    if (s && owned)
        s->buryLater(this);
}

MainWndBase* WndBase::getMainWnd()
{
    WndBase* w = this;
    while (w->m_parent)
        w = w->m_parent;
    return w->m_isMain ? static_cast<MainWndBase*>(w) : nullptr;
}

void WndBase::getClientRect(Rect& rect) const
{
    rect.setRect(0, 0, m_rect.width(), m_rect.height());
}

void WndBase::getWindowRect(Rect& rect) const
{
    rect = m_rect;
}

Rect WndBase::screenRect() const
{
    Rect r = m_rect;
    for (const WndBase* p = m_parent; p; p = p->m_parent)
        r.offset(p->m_rect.left, p->m_rect.top);
    return r;
}

void WndBase::clientToScreen(Rect& rect) const
{
    const Rect s = screenRect();
    rect.offset(s.left, s.top);
}

void WndBase::screenToClient(Rect& rect) const
{
    const Rect s = screenRect();
    rect.offset(-s.left, -s.top);
}

void WndBase::wndToClient(Rect& rect) const
{
    rect.offset(-m_rect.left, -m_rect.top);
}

void WndBase::moveWindow(const Rect& rect)
{
    if (!m_created) {
        m_rect = rect;
        return;
    }
    const bool resized = rect.width() != m_rect.width() || rect.height() != m_rect.height();
    lumi::Screen* s = lumi::screen();
    if (s)
        s->invalidate(s->visibleRegion(this));
    m_rect = rect;
    if (s)
        s->invalidate(s->visibleRegion(this));
    onMove(rect, resized);
}

void WndBase::invalidateRect(const Rect* rect, unsigned int)
{
    lumi::Screen* s = lumi::screen();
    if (!s || !m_created)
        return;
    Region area = s->visibleRegion(this);
    if (rect) {
        Rect r = *rect;
        clientToScreen(r);
        area.intersect(r);
    }
    s->invalidate(area);
}

void WndBase::updateWindow()
{
    lumi::Screen* s = lumi::screen();
    if (!s || !m_created)
        return;
    const Region mine = s->visibleRegion(this);
    s->paint(&mine);
    s->flush();
}

void WndBase::redrawBackground(DC& dc, const Rect* rect, WndBase* child)
{
    if (m_parent)
        m_parent->onDrawBackground(&dc, rect, child);
}

void WndBase::setBackColor(unsigned short colour)
{
    m_backColor = colour;
    m_hasBackColor = true;
    invalidateRect(nullptr);
}

void WndBase::setStyle(unsigned int bits)
{
    const bool wasVisible = isVisible();
    const bool wasDisabled = isStyle(WS_DISABLED);
    m_style |= bits;
    if (wasVisible != isVisible() || (bits & WS_DISABLED))
        invalidateRect(nullptr);
    if ((bits & WS_DISABLED) && !wasDisabled)
        dropInputState();
}

void WndBase::dropInputState()
{
    if (!m_created)
        return;
    // A window that takes no input must not hold on to the keys: the focus
    // goes to the next sibling that takes it, or nowhere.
    MainWndBase* main = getMainWnd();
    WndBase* focus = main ? main->m_focus : nullptr;
    for (WndBase* w = focus; w; w = w->m_parent) {
        if (w != this)
            continue;
        WndBase* next = m_parent ? neighbour(FocusNext) : nullptr;
        if (next) {
            next->setFocus();
        } else {
            main->m_focus = nullptr;
            focus->setStatusBits(WS_FOCUSED, false);
            focus->onFocus(false);
        }
        break;
    }
    // Nor on the pointer: a release it would no longer see must not leave
    // it captured or looking pressed.
    if (lumi::Screen* s = lumi::screen())
        s->releaseCapture(this);
    m_pressed = false;
    if (isStatus(WS_PRESSED)) {
        setStatusBits(WS_PRESSED, false);
        onMouseStatusChanged();
    }
}

void WndBase::unsetStyle(unsigned int bits)
{
    lumi::Screen* s = lumi::screen();
    if (s && m_created && (bits & WS_VISIBLE) && isVisible())
        s->invalidate(s->visibleRegion(this));
    m_style &= ~bits;
    if (bits & WS_DISABLED)
        invalidateRect(nullptr);
}

void WndBase::setStatusBits(unsigned int bits, bool on)
{
    if (on)
        m_status |= bits;
    else
        m_status &= ~bits;
}

bool WndBase::acceptsFocus() const
{
    return m_acceptFocus && m_parent && m_created && !m_destroyed && isVisible() && isEnabled();
}

bool WndBase::isEnabled() const
{
    for (const WndBase* w = this; w; w = w->m_parent) {
        if (w->m_style & WS_DISABLED)
            return false;
    }
    return true;
}

void WndBase::setFocus()
{
    if (!m_created || !m_parent)
        return;
    MainWndBase* main = getMainWnd();
    if (!main || !m_acceptFocus || !isEnabled())
        return;
    WndBase* old = main->m_focus;
    if (old == this)
        return;
    main->m_focus = this;
    if (old) {
        old->setStatusBits(WS_FOCUSED, false);
        old->onFocus(false);
    }
    // The old window's handler may have moved the focus on by itself.
    if (main->m_focus != this)
        return;
    setStatusBits(WS_FOCUSED, true);
    onFocus(true);
}

bool WndBase::moveFocus(FocusDirection direction)
{
    WndBase* best = neighbour(direction);
    if (!best)
        return false;
    m_parent->onKeyChangeFocus(this, best, direction);
    best->setFocus();
    return true;
}

WndBase* WndBase::neighbour(FocusDirection direction) const
{
    if (!m_parent)
        return nullptr;
    const auto& siblings = m_parent->m_children;
    WndBase* best = nullptr;
    if (direction == FocusNext || direction == FocusPrev) {
        const int n = static_cast<int>(siblings.size());
        const int self = static_cast<int>(std::find(siblings.begin(), siblings.end(), this) - siblings.begin());
        for (int step = 1; step < n && !best; ++step) {
            const int i = direction == FocusNext ? (self + step) % n : (self - step + n) % n;
            if (siblings[i]->acceptsFocus())
                best = siblings[i];
        }
    } else {
        // The nearest focusable sibling whose centre lies in the direction of
        // the key; distance across the direction counts double, so a
        // neighbour in line wins over a closer one off to the side.
        const int cx = m_rect.left + m_rect.width() / 2;
        const int cy = m_rect.top + m_rect.height() / 2;
        long bestScore = LONG_MAX;
        for (WndBase* w : siblings) {
            if (w == this || !w->acceptsFocus())
                continue;
            const int wx = w->m_rect.left + w->m_rect.width() / 2;
            const int wy = w->m_rect.top + w->m_rect.height() / 2;
            long along = 0;
            long across = 0;
            switch (direction) {
            case FocusRight: along = wx - cx; across = std::labs(wy - cy); break;
            case FocusLeft: along = cx - wx; across = std::labs(wy - cy); break;
            case FocusDown: along = wy - cy; across = std::labs(wx - cx); break;
            case FocusUp: along = cy - wy; across = std::labs(wx - cx); break;
            default: break;
            }
            if (along <= 0)
                continue;
            const long score = along + 2 * across;
            if (score < bestScore) {
                bestScore = score;
                best = w;
            }
        }
    }
    return best;
}

void WndBase::showWindow(bool show)
{
    if (!m_created)
        return;
    lumi::Screen* s = lumi::screen();
    if (m_isMain && show && s)
        s->raise(static_cast<MainWndBase*>(this));
    if (show == isStyle(WS_VISIBLE)) {
        if (show)
            invalidateRect(nullptr);
        return;
    }
    if (show) {
        m_style |= WS_VISIBLE;
        invalidateRect(nullptr);
    } else {
        if (s)
            s->invalidate(s->visibleRegion(this));
        m_style &= ~WS_VISIBLE;
        if (s)
            s->releaseCapture(this);
    }
    if (s && m_isMain)
        s->stackChanged();
    onShow(show);
}

bool WndBase::isVisible() const
{
    for (const WndBase* w = this; w; w = w->m_parent) {
        if (!(w->m_style & WS_VISIBLE))
            return false;
    }
    return m_created;
}

int WndBase::setTimer(int periodMs)
{
    GuiRT* rt = GuiRT::instance();
    if (!rt || !m_created)
        return 0;
    return rt->addWindowTimer(this, periodMs);
}

void WndBase::killTimer(int id)
{
    if (GuiRT* rt = GuiRT::instance())
        rt->delTimer(id);
}

void WndBase::postMsg(LUMIMessage& msg)
{
    msg.target = this;
    if (GuiApp* app = theGuiApp())
        app->addMsg(msg);
}

void WndBase::postNotifyMsg(int code, int param)
{
    GuiApp* app = theGuiApp();
    if (!m_parent || !app)
        return;
    app->addMsg(LUMIMessage(m_parent, MSG_NOTIFY, code, param, this));
}

void WndBase::sendNotifyMsg(int code, int param)
{
    if (m_parent)
        m_parent->onNotify(this, code, param);
}

void WndBase::setFont(Font* font)
{
    m_font = font;
    onFontChanged(font);
    invalidateRect(nullptr);
}

Font* WndBase::getFont() const
{
    for (const WndBase* w = this; w; w = w->m_parent) {
        if (w->m_font)
            return w->m_font;
    }
    return Font::defaultFont();
}

// ---- MainWndBase -------------------------------------------------------------

MainWndBase::MainWndBase() = default;
MainWndBase::~MainWndBase() = default;

int MainWndBase::handleMessage(LUMIMessage& msg)
{
    return WndBase::handleMessage(msg);
}

int MainWndBase::onActivate(bool) { return 0; }

int MainWndBase::onClose()
{
    destroy();
    return 0;
}

int MainWndBase::onCreate() { return 0; }

int MainWndBase::create(const Rect& rect, unsigned int style, int id)
{
    m_isMain = true;
    if (attach(nullptr, rect, style) != 0)
        return -1;
    m_id = id;
    lumi::Screen* s = lumi::screen();
    s->addMain(this);
    if (isVisible())
        invalidateRect(nullptr);
    onCreate();
    s->stackChanged();
    return 0;
}
