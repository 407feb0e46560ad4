// The touch calibration solver: printed lines, the error threshold, the
// delta-0 path and the current calibration, then fits on random panels
// checked against an exact least-squares fit computed here in rationals.

#include "exact_arith.h"
#include "largenum_exact.h"
#include "touch/calibrate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using exact::Int;
using exact::Random;
using exact::Rational;

struct PointSet {
    std::vector<int> screenX;
    std::vector<int> screenY;
    std::vector<int> rawX;
    std::vector<int> rawY;

    int size() const { return static_cast<int>(rawX.size()); }
    void add(int sx, int sy, int rx, int ry)
    {
        screenX.push_back(sx);
        screenY.push_back(sy);
        rawX.push_back(rx);
        rawY.push_back(ry);
    }
};

struct Calibrated {
    int result { -1 };
    int coeffs[kCalibrationCoefficientCount] { -7, -7, -7, -7, -7, -7, -7 };
    std::string output;
};

Calibrated calibrate(PointSet& p)
{
    Calibrated c;
    testing::internal::CaptureStdout();
    c.result = TouchPanelSetCalibration(
        p.size(), p.screenX.data(), p.screenY.data(), p.rawX.data(), p.rawY.data(), c.coeffs);
    c.output = testing::internal::GetCapturedStdout();
    return c;
}

// The printed worst squared error, or -1 when the line is missing.
long long printedMaximumError(const std::string& output)
{
    const std::string key = "Maximum error (square of Euclidean distance in screen units) = ";
    const size_t at = output.find(key);
    if (at == std::string::npos)
        return -1;
    return std::strtoll(output.c_str() + at + key.size(), nullptr, 10);
}

std::string pointLine(int sx, int sy, int x, int y)
{
    char line[64];
    std::snprintf(line, sizeof line, "(%4d, %4d) => (%4d, %4d) \n", sx, sy, x, y);
    return line;
}

std::pair<int, int> calibratedPoint(int rawX, int rawY)
{
    int x = -1;
    int y = -1;
    TouchPanelCalibrateAPoint(rawX, rawY, &x, &y);
    return { x, y };
}

// Each test starts without a calibration: the record is process-wide.
class CalibrationSolver : public testing::Test {
protected:
    void SetUp() override
    {
        testing::internal::CaptureStdout();
        TouchPanelSetCalibration(0, nullptr, nullptr, nullptr, nullptr, nullptr);
        testing::internal::GetCapturedStdout();
    }
};

// The device's five targets on an 800x480 screen, each hit at the raw point
// of the panel map screen x = (raw x - 300) / 5, screen y = (raw y - 200) / 8.
// With residuals r added to the targets that sum to zero and are orthogonal
// to raw x and raw y, that map stays the exact least-squares fit, so the
// calibrated points land on the unmodified targets and the errors are |r|^2.
PointSet affineFivePoints(int residualX = 0, int residualY = 0)
{
    const int sx[5] = { 50, 750, 750, 50, 400 };
    const int sy[5] = { 50, 50, 430, 430, 240 };
    const int pattern[5] = { 1, -1, 1, -1, 0 };
    PointSet p;
    for (int i = 0; i < 5; ++i)
        p.add(
            sx[i] + pattern[i] * residualX, sy[i] + pattern[i] * residualY, 5 * sx[i] + 300, 8 * sy[i] + 200);
    return p;
}

// --- Printed lines and the error threshold -------------------------------------

TEST_F(CalibrationSolver, FivePointsOnAnExactAffineImageGiveMaximumErrorZeroAndReturnOne)
{
    PointSet p = affineFivePoints();
    const Calibrated c = calibrate(p);
    EXPECT_EQ(1, c.result);
    EXPECT_EQ("calibrating 5 point set\r\n"
              "(  50,   50) => (  50,   50) \n"
              "( 750,   50) => ( 750,   50) \n"
              "( 750,  430) => ( 750,  430) \n"
              "(  50,  430) => (  50,  430) \n"
              "( 400,  240) => ( 400,  240) \n"
              "Maximum error (square of Euclidean distance in screen units) = 0 \n",
        c.output);
    EXPECT_EQ(1, currentTouchCalibration().valid);
}

