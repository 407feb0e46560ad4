#pragma once
// The camera picture's conversion from the sensor's YUV frame to the frame
// buffer's 32-bit pixels (blue, green, red, 0), free of the toolkit so that
// tests, fuzzers and benchmarks use the very code the camera test runs.
//
// Two frame layouts, read two pixels at a time (p is the first pixel's index):
// - packed YUYV (2 bytes a pixel): Y0 = byte 2p, U = 2p+1, Y1 = 2p+2, V = 2p+3;
// - semi-planar: a Y plane of width x height bytes, then a plane of
//   interleaved U, V of the same size: Y0 = Y[p], Y1 = Y[p+1],
//   U = plane2[p], V = plane2[p+1].
// Both take width x height x 2 bytes.

#include <cstddef>
#include <cstdint>

// The bytes a frame of the layout takes.
constexpr size_t cameraFrameBytes(unsigned width, unsigned height)
{
    return static_cast<size_t>(width) * height * 2;
}

// One pixel: u and v are already taken minus 128. Computed in double
// precision (blue = Y + 2.03 U, green = Y - 0.39 U - 0.58 V, red = Y + 1.14 V),
// truncated toward zero and clamped to 0..255.
void yuvToPixel(int y, int u, int v, uint8_t out[4]);

// Converts a whole frame of width x height (width even) into out, width x
// height x 4 bytes. frame holds cameraFrameBytes(width, height) bytes.
void convertFrame(const uint8_t* frame, unsigned width, unsigned height, bool semiPlanar, uint8_t* out);
