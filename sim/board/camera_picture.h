#pragma once
// The board camera's test picture: eight colour bars (white, yellow, cyan,
// green, magenta, red, blue, black, in the studio range of YUV) with a grey
// square marker that moves along the middle of the picture from frame to
// frame, so that a still or repeated frame shows. Shared by the camera model
// and the tests and tools that check what reached the screen.

#include <cstddef>
#include <cstdint>

namespace board {

constexpr int kCameraBars = 8;
constexpr int kCameraMarkerSize = 16;
// The bars' Y, U, V.
extern const uint8_t kCameraBarYuv[kCameraBars][3];
extern const uint8_t kCameraMarkerYuv[3];

// The marker's left column (even) and top row in frame sequence of a picture of width x height.
unsigned cameraMarkerX(unsigned width, uint32_t sequence);
unsigned cameraMarkerY(unsigned height);

// The YUV of pixel pair (x even, y) of frame sequence.
void cameraPairYuv(
    unsigned width, unsigned height, uint32_t sequence, unsigned x, unsigned y, uint8_t yuv[3]);

// Writes frame sequence of width x height (width even) into out, which
// holds width x height x 2 bytes: packed YUYV, or a Y plane then interleaved
// U, V (semi-planar).
void cameraTestFrame(uint8_t* out, unsigned width, unsigned height, bool semiPlanar, uint32_t sequence);

}