TEST_F(CalibrationSolver, PrintsThePointCountFirstEvenForAnEmptySet)
{
    PointSet p;
    const Calibrated c = calibrate(p);
    EXPECT_EQ("calibrating 0 point set\r\n", c.output);
}

TEST_F(CalibrationSolver, AWorstSquaredErrorOf98Passes)
{
    PointSet p = affineFivePoints(7, 7);
    const Calibrated c = calibrate(p);
    EXPECT_EQ(1, c.result);
    EXPECT_EQ(98, printedMaximumError(c.output));
    EXPECT_EQ(std::string::npos, c.output.find("exceeds calibration threshold"));
    EXPECT_NE(std::string::npos, c.output.find(pointLine(57, 57, 50, 50)));
}

TEST_F(CalibrationSolver, AWorstSquaredErrorOf100FailsAndNamesTheUnsquaredThreshold)
{
    PointSet p = affineFivePoints(10, 0);
    const Calibrated c = calibrate(p);
    EXPECT_EQ(0, c.result);
    EXPECT_EQ("calibrating 5 point set\r\n"
              "(  60,   50) => (  50,   50) \n"
              "( 740,   50) => ( 750,   50) \n"
              "( 760,  430) => ( 750,  430) \n"
              "(  40,  430) => (  50,  430) \n"
              "( 400,  240) => ( 400,  240) \n"
              "Maximum error (square of Euclidean distance in screen units) = 100 \n"
              "Maximum error 100 exceeds calibration threshold 10 \n",
        c.output);
}

TEST_F(CalibrationSolver, AWorstSquaredErrorMadeOfBothAxesFailsAt100)
{
    PointSet p = affineFivePoints(6, 8);
    const Calibrated c = calibrate(p);
    EXPECT_EQ(0, c.result);
    EXPECT_EQ(100, printedMaximumError(c.output));
}

// 99 is not a sum of two squares (it is 3 modulo 4, and so is every value the
// 32-bit sum can wrap to), so no set of points can leave exactly 99; the
// decision itself is checked on both sides of the boundary.
TEST(CalibrationThreshold, ASquaredErrorOf99PassesAnd100Fails)
{
    EXPECT_TRUE(calibrationErrorAcceptable(0));
    EXPECT_TRUE(calibrationErrorAcceptable(99));
    EXPECT_FALSE(calibrationErrorAcceptable(100));
    EXPECT_FALSE(calibrationErrorAcceptable(0xFFFFFFFFu));
}

TEST_F(CalibrationSolver, AFailedCheckStillInstallsTheNewCoefficients)
{
    PointSet good = affineFivePoints();
    calibrate(good);
    PointSet bad = affineFivePoints(10, 0);
    bad.rawX[4] += 400; // the centre point pulls the fit away
    const Calibrated c = calibrate(bad);
    EXPECT_EQ(0, c.result);
    EXPECT_EQ(1, currentTouchCalibration().valid);
    for (int i = 0; i < kCalibrationCoefficientCount; ++i)
        EXPECT_EQ(c.coeffs[i], currentTouchCalibration().coeff[i]) << i;
}

// --- Coefficients ------------------------------------------------------------------

