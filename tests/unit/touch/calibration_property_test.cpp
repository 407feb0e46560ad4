// Calibration against panels the factory may meet: for random true panel
// mappings (scale, offset, reversed axes, a rotation of up to two degrees,
// noise of three raw units on every reading), the five-target fit puts any
// touch of the screen within two pixels of where it was aimed on each axis,
// as the driver reports it.

#include "touch/tscalibratewnd.h"
#include "touch_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

using touchtest::Panel;

namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 480;
constexpr double kMaxError = 2.0;

// The 25 points of a 5 x 5 grid over the whole screen, corners included.
template <class F> void forGridPoints(F&& f)
{
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 5; ++i)
            f(10 + i * (kWidth - 21) / 4, 10 + j * (kHeight - 21) / 4);
}

// Fits panel on the five targets of the calibration window; true when the
// solver accepts the fit. coeffs receives it.
bool fitPanel(Panel& panel, int coeffs[7])
{
    int sx[5] = { 50, kWidth - 50, kWidth - 50, 50, kWidth / 2 };
    int sy[5] = { 50, 50, kHeight - 50, kHeight - 50, kHeight / 2 };
    int rx[5], ry[5];
    for (int i = 0; i < 5; ++i)
        panel.toRaw(sx[i], sy[i], rx[i], ry[i]);
    return TouchPanelSetCalibration(5, sx, sy, rx, ry, coeffs) == 1;
}

TEST(CalibrationProperty, ThousandRandomPanelsLandEveryTouchWithinTwoPixels)
{
    std::mt19937 rng(20261123);
    double worst = 0;
    int failures = 0;
    std::string firstFailure;
    testing::internal::CaptureStdout();
    for (int n = 0; n < 1000; ++n) {
        Panel panel = Panel::random(rng, 3);
        int coeffs[7];
        if (!fitPanel(panel, coeffs)) {
            if (failures++ == 0)
                firstFailure = "panel " + std::to_string(n) + ": fit refused";
            continue;
        }
        forGridPoints([&](int x, int y) {
            int rx, ry;
            panel.toRaw(x, y, rx, ry);
            int cx, cy;
            touchtest::applyCoefficients(coeffs, rx, ry, cx, cy);
            // The driver's formula is the solver's own.
            int qx, qy;
            TouchPanelCalibrateAPoint(rx, ry, &qx, &qy);
            if (qx / 4 != cx || qy / 4 != cy) {
                if (failures++ == 0)
                    firstFailure = "panel " + std::to_string(n) + ": driver and solver differ";
            }
            // Each coordinate within two pixels (noise of three raw units is
            // most of a pixel on this screen by itself).
            const double e = std::max(std::abs(cx - x), std::abs(cy - y));
            if (e > worst)
                worst = e;
            if (e > kMaxError && failures++ == 0)
                firstFailure = "panel " + std::to_string(n) + ": (" + std::to_string(x) + ", "
                    + std::to_string(y) + ") reported at (" + std::to_string(cx) + ", " + std::to_string(cy)
                    + ")";
        });
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(failures, 0) << firstFailure;
    EXPECT_LE(worst, kMaxError);
    // Not trivially true: the error is measured, and noise makes it non-zero.
    EXPECT_GT(worst, 0.0);
}

TEST(CalibrationProperty, HeavyNoiseIsCaughtByTheErrorCheck)
{
    // A worn panel whose readings scatter by 150 raw units (tens of pixels):
    // most fits must be refused rather than installed.
    std::mt19937 rng(7);
    int refused = 0;
    testing::internal::CaptureStdout();
    for (int n = 0; n < 200; ++n) {
        Panel panel = Panel::random(rng, 150);
        int coeffs[7];
        if (!fitPanel(panel, coeffs))
            ++refused;
    }
    testing::internal::GetCapturedStdout();
    EXPECT_GT(refused, 150);
}

}
