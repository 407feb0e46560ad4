#include "loop_impl.h"
#include "screen.h"

#include <lumi/app.h>
#include <lumi/window.h>

#include <algorithm>
#include <cstring>

namespace {
GuiApp* s_app = nullptr;

// How long one loop turn goes on serving a burst before it paints.
constexpr int kBurstTurns = 256;
constexpr uint64_t kBurstMs = 15;
}

GuiApp* theGuiApp()
{
    return s_app;
}

GuiApp::GuiApp()
{
    s_app = this;
}

GuiApp::~GuiApp()
{
    if (s_app == this)
        s_app = nullptr;
}

void GuiApp::onIdle() { }

int GuiApp::filterMsg(LUMIMessage&)
{
    return 0;
}

void GuiApp::discardMsg(LUMIMessage&) { }

int GuiApp::init(const char* name, int)
{
    std::strncpy(m_name, name ? name : "", sizeof m_name - 1);
    if (!GuiRT::instance())
        return -1;
    m_initialised = true;
    return 0;
}

int GuiApp::run()
{
    m_exiting = false;
    while (!m_exiting)
        processEvents(-1);
    // Show the last picture the application drew before it leaves.
    if (lumi::Screen* s = lumi::screen()) {
        s->paint();
        s->flush();
    }
    return m_exitCode;
}

void GuiApp::exit(int code)
{
    m_exitCode = code;
    m_exiting = true;
    if (GuiRT* rt = GuiRT::instance())
        rt->wakeup();
}

void GuiApp::term()
{
    if (lumi::Screen* s = lumi::screen())
        s->shutdown();
    for (LUMIMessage& m : m_queue)
        discardMsg(m);
    m_queue.clear();
}

void GuiApp::addMsg(const LUMIMessage& msg)
{
    m_queue.push_back(msg);
}

WndBase* GuiApp::getWndById(int id)
{
    lumi::Screen* s = lumi::screen();
    if (!s)
        return nullptr;
    for (MainWndBase* w : s->mainWindows()) {
        if (w->getId() == id)
            return w;
    }
    return nullptr;
}

const std::vector<MainWndBase*>& GuiApp::mainWindows() const
{
    static const std::vector<MainWndBase*> none;
    lumi::Screen* s = lumi::screen();
    return s ? s->mainWindows() : none;
}

MainWndBase* GuiApp::getTopWnd()
{
    lumi::Screen* s = lumi::screen();
    return s ? s->topWindow() : nullptr;
}

void GuiApp::purgeMessages(WndBase* window)
{
    auto doomed = std::stable_partition(m_queue.begin(), m_queue.end(), [window](const LUMIMessage& m) {
        return !(m.target == window || (m.id == MSG_NOTIFY && m.data == window));
    });
    for (auto it = doomed; it != m_queue.end(); ++it)
        discardMsg(*it);
    m_queue.erase(doomed, m_queue.end());
}

void GuiApp::deliver(LUMIMessage& msg)
{
    if (filterMsg(msg))
        return;
    lumi::Screen* s = lumi::screen();
    switch (msg.id) {
    case MSG_MOUSE:
        if (s && !msg.target) {
            s->deliverPointer(msg.param1, static_cast<int>(msg.extra), static_cast<unsigned>(msg.param2));
            return;
        }
        break;
    case MSG_KEY:
        if (!msg.target && s)
            msg.target = s->keyTarget();
        break;
    default:
        break;
    }
    if (msg.target)
        msg.target->dispatch(msg);
}

int GuiApp::dispatchMessages()
{
    // Only what is queued now: a handler that keeps posting cannot starve
    // painting and input.
    size_t count = m_queue.size();
    int delivered = 0;
    while (count-- > 0 && !m_queue.empty()) {
        LUMIMessage msg = m_queue.front();
        m_queue.pop_front();
        deliver(msg);
        ++delivered;
        if (lumi::Screen* s = lumi::screen())
            s->deleteBuried();
    }
    return delivered;
}

void GuiApp::processEvents(int timeoutMs)
{
    lumi::Screen* s = lumi::screen();
    dispatchMessages();
    if (m_queue.empty())
        onIdle();
    dispatchMessages();
    if (s) {
        s->deleteBuried();
        s->paint();
        s->flush();
    }
    if (m_exiting)
        return;
    GuiRT* rt = GuiRT::instance();
    if (!rt)
        return;
    // Watched signals (SIGTERM and SIGINT end the run) are dispatched here.
    rt->poll(m_queue.empty() ? timeoutMs : 0);
    if ((s = lumi::screen()))
        s->deleteBuried();
    // A burst (a flood of datagrams, a fast pointer) is taken whole before
    // the next paint: descriptors that are ready again and the messages they
    // queue are served without waiting, so the screen is painted once for
    // the burst instead of once for each arrival. The bound on turns and on
    // time lets the screen through even while input never stops.
    const uint64_t start = rt->now();
    for (int turn = 0; turn < kBurstTurns && !m_exiting; ++turn) {
        int served = dispatchMessages();
        if (m_exiting || rt->now() - start >= kBurstMs)
            break;
        served += rt->poll(0);
        if ((s = lumi::screen()))
            s->deleteBuried();
        if (served == 0)
            break;
    }
}