TEST_F(CalibrationSolver, CoefficientsComeInTheOrderWeightsOffsetThenDivisor)
{
    PointSet p = affineFivePoints();
    const Calibrated c = calibrate(p);
    const double delta = c.coeffs[kCoeffDelta];
    ASSERT_GT(delta, 0);
    EXPECT_NEAR(1.0 / 5, c.coeffs[kCoeffA1] / delta, 1e-4);
    EXPECT_NEAR(0.0, c.coeffs[kCoeffB1] / delta, 1e-4);
    EXPECT_NEAR(0.0, c.coeffs[kCoeffA2] / delta, 1e-4);
    EXPECT_NEAR(1.0 / 8, c.coeffs[kCoeffB2] / delta, 1e-4);
    // The offsets carry half of delta on top of the fit's -60 and -25, so
    // that truncating divisions round to the nearest pixel.
    EXPECT_NEAR(-60 + 0.5, c.coeffs[kCoeffC1] / delta, 1e-3);
    EXPECT_NEAR(-25 + 0.5, c.coeffs[kCoeffC2] / delta, 1e-3);
}

// Weights within 15 bits, offsets within 27 and delta within 31, shifted no
// further than needed: one of them fills its budget.
void expectCoefficientsFillTheirBitBudgets(const int* k)
{
    bool filled = false;
    for (int i : { kCoeffA1, kCoeffB1, kCoeffA2, kCoeffB2 }) {
        EXPECT_LE(std::abs(k[i]), 1 << 15) << i;
        filled = filled || std::abs(k[i]) >= 1 << 14;
    }
    for (int i : { kCoeffC1, kCoeffC2 }) {
        EXPECT_LE(std::abs(k[i]), 1 << 27) << i;
        filled = filled || std::abs(k[i]) >= 1 << 26;
    }
    EXPECT_GT(k[kCoeffDelta], 0);
    filled = filled || k[kCoeffDelta] >= 1 << 30;
    EXPECT_TRUE(filled);
}

TEST_F(CalibrationSolver, ScaledCoefficientsFillButDoNotExceedTheirBitBudgets)
{
    PointSet p = affineFivePoints();
    const Calibrated c = calibrate(p);
    expectCoefficientsFillTheirBitBudgets(c.coeffs);
}

TEST_F(CalibrationSolver, DeltaIsScaledToThirtyOneBitsWhenItIsTheWidestNumber)
{
    // Each raw point is touched twice, aiming at 0 and at -1: the fit is the
    // constant -0.5, which the rounding term cancels, so weights and offsets
    // are zero and delta alone decides the shift.
    PointSet p;
    for (int target : { 0, -1 }) {
        p.add(target, target, 0, 0);
        p.add(target, target, 4000, 0);
        p.add(target, target, 0, 4000);
    }
    const Calibrated c = calibrate(p);
    for (int i : { kCoeffA1, kCoeffB1, kCoeffC1, kCoeffA2, kCoeffB2, kCoeffC2 })
        EXPECT_EQ(0, c.coeffs[i]) << i;
    EXPECT_GE(c.coeffs[kCoeffDelta], 1 << 30);
    EXPECT_EQ(1, currentTouchCalibration().valid);
}

TEST_F(CalibrationSolver, ANegativeCoefficientKeepsOnlyItsMagnitudeWhenNoScalingIsNeeded)
{
    // Three points on screen x = 10 - 5 X, screen y = 20 + 3 Y: delta is 1,
    // nothing needs shifting, and a1 = -5 comes out as its magnitude.
    PointSet p;
    p.add(10, 20, 0, 0);
    p.add(5, 20, 1, 0);
    p.add(10, 23, 0, 1);
    const Calibrated c = calibrate(p);
    const int expected[kCalibrationCoefficientCount] = { 5, 0, 10, 0, 3, 20, 1 };
    for (int i = 0; i < kCalibrationCoefficientCount; ++i)
        EXPECT_EQ(expected[i], c.coeffs[i]) << i;
    // Raw (1, 0) then lands at 4 * (5 + 10) quarter pixels, 10 pixels off.
    EXPECT_EQ(60, calibratedPoint(1, 0).first);
    EXPECT_EQ(0, c.result);
    EXPECT_EQ(100, printedMaximumError(c.output));
}

