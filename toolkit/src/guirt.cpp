#include "display/backend.h"
#include "loop_impl.h"
#include "screen.h"
#include "test_input.h"

#include <lumi/app.h>
#include <lumi/mouse.h>

#include <cstdio>
#include <cstdlib>

namespace {

GuiRT* s_instance = nullptr;

// Feeds a backend's input to the toolkit whenever its descriptor is readable.
class BackendInputHandler : public EventHandler {
public:
    void onRead(int) override
    {
        lumi::Screen* s = lumi::screen();
        if (s && s->backend())
            s->backend()->pumpInput();
    }
};

BackendInputHandler s_backendInput;
int s_pumpTimer = 0;
int s_inputFd = -1;

void pumpBackend(void*, int)
{
    lumi::Screen* s = lumi::screen();
    if (s && s->backend())
        s->backend()->pumpInput();
}

}

lumi::Screen* lumi::screen()
{
    return s_instance ? s_instance->screen() : nullptr;
}

GuiRT::GuiRT()
{
    s_instance = this;
}

GuiRT::~GuiRT()
{
    lumi::closeTestInput();
    if (s_inputFd >= 0) {
        unregisterHandler(s_inputFd);
        s_inputFd = -1;
    }
    if (s_pumpTimer) {
        delTimer(s_pumpTimer);
        s_pumpTimer = 0;
    }
    if (m_screen)
        m_screen->shutdown();
    m_screen.reset();
    Cursor::destroy();
    if (s_instance == this)
        s_instance = nullptr;
}

GuiRT* GuiRT::instance()
{
    return s_instance;
}

int GuiRT::init(int)
{
    if (m_screen)
        return 0;
    const char* display = std::getenv("LUMI_DISPLAY");
    std::string error;
    std::unique_ptr<lumi::DisplayBackend> backend = lumi::createDisplayBackend(display, error);
    int result = 0;
    if (!backend) {
        // Keep running without a display: the program's logic and its
        // diagnostics still work, nothing is shown.
        fprintf(stderr, "[lumi] no display (%s): %s\n", display && *display ? display : "fbdev:/dev/fb0", error.c_str());
        result = -1;
    }
    m_screen = std::make_unique<lumi::Screen>(std::move(backend));

    if (lumi::DisplayBackend* b = m_screen->backend()) {
        s_inputFd = b->inputFd();
        if (s_inputFd >= 0)
            registerHandler(s_inputFd, &s_backendInput);
        if (b->pumpIntervalMs() > 0)
            s_pumpTimer = addTimer(b->pumpIntervalMs(), pumpBackend, nullptr);
    }

    lumi::installTerminationHandlers();

    if (const char* input = std::getenv("LUMI_INPUT")) {
        if (*input && lumi::openTestInput(input) != 0)
            result = -1;
    }
    return result;
}

void GuiRT::deliverKeyEvent(int key, unsigned int up)
{
    if (GuiApp* app = theGuiApp())
        app->addMsg(LUMIMessage(nullptr, MSG_KEY, key, up ? 1 : 0));
}
