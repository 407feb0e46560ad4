#include "shell/dummywindow.h"

#include "shell/pelguiapp.h"

#include <lumi/config.h>
#include <lumi/gdi.h>

#include <cstdlib>
#include <cstring>
#include <string>

DummyWindow::~DummyWindow()
{
    std::free(title);
    if (app && app->dummyWindow == this)
        app->dummyWindow = nullptr;
}

int DummyWindow::create(const char* name)
{
    const Rect rect(0, 0, Display::getParam(0), Display::getParam(1));
    const int result = MainWndBase::create(rect, 5, 0);
    setAutoDelete(true);
    if (name)
        title = strdup(name);
    return result;
}

int DummyWindow::onPaint()
{
    if (!needPaint)
        return 0;
    PaintDC dc(this);
    Rect client;
    getClientRect(client);
    dc.fillRect(client, 0x0000);
    dc.setTextColor(0xFFFF);
    LogFont lf("title", -1);
    dc.selectFont(Font::getFont(&lf));
    const std::string text = title ? std::string("Loading ") + title + " ..." : std::string("Loading ...");
    dc.drawText(client, text.c_str(), 34, -1);
    needPaint = false;
    return 0;
}