// --- The delta-0 path ----------------------------------------------------------------

TEST_F(CalibrationSolver, IdenticalRawPointsGiveDeltaZeroAndCompareRawQuarterValuesWithTheTargets)
{
    PointSet p;
    const int sx[5] = { 50, 750, 750, 50, 400 };
    const int sy[5] = { 50, 50, 430, 430, 240 };
    for (int i = 0; i < 5; ++i)
        p.add(sx[i], sy[i], 2000, 1000);
    const Calibrated c = calibrate(p);

    std::string expected = "calibrating 5 point set\r\n"
                           "TouchPanelSetCalibration: delta of 0 invalid \n"
                           "\tCalibration failed.\n";
    unsigned worst = 0;
    for (int i = 0; i < 5; ++i) {
        // Uncalibrated, the raw values come back and are divided by 4 like
        // quarter pixels.
        expected += pointLine(sx[i], sy[i], 2000 / 4, 1000 / 4);
        const unsigned dx = static_cast<unsigned>(std::abs(2000 / 4 - sx[i]));
        const unsigned dy = static_cast<unsigned>(std::abs(1000 / 4 - sy[i]));
        worst = std::max(worst, dx * dx + dy * dy);
    }
    expected
        += "Maximum error (square of Euclidean distance in screen units) = " + std::to_string(worst) + " \n";
    expected += "Maximum error " + std::to_string(worst) + " exceeds calibration threshold 10 \n";
    EXPECT_EQ(expected, c.output);
    EXPECT_EQ(0, c.result);
}

TEST_F(CalibrationSolver, DeltaZeroLeavesTheCalibrationInvalidWithARecordDivisorOfOne)
{
    PointSet p;
    for (int i = 0; i < 5; ++i)
        p.add(100 + i, 100, 3000, 3000);
    const Calibrated c = calibrate(p);
    EXPECT_EQ(0, currentTouchCalibration().valid);
    EXPECT_EQ(1, currentTouchCalibration().coeff[kCoeffDelta]);
    // The caller's copy keeps the zero.
    for (int i = 0; i < kCalibrationCoefficientCount; ++i)
        EXPECT_EQ(0, c.coeffs[i]) << i;
    EXPECT_EQ(std::make_pair(3000, 3000), calibratedPoint(3000, 3000));
}

TEST_F(CalibrationSolver, DeltaZeroStillPassesWhenTheRawQuarterValuesHitTheTargets)
{
    PointSet p;
    for (int i = 0; i < 5; ++i)
        p.add(400, 240, 1600, 960);
    const Calibrated c = calibrate(p);
    EXPECT_NE(std::string::npos, c.output.find("delta of 0 invalid"));
    EXPECT_EQ(0, printedMaximumError(c.output));
    EXPECT_EQ(1, c.result);
    EXPECT_EQ(0, currentTouchCalibration().valid);
}

// --- The current calibration -----------------------------------------------------------

TEST_F(CalibrationSolver, WithoutACalibrationRawPointsPassThroughUnchanged)
{
    EXPECT_EQ(0, currentTouchCalibration().valid);
    EXPECT_EQ(std::make_pair(1234, 3210), calibratedPoint(1234, 3210));
    EXPECT_EQ(std::make_pair(-5, 70000), calibratedPoint(-5, 70000));
}

TEST_F(CalibrationSolver, AnEmptyPointSetReturnsOneAndLeavesTheCalibrationInvalid)
{
    PointSet good = affineFivePoints();
    const Calibrated before = calibrate(good);
    ASSERT_EQ(1, currentTouchCalibration().valid);

    PointSet empty;
    const Calibrated c = calibrate(empty);
    EXPECT_EQ(1, c.result);
    EXPECT_EQ(0, currentTouchCalibration().valid);
    // Nothing else changes: neither the caller's array nor the coefficients.
    for (int i = 0; i < kCalibrationCoefficientCount; ++i) {
        EXPECT_EQ(-7, c.coeffs[i]) << i;
        EXPECT_EQ(before.coeffs[i], currentTouchCalibration().coeff[i]) << i;
    }
    EXPECT_EQ(std::make_pair(550, 600), calibratedPoint(550, 600));
}

