#include "display/backend.h"
#include "loop_impl.h"
#include "screen.h"
#include "test_input.h"

#include <lumi/app.h>
#include <lumi/mouse.h>

#include <cstdio>
#include <cstdlib>

namespace {

// The running run-time. One per process: windows, the pointer sources and the
// test input find the screen and the loop through it.
GuiRT* s_instance = nullptr;

void pumpBackend(lumi::Screen* screen)
{
    if (screen && screen->backend())
        screen->backend()->pumpInput();
}

}

// Where input comes from: a backend with a descriptor is pumped when it is
// readable, one without on a timer; scripts and tests may add the test-input
// socket.
struct GuiRT::InputPump : public EventHandler {
    explicit InputPump(GuiRT& rt)
        : m_rt(rt)
    {
    }
    ~InputPump() override
    {
        testInput.reset();
        if (inputFd >= 0)
            m_rt.unregisterHandler(inputFd);
        if (pumpTimer)
            m_rt.delTimer(pumpTimer);
    }
    void onRead(int) override { pumpBackend(m_rt.screen()); }
    static void onPumpTimer(void* pump, int) { pumpBackend(static_cast<InputPump*>(pump)->m_rt.screen()); }

    int inputFd { -1 };
    int pumpTimer { 0 };
    std::unique_ptr<lumi::TestInputSocket> testInput;

private:
    GuiRT& m_rt;
};

lumi::Screen* lumi::screen()
{
    return s_instance ? s_instance->screen() : nullptr;
}

GuiRT::GuiRT()
    : m_input(std::make_unique<InputPump>(*this))
{
    s_instance = this;
}

GuiRT::~GuiRT()
{
    m_input.reset();
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
        m_input->inputFd = b->inputFd();
        if (m_input->inputFd >= 0)
            registerHandler(m_input->inputFd, m_input.get());
        if (b->pumpIntervalMs() > 0)
            m_input->pumpTimer = addTimer(b->pumpIntervalMs(), &InputPump::onPumpTimer, m_input.get());
    }

    lumi::installTerminationHandlers();

    if (const char* input = std::getenv("LUMI_INPUT")) {
        if (*input && openTestInput(input) != 0)
            result = -1;
    }
    return result;
}

void GuiRT::deliverKeyEvent(int key, unsigned int up)
{
    if (GuiApp* app = theGuiApp())
        app->addMsg(LUMIMessage(nullptr, MSG_KEY, key, up ? 1 : 0));
}

int GuiRT::openTestInput(const char* path)
{
    // The old socket goes first, so that the same path can be opened again.
    m_input->testInput.reset();
    m_input->testInput = lumi::listenForTestInput(path);
    return m_input->testInput ? 0 : -1;
}

void GuiRT::closeTestInput()
{
    m_input->testInput.reset();
}
