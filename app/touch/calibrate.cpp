#include "touch/calibrate.h"

#include <cstdint>
#include <cstdio>

namespace {

// One per process, read by every calibrated point; the calibration window
// replaces it through TouchPanelSetCalibration.
TouchCalibration s_calibration;

// The error check accepts a worst squared distance below the square of this
// many pixels.
constexpr unsigned kErrorThreshold = 10;

// Bit budgets of the scaled coefficients: with raw coordinates of up to 12
// bits, 4 * (a * X + b * Y + c) then stays inside a signed 32-bit integer.
constexpr int kWeightBits = 15;
constexpr int kOffsetBits = 27;
constexpr int kDeltaBits = 31;

// Points the three slots of one column at the given numbers.
void setColumn(MATRIX33* m, int column, LARGENUM* row0, LARGENUM* row1, LARGENUM* row2)
{
    m->element[column] = row0;
    m->element[3 + column] = row1;
    m->element[6 + column] = row2;
}

int maxInt(int a, int b)
{
    return a > b ? a : b;
}

// One calibrated coordinate. The sums and products wrap in 32 bits as on the
// device; the division is done in 64 bits so that INT_MIN / -1 wraps instead
// of trapping.
int applyAxis(int a, int b, int c, int delta, int x, int y)
{
    const uint32_t sum = static_cast<uint32_t>(a) * static_cast<uint32_t>(x)
        + static_cast<uint32_t>(b) * static_cast<uint32_t>(y) + static_cast<uint32_t>(c);
    const int32_t quarters = static_cast<int32_t>(sum << 2);
    const int32_t v = static_cast<int32_t>(static_cast<uint32_t>(int64_t { quarters } / delta));
    return v < 0 ? 0 : v;
}

} // namespace

LARGENUM* ComputeMatrix33(LARGENUM* result, MATRIX33* m)
{
    LARGENUM** e = m->element;
    LARGENUM t;

    LargeNumMult(e[0], e[4], result);
    LargeNumMult(e[8], result, result);

    LargeNumMult(e[3], e[7], &t);
    LargeNumMult(e[2], &t, &t);
    LargeNumAdd(result, &t, result);

    LargeNumMult(e[1], e[5], &t);
    LargeNumMult(e[6], &t, &t);
    LargeNumAdd(result, &t, result);

    LargeNumMult(e[2], e[4], &t);
    LargeNumMult(e[6], &t, &t);
    LargeNumSub(result, &t, result);

    LargeNumMult(e[1], e[3], &t);
    LargeNumMult(e[8], &t, &t);
    LargeNumSub(result, &t, result);

    LargeNumMult(e[5], e[7], &t);
    LargeNumMult(e[0], &t, &t);
    LargeNumSub(result, &t, result);
    return result;
}

void computeCalibrationCoefficients(int n, const int* screenX, const int* screenY, const int* rawX,
    const int* rawY, int coeffs[kCalibrationCoefficientCount])
{
    // Sums of the normal equations.
    LARGENUM sxx, sxy, sx, syy, sy; // raw against raw
    LARGENUM sXxs, sYxs, sxs; // raw against screen x
    LARGENUM sXys, sYys, sys; // raw against screen y
    LARGENUM count;
    LargeNumSet(&count, n);

    LARGENUM x, y, xs, ys, t;
    for (int i = 0; i < n; ++i) {
        LargeNumSet(&x, rawX[i]);
        LargeNumSet(&y, rawY[i]);
        LargeNumSet(&xs, screenX[i]);
        LargeNumSet(&ys, screenY[i]);

        LargeNumAdd(&sxx, LargeNumMult(&x, &x, &t), &sxx);
        LargeNumAdd(&sxy, LargeNumMult(&x, &y, &t), &sxy);
        LargeNumAdd(&sx, &x, &sx);
        LargeNumAdd(&syy, LargeNumMult(&y, &y, &t), &syy);
        LargeNumAdd(&sy, &y, &sy);
        LargeNumAdd(&sXxs, LargeNumMult(&x, &xs, &t), &sXxs);
        LargeNumAdd(&sYxs, LargeNumMult(&y, &xs, &t), &sYxs);
        LargeNumAdd(&sxs, &xs, &sxs);
        LargeNumAdd(&sXys, LargeNumMult(&x, &ys, &t), &sXys);
        LargeNumAdd(&sYys, LargeNumMult(&y, &ys, &t), &sYys);
        LargeNumAdd(&sys, &ys, &sys);
    }

    // Cramer's rule on
    //     | sxx sxy sx |
    //     | sxy syy sy |
    //     | sx  sy  n  |
    // with one column at a time replaced by the right-hand side.
    MATRIX33 m;
    auto restoreMatrix = [&]() {
        setColumn(&m, 0, &sxx, &sxy, &sx);
        setColumn(&m, 1, &sxy, &syy, &sy);
        setColumn(&m, 2, &sx, &sy, &count);
    };
    LARGENUM delta, a1, b1, c1, a2, b2, c2;

    restoreMatrix();
    ComputeMatrix33(&delta, &m);

    setColumn(&m, 0, &sXxs, &sYxs, &sxs);
    ComputeMatrix33(&a1, &m);
    restoreMatrix();
    setColumn(&m, 1, &sXxs, &sYxs, &sxs);
    ComputeMatrix33(&b1, &m);
    restoreMatrix();
    setColumn(&m, 2, &sXxs, &sYxs, &sxs);
    ComputeMatrix33(&c1, &m);

    restoreMatrix();
    setColumn(&m, 0, &sXys, &sYys, &sys);
    ComputeMatrix33(&a2, &m);
    restoreMatrix();
    setColumn(&m, 1, &sXys, &sYys, &sys);
    ComputeMatrix33(&b2, &m);
    restoreMatrix();
    setColumn(&m, 2, &sXys, &sYys, &sys);
    ComputeMatrix33(&c2, &m);

    // Half of delta on the offsets rounds the calibrated pixel to nearest.
    // For a negative delta the division by -2 rounds away from zero, so the
    // term is never negative.
    LARGENUM half;
    LargeNumDivInt32(&delta, IsLargeNumNegative(&delta) ? -2 : 2, &half);
    LargeNumAdd(&c1, &half, &c1);
    LargeNumAdd(&c2, &half, &c2);

    int shift = 0;
    shift = maxInt(shift, LargeNumBits(&a1) - kWeightBits);
    shift = maxInt(shift, LargeNumBits(&b1) - kWeightBits);
    shift = maxInt(shift, LargeNumBits(&a2) - kWeightBits);
    shift = maxInt(shift, LargeNumBits(&b2) - kWeightBits);
    shift = maxInt(shift, LargeNumBits(&c1) - kOffsetBits);
    shift = maxInt(shift, LargeNumBits(&c2) - kOffsetBits);
    shift = maxInt(shift, LargeNumBits(&delta) - kDeltaBits);
    if (shift > 0) {
        LargeNumRAShift(&a1, shift);
        LargeNumRAShift(&a2, shift);
        LargeNumRAShift(&b1, shift);
        LargeNumRAShift(&b2, shift);
        LargeNumRAShift(&c1, shift);
        LargeNumRAShift(&c2, shift);
        LargeNumRAShift(&delta, shift);
    }

    // Kept: word 0 is taken as the coefficient. After a shift it holds the
    // two's complement; without one (tiny, unrealistic point sets) a negative
    // coefficient loses its sign; kept so that the coefficients stay the same.
    coeffs[kCoeffA1] = static_cast<int>(a1.word[0]);
    coeffs[kCoeffB1] = static_cast<int>(b1.word[0]);
    coeffs[kCoeffC1] = static_cast<int>(c1.word[0]);
    coeffs[kCoeffA2] = static_cast<int>(a2.word[0]);
    coeffs[kCoeffB2] = static_cast<int>(b2.word[0]);
    coeffs[kCoeffC2] = static_cast<int>(c2.word[0]);
    coeffs[kCoeffDelta] = static_cast<int>(delta.word[0]);
}