TEST_F(CalibrationSolver, ACalibratedPointThatWouldBeNegativeIsReportedAsZero)
{
    PointSet p = affineFivePoints();
    calibrate(p);
    // Raw (0, 0) lies 60 pixels left of and 25 pixels above the screen.
    EXPECT_EQ(std::make_pair(0, 0), calibratedPoint(0, 0));
    // Only the negative coordinate is clamped.
    const auto partly = calibratedPoint(0, 3640);
    EXPECT_EQ(0, partly.first);
    EXPECT_EQ(430, partly.second / 4);
}

TEST_F(CalibrationSolver, CalibratedPointsComeInQuarterPixels)
{
    PointSet p = affineFivePoints();
    calibrate(p);
    // Raw x 302 is 0.4 pixels right of screen x 0 (raw x 300); with the
    // half-pixel rounding term that is 0.9 pixels, 3 whole quarters.
    EXPECT_EQ(3, calibratedPoint(302, 1001).first);
    // Raw y 1001 is screen y 100.125, plus one half: 402.5 quarters.
    EXPECT_EQ(402, calibratedPoint(302, 1001).second);
}

// --- Determinants ---------------------------------------------------------------------------

LARGENUM numberOf(int v)
{
    LARGENUM n;
    LargeNumSet(&n, v);
    return n;
}

Int determinantOf(const int v[9])
{
    return Int(v[0]) * (Int(v[4]) * Int(v[8]) - Int(v[5]) * Int(v[7]))
        - Int(v[1]) * (Int(v[3]) * Int(v[8]) - Int(v[5]) * Int(v[6]))
        + Int(v[2]) * (Int(v[3]) * Int(v[7]) - Int(v[4]) * Int(v[6]));
}

Int computedDeterminant(const int v[9])
{
    LARGENUM elements[9];
    MATRIX33 m;
    for (int i = 0; i < 9; ++i) {
        elements[i] = numberOf(v[i]);
        m.element[i] = &elements[i];
    }
    LARGENUM result;
    EXPECT_EQ(&result, ComputeMatrix33(&result, &m));
    return exact::fromLargeNum(result);
}

TEST(CalibrationDeterminant, KnownMatricesGiveTheirDeterminants)
{
    const int identity[9] = { 1, 0, 0, 0, 1, 0, 0, 0, 1 };
    const int mixed[9] = { 2, -3, 1, 2, 0, -1, 1, 4, 5 };
    const int singular[9] = { 1, 2, 3, 2, 4, 6, 7, 8, 9 };
    EXPECT_EQ(Int(1), computedDeterminant(identity));
    EXPECT_EQ(Int(49), computedDeterminant(mixed));
    EXPECT_EQ(Int(0), computedDeterminant(singular));
}

TEST(CalibrationDeterminant, RandomMatricesOfSixteenBitEntriesGiveExactDeterminants)
{
    Random rng(0xDE7E0001);
    for (int trial = 0; trial < 2000; ++trial) {
        int v[9];
        for (int& e : v)
            e = static_cast<int>(rng.between(-65535, 65535));
        ASSERT_EQ(determinantOf(v), computedDeterminant(v)) << trial;
    }
}

// --- Random panels against the exact least-squares fit -----------------------------------------

// screen = a * X + b * Y + c
struct AxisFit {
    Rational a;
    Rational b;
    Rational c;
    Rational at(int x, int y) const { return a * Rational(Int(x)) + b * Rational(Int(y)) + c; }
};

