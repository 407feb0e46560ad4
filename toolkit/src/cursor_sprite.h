#pragma once
// The screen cursor as the screen composes it over the frame before showing it.

#include <lumi/rect.h>

#include <pixman.h>

namespace lumi {

// Draws the cursor into frame (if visible) after saving the pixels it covers,
// and returns the screen rectangles that must be shown for the cursor to be
// up to date: where it is now and where it was last shown (either may be
// empty). Call cursorRestore after showing the frame.
void cursorOverlay(pixman_image_t* frame, Rect& now, Rect& before);
// Puts back the pixels saved by cursorOverlay.
void cursorRestore(pixman_image_t* frame);
// True when the cursor moved, changed or was shown or hidden since it was last drawn.
bool cursorChanged();

}