int TouchPanelSetCalibration(int n, int* screenX, int* screenY, int* rawX, int* rawY, int* coeffs)
{
    printf("calibrating %d point set\r\n", n);
    // Kept: an empty point set counts as success and only drops the current
    // calibration.
    if (n == 0) {
        s_calibration.valid = 0;
        return 1;
    }

    int c[kCalibrationCoefficientCount];
    computeCalibrationCoefficients(n, screenX, screenY, rawX, rawY, c);
    for (int i = 0; i < kCalibrationCoefficientCount; ++i)
        s_calibration.coeff[i] = c[i];
    if (coeffs) {
        for (int i = 0; i < kCalibrationCoefficientCount; ++i)
            coeffs[i] = c[i];
    }

    // The installed divisor is tested rather than the wide one: a zero here
    // is what would make every later calibrated point divide by zero.
    if (s_calibration.coeff[kCoeffDelta] == 0) {
        puts("TouchPanelSetCalibration: delta of 0 invalid ");
        puts("\tCalibration failed.");
        s_calibration.coeff[kCoeffDelta] = 1;
        s_calibration.valid = 0;
    } else {
        s_calibration.valid = 1;
    }
    return ErrorAnalysis(n, screenX, screenY, rawX, rawY);
}

void TouchPanelCalibrateAPoint(int rawX, int rawY, int* outX, int* outY)
{
    if (!s_calibration.valid) {
        *outX = rawX;
        *outY = rawY;
        return;
    }
    const int* c = s_calibration.coeff;
    *outX = applyAxis(c[kCoeffA1], c[kCoeffB1], c[kCoeffC1], c[kCoeffDelta], rawX, rawY);
    *outY = applyAxis(c[kCoeffA2], c[kCoeffB2], c[kCoeffC2], c[kCoeffDelta], rawX, rawY);
}

bool calibrationErrorAcceptable(unsigned maxSquaredError)
{
    return kErrorThreshold * kErrorThreshold > maxSquaredError;
}

int ErrorAnalysis(int n, int* screenX, int* screenY, int* rawX, int* rawY)
{
    unsigned maxError = 0;
    for (int i = 0; i < n; ++i) {
        int x = 0;
        int y = 0;
        TouchPanelCalibrateAPoint(rawX[i], rawY[i], &x, &y);
        x /= 4;
        y /= 4;
        printf("(%4d, %4d) => (%4d, %4d) \n", screenX[i], screenY[i], x, y);
        // Squared in 32 unsigned bits, as the device does; wraps only for
        // points hopelessly far off.
        const uint32_t dx = static_cast<uint32_t>(x) - static_cast<uint32_t>(screenX[i]);
        const uint32_t dy = static_cast<uint32_t>(y) - static_cast<uint32_t>(screenY[i]);
        const uint32_t e = dx * dx + dy * dy;
        if (e > maxError)
            maxError = e;
    }
    printf("Maximum error (square of Euclidean distance in screen units) = %u \n", maxError);
    if (calibrationErrorAcceptable(maxError))
        return 1;
    // Kept: the message names the unsquared threshold, which the check squares.
    printf("Maximum error %u exceeds calibration threshold %u \n", maxError, kErrorThreshold);
    return 0;
}

const TouchCalibration& currentTouchCalibration()
{
    return s_calibration;
}