// Solves the normal equations of both axes by Gauss-Jordan elimination in
// exact rationals; false when they are singular.
bool exactLeastSquares(const PointSet& p, AxisFit* fitX, AxisFit* fitY)
{
    Int sxx = 0, sxy = 0, sx = 0, syy = 0, sy = 0;
    Int sXxs = 0, sYxs = 0, sxs = 0, sXys = 0, sYys = 0, sys = 0;
    for (int i = 0; i < p.size(); ++i) {
        const Int x = p.rawX[i], y = p.rawY[i], xs = p.screenX[i], ys = p.screenY[i];
        sxx = sxx + x * x;
        sxy = sxy + x * y;
        sx = sx + x;
        syy = syy + y * y;
        sy = sy + y;
        sXxs = sXxs + x * xs;
        sYxs = sYxs + y * xs;
        sxs = sxs + xs;
        sXys = sXys + x * ys;
        sYys = sYys + y * ys;
        sys = sys + ys;
    }
    Rational m[3][5] = {
        { sxx, sxy, sx, sXxs, sXys },
        { sxy, syy, sy, sYxs, sYys },
        { sx, sy, Int(p.size()), sxs, sys },
    };
    for (int col = 0; col < 3; ++col) {
        int pivot = col;
        while (pivot < 3 && m[pivot][col].isZero())
            ++pivot;
        if (pivot == 3)
            return false;
        for (int k = 0; k < 5; ++k)
            std::swap(m[col][k], m[pivot][k]);
        for (int r = 0; r < 3; ++r) {
            if (r == col || m[r][col].isZero())
                continue;
            const Rational factor = m[r][col] / m[col][col];
            for (int k = col; k < 5; ++k)
                m[r][k] = m[r][k] - factor * m[col][k];
        }
    }
    *fitX = { m[0][3] / m[0][0], m[1][3] / m[1][1], m[2][3] / m[2][2] };
    *fitY = { m[0][4] / m[0][0], m[1][4] / m[1][1], m[2][4] / m[2][2] };
    return true;
}

bool withinOnePixel(int pixel, const Rational& exactValue)
{
    const Rational diff = Rational(Int(pixel)) - exactValue;
    return compare(diff, Rational(Int(1))) <= 0 && compare(diff, Rational(Int(-1))) >= 0;
}

// A resistive panel: raw = offset + linear(screen), with the raw range of
// either axis between 1500 and 3800 units across the screen, either axis
// possibly mirrored, the axes possibly swapped and a few percent of skew,
// all within 12 bits.
struct Panel {
    double offsetX { 0 };
    double offsetY { 0 };
    double m[2][2] { { 0, 0 }, { 0, 0 } };

    double rawX(double sx, double sy) const { return offsetX + m[0][0] * sx + m[0][1] * sy; }
    double rawY(double sx, double sy) const { return offsetY + m[1][0] * sx + m[1][1] * sy; }
};

Panel randomPanel(Random& rng, int width, int height)
{
    const double spanAlongX = 1500 + 2300 * rng.unit();
    const double spanAlongY = 1500 + 2300 * rng.unit();
    const double u[2]
        = { (rng.coin() ? 1 : -1) * spanAlongX / width, (rng.unit() - 0.5) * 0.1 * spanAlongX / height };
    const double v[2]
        = { (rng.unit() - 0.5) * 0.1 * spanAlongY / width, (rng.coin() ? 1 : -1) * spanAlongY / height };
    Panel p;
    const bool swapped = rng.coin();
    for (int k = 0; k < 2; ++k) {
        p.m[0][k] = swapped ? v[k] : u[k];
        p.m[1][k] = swapped ? u[k] : v[k];
    }
    // Place each raw axis at a random position inside 40..4055.
    double* offsets[2] = { &p.offsetX, &p.offsetY };
    for (int axis = 0; axis < 2; ++axis) {
        double lo = 1e9;
        double hi = -1e9;
        for (int corner = 0; corner < 4; ++corner) {
            const double value
                = p.m[axis][0] * (corner & 1 ? width : 0) + p.m[axis][1] * (corner & 2 ? height : 0);
            lo = std::min(lo, value);
            hi = std::max(hi, value);
        }
        *offsets[axis] = 40 - lo + rng.unit() * (4015 - (hi - lo));
    }
    return p;
}

