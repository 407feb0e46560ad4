#pragma once
// The full-screen cover shown while an external program starts: black with
// "Loading <name> ...", painted once so that whatever the external program
// draws afterwards stays on the screen.

#include <lumi/window.h>

class PelGuiApp;

class DummyWindow : public MainWndBase {
public:
    DummyWindow() = default;
    ~DummyWindow() override;

    int create(const char* title);

    bool needPaint { true };
    char* title { nullptr };
    // The application that shows this cover; told when the cover goes.
    PelGuiApp* app { nullptr };

protected:
    int onPaint() override;
};
