#include "platform/millisec_tick.h"

#include <lumi/clock.h>

unsigned int millisec_tick()
{
    // The low 32 bits: the wrap of the device's 32-bit arithmetic.
    return static_cast<unsigned int>(lumi::wallClockMs());
}