int clampRaw(double v)
{
    return static_cast<int>(std::lround(std::min(4095.0, std::max(0.0, v))));
}

struct FitTrial {
    int width { 0 };
    int height { 0 };
    Panel panel;
    PointSet points;
};

// The device's five targets, or a 3x3 grid, hit with `noise` raw units of
// jitter.
FitTrial randomTrial(Random& rng, bool grid, int noise)
{
    FitTrial t;
    t.width = static_cast<int>(rng.between(320, 1024));
    t.height = static_cast<int>(rng.between(240, 768));
    t.panel = randomPanel(rng, t.width, t.height);
    std::vector<std::pair<int, int>> targets;
    if (grid) {
        for (int row = 1; row <= 3; ++row)
            for (int col = 1; col <= 3; ++col)
                targets.emplace_back(t.width * col / 4, t.height * row / 4);
    } else {
        targets = { { 50, 50 }, { t.width - 50, 50 }, { t.width - 50, t.height - 50 }, { 50, t.height - 50 },
            { t.width / 2, t.height / 2 } };
    }
    for (const auto& s : targets) {
        const int jx = static_cast<int>(rng.between(-noise, noise));
        const int jy = static_cast<int>(rng.between(-noise, noise));
        t.points.add(s.first, s.second, clampRaw(t.panel.rawX(s.first, s.second) + jx),
            clampRaw(t.panel.rawY(s.first, s.second) + jy));
    }
    return t;
}

// Calibrates the trial and checks the calibrated pixels of its own points
// and of random points across the screen against the exact fit.
void checkAgainstExactFit(Random& rng, FitTrial& t, int trial)
{
    SCOPED_TRACE("trial " + std::to_string(trial));
    AxisFit fitX;
    AxisFit fitY;
    ASSERT_TRUE(exactLeastSquares(t.points, &fitX, &fitY));
    const Calibrated c = calibrate(t.points);
    ASSERT_GT(c.coeffs[kCoeffDelta], 0);
    expectCoefficientsFillTheirBitBudgets(c.coeffs);

    unsigned worstPrinted = 0;
    double worstExactResidual = 0;
    for (int i = 0; i < t.points.size(); ++i) {
        const int rx = t.points.rawX[i];
        const int ry = t.points.rawY[i];
        const auto q = calibratedPoint(rx, ry);
        const Rational fx = fitX.at(rx, ry);
        const Rational fy = fitY.at(rx, ry);
        ASSERT_TRUE(withinOnePixel(q.first / 4, fx)) << q.first << " vs " << fx.toDouble();
        ASSERT_TRUE(withinOnePixel(q.second / 4, fy)) << q.second << " vs " << fy.toDouble();

        const int dx = q.first / 4 - t.points.screenX[i];
        const int dy = q.second / 4 - t.points.screenY[i];
        worstPrinted = std::max(worstPrinted, static_cast<unsigned>(dx * dx + dy * dy));
        worstExactResidual = std::max(worstExactResidual,
            std::hypot(fx.toDouble() - t.points.screenX[i], fy.toDouble() - t.points.screenY[i]));
    }
    EXPECT_EQ(static_cast<long long>(worstPrinted), printedMaximumError(c.output));
    // A fit whose exact residuals stay well inside 10 pixels must pass.
    if (worstExactResidual + 1.5 < 10) {
        EXPECT_EQ(1, c.result) << c.output;
    }

    for (int k = 0; k < 20; ++k) {
        const int sx = static_cast<int>(rng.between(10, t.width - 10));
        const int sy = static_cast<int>(rng.between(10, t.height - 10));
        const int rx = clampRaw(t.panel.rawX(sx, sy));
        const int ry = clampRaw(t.panel.rawY(sx, sy));
        const auto q = calibratedPoint(rx, ry);
        ASSERT_TRUE(withinOnePixel(q.first / 4, fitX.at(rx, ry))) << rx << "," << ry;
        ASSERT_TRUE(withinOnePixel(q.second / 4, fitY.at(rx, ry))) << rx << "," << ry;
    }
}

