// Cost of one five-point touch calibration, as the calibration window runs it
// after the fifth target: the wide-integer solver, the error check and its
// printed lines (sent to /dev/null while measuring).

#include "touch/calibrate.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace {

// The device's five targets on 800x480 and raw samples of a typical panel
// (mirrored x axis, a little skew and noise).
int s_screenX[5] = { 50, 750, 750, 50, 400 };
int s_screenY[5] = { 50, 50, 430, 430, 240 };
int s_rawX[5] = { 3850, 310, 318, 3842, 2079 };
int s_rawY[5] = { 402, 431, 3611, 3583, 2005 };

// Sends stdout to /dev/null for as long as it lives, so that the solver's
// lines neither flood the report nor cost terminal time.
class QuietStdout {
public:
    QuietStdout()
    {
        fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (devNull >= 0) {
            dup2(devNull, STDOUT_FILENO);
            close(devNull);
        }
    }
    ~QuietStdout()
    {
        fflush(stdout);
        if (m_saved >= 0) {
            dup2(m_saved, STDOUT_FILENO);
            close(m_saved);
        }
    }
    QuietStdout(const QuietStdout&) = delete;
    QuietStdout& operator=(const QuietStdout&) = delete;

private:
    int m_saved { -1 };
};

void BM_FivePointCalibration(benchmark::State& state)
{
    int coeffs[kCalibrationCoefficientCount] {};
    int passed = 0;
    {
        QuietStdout quiet;
        for (auto _ : state) {
            passed = TouchPanelSetCalibration(5, s_screenX, s_screenY, s_rawX, s_rawY, coeffs);
            benchmark::DoNotOptimize(coeffs);
        }
    }
    if (passed != 1)
        state.SkipWithError("the benchmark's point set no longer passes the error check");
}
BENCHMARK(BM_FivePointCalibration);

void BM_FivePointSolverArithmetic(benchmark::State& state)
{
    int coeffs[kCalibrationCoefficientCount] {};
    for (auto _ : state) {
        computeCalibrationCoefficients(5, s_screenX, s_screenY, s_rawX, s_rawY, coeffs);
        benchmark::DoNotOptimize(coeffs);
    }
}
BENCHMARK(BM_FivePointSolverArithmetic);

void BM_CalibrateOnePoint(benchmark::State& state)
{
    {
        QuietStdout quiet;
        TouchPanelSetCalibration(5, s_screenX, s_screenY, s_rawX, s_rawY, nullptr);
    }
    int x = 0;
    int y = 0;
    int raw = 0;
    for (auto _ : state) {
        TouchPanelCalibrateAPoint(raw, 4095 - raw, &x, &y);
        benchmark::DoNotOptimize(x);
        benchmark::DoNotOptimize(y);
        raw = (raw + 7) & 4095;
    }
}
BENCHMARK(BM_CalibrateOnePoint);

} // namespace

BENCHMARK_MAIN();
