/* A display plugin without a window, built three ways for the plugin loader's
 * tests: as it should be, for another interface version (FAKE_PLUGIN_ABI),
 * and without its entry point (FAKE_PLUGIN_NO_ENTRY).
 * (The display's functions are unused in that last one.)
 *
 * Its display keeps the last flushed picture's pixels in memory, and every
 * pump reports what the environment variable FAKE_PLUGIN_INPUT asks for: "k"
 * a key press and release of 'k', "p" a touch at (10, 20) moved to (30, 40)
 * and lifted there, "q" the window closed. */

#include "display/display_plugin.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifndef FAKE_PLUGIN_ABI
#define FAKE_PLUGIN_ABI LUMI_DISPLAY_PLUGIN_ABI
#endif

typedef struct FakeDisplay {
    LumiDisplayHost host;
    int width;
    int height;
    uint16_t* pixels;
} FakeDisplay;

/* The display last opened, for the tests to look at its pixels. */
__attribute__((visibility("default"))) FakeDisplay* fake_plugin_last;

__attribute__((visibility("default"))) uint16_t fake_plugin_pixel(int x, int y)
{
    return fake_plugin_last
        ? fake_plugin_last->pixels[(size_t)y * (size_t)fake_plugin_last->width + (size_t)x]
        : 0;
}

__attribute__((unused)) static void fakeFlush(
    void* self, const uint16_t* frame, int stride, const LumiDisplayRect* rects, int count)
{
    FakeDisplay* display = (FakeDisplay*)self;
    for (int i = 0; i < count; ++i) {
        for (int y = rects[i].y; y < rects[i].y + rects[i].height; ++y) {
            const uint16_t* row = (const uint16_t*)((const char*)frame + (size_t)y * (size_t)stride);
            memcpy(display->pixels + (size_t)y * (size_t)display->width + (size_t)rects[i].x,
                row + rects[i].x, (size_t)rects[i].width * 2);
        }
    }
}

__attribute__((unused)) static void fakePump(void* self)
{
    FakeDisplay* display = (FakeDisplay*)self;
    const char* input = getenv("FAKE_PLUGIN_INPUT");
    for (; input && *input; ++input) {
        if (*input == 'k') {
            display->host.key(display->host.context, 'k', 0);
            display->host.key(display->host.context, 'k', 1);
        } else if (*input == 'p') {
            display->host.pointer(display->host.context, 10, 20, 1);
            display->host.pointer(display->host.context, 30, 40, 1);
            display->host.pointer(display->host.context, 30, 40, 0);
        } else if (*input == 'q') {
            display->host.quit(display->host.context);
        }
    }
}

__attribute__((unused)) static void fakeDestroy(void* self)
{
    FakeDisplay* display = (FakeDisplay*)self;
    if (fake_plugin_last == display)
        fake_plugin_last = NULL;
    free(display->pixels);
    free(display);
}

#ifndef FAKE_PLUGIN_NO_ENTRY
__attribute__((visibility("default"))) int lumi_display_plugin_open(uint32_t hostAbi, uint32_t* pluginAbi,
    const LumiDisplayHost* host, int width, int height, LumiDisplayOps* ops, char* error, size_t errorSize)
{
    *pluginAbi = FAKE_PLUGIN_ABI;
    if (hostAbi != FAKE_PLUGIN_ABI)
        return -1;
    if (width > 1000) {
        snprintf(error, errorSize, "fake: no screen wider than 1000 (asked %d)", width);
        return -1;
    }
    FakeDisplay* display = (FakeDisplay*)calloc(1, sizeof *display);
    if (!display)
        return -1;
    display->pixels = (uint16_t*)calloc((size_t)width * (size_t)height, 2);
    if (!display->pixels) {
        free(display);
        return -1;
    }
    display->host = *host;
    display->width = width;
    display->height = height;
    fake_plugin_last = display;
    ops->self = display;
    ops->width = width;
    ops->height = height;
    ops->pumpIntervalMs = 25;
    ops->flush = fakeFlush;
    ops->pump = fakePump;
    ops->destroy = fakeDestroy;
    return 0;
}
#endif
