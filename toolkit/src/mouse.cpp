#include <lumi/app.h>
#include <lumi/mouse.h>

Mouse::Mouse() = default;
Mouse::~Mouse() = default;

int Mouse::open(const char*)
{
    return 0;
}

void Mouse::setStatus(unsigned int status)
{
    m_status = status;
}

void Mouse::addPoint(const MousePoint& point, bool down)
{
    if (m_status == 0)
        return;
    unsigned int flags = 0;
    if (down && !m_down)
        flags = MOUSE_PRESS;
    else if (down && (point.x != m_lastX || point.y != m_lastY))
        flags = MOUSE_MOVE;
    else if (!down && m_down)
        flags = MOUSE_RELEASE;
    m_down = down;
    m_lastX = point.x;
    m_lastY = point.y;
    if (!flags)
        return;   // a hover, or a held button that did not move
    GuiApp* app = theGuiApp();
    if (!app)
        return;
    LUMIMessage msg(nullptr, MSG_MOUSE, point.x, static_cast<int>(flags));
    msg.extra = point.y;
    app->addMsg(msg);
}
