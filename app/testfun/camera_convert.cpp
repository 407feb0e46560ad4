#include "testfun/camera_convert.h"

namespace {

uint8_t clampByte(double value)
{
    // Truncation toward zero first, as the conversion to an integer does.
    const int v = static_cast<int>(value);
    return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// U and V arrive as bytes around 128; the sensor means them as signed 8-bit values.
int chroma(uint8_t c)
{
    return static_cast<int8_t>(static_cast<uint8_t>(c - 128));
}

}

void yuvToPixel(int y, int u, int v, uint8_t out[4])
{
    out[0] = clampByte(y + 2.03 * u);
    out[1] = clampByte(y - 0.39 * u - 0.58 * v);
    out[2] = clampByte(y + 1.14 * v);
    out[3] = 0;
}

void convertFrame(const uint8_t* frame, unsigned width, unsigned height, bool semiPlanar, uint8_t* out)
{
    const size_t pixels = static_cast<size_t>(width) * height;
    const uint8_t* plane2 = frame + pixels;
    for (size_t p = 0; p + 1 < pixels; p += 2) {
        int y0, y1, u, v;
        if (semiPlanar) {
            y0 = frame[p];
            y1 = frame[p + 1];
            u = chroma(plane2[p]);
            v = chroma(plane2[p + 1]);
        } else {
            const uint8_t* q = frame + 2 * p;
            y0 = q[0];
            u = chroma(q[1]);
            y1 = q[2];
            v = chroma(q[3]);
        }
        yuvToPixel(y0, u, v, out + 4 * p);
        yuvToPixel(y1, u, v, out + 4 * p + 4);
    }
}