constexpr int kTrials = 300;

TEST_F(CalibrationSolver, FitsOfExactPanelMapsStayWithinOnePixelOfTheExactLeastSquaresFit)
{
    Random rng(0xCA11B001);
    for (int trial = 0; trial < kTrials; ++trial) {
        FitTrial t = randomTrial(rng, false, 0);
        checkAgainstExactFit(rng, t, trial);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(CalibrationSolver, FitsOfNoisyPanelMapsStayWithinOnePixelOfTheExactLeastSquaresFit)
{
    Random rng(0xCA11B002);
    for (int trial = 0; trial < kTrials; ++trial) {
        FitTrial t = randomTrial(rng, false, 1 + trial % 6);
        checkAgainstExactFit(rng, t, trial);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(CalibrationSolver, NinePointFitsStayWithinOnePixelOfTheExactLeastSquaresFit)
{
    Random rng(0xCA11B003);
    for (int trial = 0; trial < kTrials; ++trial) {
        FitTrial t = randomTrial(rng, true, trial % 5);
        checkAgainstExactFit(rng, t, trial);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(CalibrationSolver, FitsOfExactPanelMapsPassTheErrorCheck)
{
    Random rng(0xCA11B004);
    for (int trial = 0; trial < 50; ++trial) {
        FitTrial t = randomTrial(rng, false, 0);
        const Calibrated c = calibrate(t.points);
        EXPECT_EQ(1, c.result) << c.output;
        // Only rounding of the raw values to whole units is left, well under a pixel.
        EXPECT_LE(printedMaximumError(c.output), 2) << c.output;
    }
}

// The 32-bit application of the installed coefficients, written out in 64
// bits and wrapped at the end.
int referenceAxis(int a, int b, int c, int delta, int x, int y)
{
    const int64_t sum = int64_t { a } * x + int64_t { b } * y + c;
    const int32_t quarters = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(sum) * 4));
    const int64_t v = static_cast<int32_t>(static_cast<uint32_t>(int64_t { quarters } / delta));
    return v < 0 ? 0 : static_cast<int>(v);
}

TEST_F(CalibrationSolver, RawValuesBeyondTwelveBitsWrapInThirtyTwoBitsInsteadOfSaturating)
{
    Random rng(0xCA11B005);
    int wrapped = 0;
    for (int trial = 0; trial < 40; ++trial) {
        FitTrial t = randomTrial(rng, false, 2);
        calibrate(t.points);
        const int* k = currentTouchCalibration().coeff;
        for (int i = 0; i < 200; ++i) {
            const int x = static_cast<int>(rng.between(0, 65535));
            const int y = static_cast<int>(rng.between(0, 65535));
            const auto q = calibratedPoint(x, y);
            ASSERT_EQ(referenceAxis(k[kCoeffA1], k[kCoeffB1], k[kCoeffC1], k[kCoeffDelta], x, y), q.first);
            ASSERT_EQ(referenceAxis(k[kCoeffA2], k[kCoeffB2], k[kCoeffC2], k[kCoeffDelta], x, y), q.second);
            const int64_t sum = int64_t { k[kCoeffA1] } * x + int64_t { k[kCoeffB1] } * y + k[kCoeffC1];
            wrapped += (sum * 4 > INT32_MAX || sum * 4 < INT32_MIN);
        }
    }
    EXPECT_GT(wrapped, 0);
}

} // namespace
