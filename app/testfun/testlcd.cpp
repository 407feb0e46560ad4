#include "testfun/testlcd.h"

#include "testfun/imagewnd.h"

TestLCD::TestLCD(char* name)
    : TestItem(name, false)
{
}

int TestLCD::execute(Log*)
{
    auto* window = new ImageWnd;
    if (window->create() == 0)
        window->showWindow(true);
    else
        delete window; // never registered with the toolkit
    setResult(2);
    return 2;
}
