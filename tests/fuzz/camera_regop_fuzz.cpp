// Arbitrary bytes as the boot environment's "camera_up" register program,
// applied to a window with guard bytes on both sides. Checks that nothing
// outside the window is written, that the counts add up, and that the
// program's own entry (with its fixed window) stays inside it too.

#include "testfun/camera_regop.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xC3;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1 << 16)
        return 0;
    // The value comes from a zero-filled buffer: it always ends.
    std::string text(reinterpret_cast<const char*>(data), size);
    text = text.c_str();

    std::vector<unsigned char> memory(kGuard + CAMERA_REG_WINDOW + kGuard, kGuardByte);
    unsigned char* regs = memory.data() + kGuard;
    int skipped = -1;
    const int written = applyRegisterProgram(text.c_str(), regs, CAMERA_REG_WINDOW, &skipped);
    require(written >= 0 && skipped >= 0);
    // An operation takes at least its op character.
    require(static_cast<size_t>(written) + static_cast<size_t>(skipped) <= text.size());
    for (size_t i = 0; i < kGuard; ++i)
        require(memory[i] == kGuardByte && memory[kGuard + CAMERA_REG_WINDOW + i] == kGuardByte);

    // Applying the same program again to a window of a smaller size writes
    // no more than it did and keeps within the smaller window.
    std::vector<unsigned char> small(16 + kGuard, kGuardByte);
    const int again = applyRegisterProgram(text.c_str(), small.data(), 16);
    require(again <= written);
    for (size_t i = 16; i < small.size(); ++i)
        require(small[i] == kGuardByte);

    std::vector<unsigned char> window(CAMERA_REG_WINDOW, 0);
    std::vector<char> ops(text.begin(), text.end());
    ops.push_back('\0');
    excute_reg_op(ops.data(), window.data());
    return 0;
}
