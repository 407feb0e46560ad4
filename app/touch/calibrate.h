#pragma once
// Least-squares calibration of the resistive touch panel: the affine map from
// raw panel coordinates to screen coordinates that best fits n touches at
// known targets, as seven 32-bit integers, and the calibration the process
// currently applies.
//
// A calibrated point, in quarter pixels, is
//     x = 4 * (a1 * X + b1 * Y + c1) / delta
//     y = 4 * (a2 * X + b2 * Y + c2) / delta
// for raw coordinates X and Y of up to 12 bits.

#include "touch/largenum.h"

// Positions in every coefficient array: the solver's output, the calibration
// file and the touch driver's requests all use this order.
enum CalibrationCoefficient {
    kCoeffA1 = 0, // weight of raw x in screen x
    kCoeffB1 = 1, // weight of raw y in screen x
    kCoeffC1 = 2, // offset of screen x
    kCoeffA2 = 3, // weight of raw x in screen y
    kCoeffB2 = 4, // weight of raw y in screen y
    kCoeffC2 = 5, // offset of screen y
    kCoeffDelta = 6, // common divisor
    kCalibrationCoefficientCount = 7,
};

// The calibration the process applies; valid 0 passes raw points through.
struct TouchCalibration {
    int valid { 0 };
    int coeff[kCalibrationCoefficientCount] { 0, 0, 0, 0, 0, 0, 0 };
};

// Determinant of m (rule of Sarrus in a fixed order of wide operations) into
// result; returns result.
LARGENUM* ComputeMatrix33(LARGENUM* result, MATRIX33* m);

// Fits the n points, installs the result as the current calibration (even if
// the check below then fails) and copies the coefficients to coeffs when it
// is not null. Prints "calibrating <n> point set" first. Returns 1 when every
// point lands within the error threshold, else 0; n = 0 removes the current
// calibration and returns 1. Points that leave the fit undetermined (delta 0)
// leave the calibration invalid, and the check then runs on raw values.
int TouchPanelSetCalibration(int n, int* screenX, int* screenY, int* rawX, int* rawY, int* coeffs);

// Applies the current calibration to one raw point; results in quarter
// pixels, negative results reported as 0. Without a calibration the raw
// values come back unchanged.
void TouchPanelCalibrateAPoint(int rawX, int rawY, int* outX, int* outY);

// Prints each target beside its calibrated pixel and the worst squared
// distance; returns 1 if that is below the threshold, else 0 after printing
// the threshold message.
int ErrorAnalysis(int n, int* screenX, int* screenY, int* rawX, int* rawY);

// The arithmetic of TouchPanelSetCalibration alone: the seven coefficients of
// the fit, without printing and without touching the current calibration.
void computeCalibrationCoefficients(int n, const int* screenX, const int* screenY, const int* rawX,
    const int* rawY, int coeffs[kCalibrationCoefficientCount]);

// The worst squared pixel distance a calibration may leave: below 10 * 10.
bool calibrationErrorAcceptable(unsigned maxSquaredError);

// The calibration currently applied by TouchPanelCalibrateAPoint.
const TouchCalibration& currentTouchCalibration();
