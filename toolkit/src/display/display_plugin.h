#pragma once
/* The interface between the toolkit and a display backend built as a plugin
 * (a shared object loaded with dlopen() only when asked for, such as the SDL2
 * window of liblumi-sdl.so). Plain C, so that the plugin shares no C++ types
 * with the toolkit and needs none of its symbols: what it reports goes back
 * through the host's callbacks.
 *
 * A plugin exports one function, named by LUMI_DISPLAY_PLUGIN_ENTRY, of type
 * LumiDisplayPluginOpen. Whatever the interface becomes, the first two
 * parameters and the meaning of the result stay: the plugin first stores its
 * own LUMI_DISPLAY_PLUGIN_ABI in *pluginAbi, and when hostAbi differs it
 * returns -1 without touching anything else. The host refuses a plugin whose
 * number differs from its own in any case, so a plugin built for another
 * version of the toolkit is never used. Any change to a structure or a
 * function type below raises LUMI_DISPLAY_PLUGIN_ABI. */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LUMI_DISPLAY_PLUGIN_ABI 1u
#define LUMI_DISPLAY_PLUGIN_ENTRY "lumi_display_plugin_open"

/* What the plugin may call; every function gets the host's context. */
typedef struct LumiDisplayHost {
    void* context;
    /* A key of the toolkit's codes (lumi/message.h), pressed (released 0) or released. */
    void (*key)(void* context, int code, int released);
    /* A pointer sample in screen coordinates; down 0 ends a touch. */
    void (*pointer)(void* context, int x, int y, int down);
    /* The user closed the output (the window): the application should end. */
    void (*quit)(void* context);
} LumiDisplayHost;

/* A rectangle of the screen, already clipped to it and not empty. */
typedef struct LumiDisplayRect {
    int x;
    int y;
    int width;
    int height;
} LumiDisplayRect;

/* The opened display, filled in by the plugin on success. */
typedef struct LumiDisplayOps {
    void* self;
    int width;
    int height;
    /* Period in ms at which pump must be called (0: never). */
    int pumpIntervalMs;
    /* Shows rects of frame, an RGB565 image of width x height with stride bytes a row. */
    void (*flush)(void* self, const uint16_t* frame, int stride, const LumiDisplayRect* rects, int count);
    /* Reads pending input and reports it through the host's callbacks. */
    void (*pump)(void* self);
    /* Closes the display; self is not used again. */
    void (*destroy)(void* self);
} LumiDisplayOps;

/* Opens a width x height display. 0 and *display filled in, or -1 with a
 * one-line reason in error (errorSize bytes, always terminated). host stays
 * valid until destroy. */
typedef int (*LumiDisplayPluginOpen)(uint32_t hostAbi, uint32_t* pluginAbi, const LumiDisplayHost* host,
    int width, int height, LumiDisplayOps* display, char* error, size_t errorSize);

#ifdef __cplusplus
}
#endif
