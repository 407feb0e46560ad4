#include "camera_picture.h"

namespace board {

const uint8_t kCameraBarYuv[kCameraBars][3] = {
    { 235, 128, 128 }, // white
    { 210, 16, 146 }, // yellow
    { 170, 166, 16 }, // cyan
    { 145, 54, 34 }, // green
    { 106, 202, 222 }, // magenta
    { 81, 90, 240 }, // red
    { 41, 240, 110 }, // blue
    { 16, 128, 128 }, // black
};
const uint8_t kCameraMarkerYuv[3] = { 126, 128, 128 };

unsigned cameraMarkerX(unsigned width, uint32_t sequence)
{
    if (width <= kCameraMarkerSize)
        return 0;
    const unsigned span = width - kCameraMarkerSize;
    return (sequence * 8u % span) & ~1u;
}

unsigned cameraMarkerY(unsigned height)
{
    return height > kCameraMarkerSize ? (height - kCameraMarkerSize) / 2 : 0;
}

void cameraPairYuv(unsigned width, unsigned height, uint32_t sequence, unsigned x, unsigned y, uint8_t yuv[3])
{
    const unsigned mx = cameraMarkerX(width, sequence);
    const unsigned my = cameraMarkerY(height);
    const uint8_t* c;
    if (x >= mx && x < mx + kCameraMarkerSize && y >= my && y < my + kCameraMarkerSize)
        c = kCameraMarkerYuv;
    else
        c = kCameraBarYuv[width ? static_cast<size_t>(x) * kCameraBars / width : 0];
    yuv[0] = c[0];
    yuv[1] = c[1];
    yuv[2] = c[2];
}

void cameraTestFrame(uint8_t* out, unsigned width, unsigned height, bool semiPlanar, uint32_t sequence)
{
    const size_t pixels = static_cast<size_t>(width) * height;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x + 1 < width; x += 2) {
            uint8_t c[3];
            cameraPairYuv(width, height, sequence, x, y, c);
            const size_t p = static_cast<size_t>(y) * width + x;
            if (semiPlanar) {
                out[p] = c[0];
                out[p + 1] = c[0];
                out[pixels + p] = c[1];
                out[pixels + p + 1] = c[2];
            } else {
                uint8_t* q = out + 2 * p;
                q[0] = c[0];
                q[1] = c[1];
                q[2] = c[0];
                q[3] = c[2];
            }
        }
    }
}

}
