// Feeds arbitrary bytes to the BMP and PNG decoders: they must never read or
// write out of bounds, leak, accept a picture beyond the size limit, or
// refuse one without saying why.

#include "image_decode.h"

#include <lumi/gdi.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

volatile unsigned g_sink = 0;   // keeps the pixel reads below from being optimised away

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string error;
    std::unique_ptr<Bitmap> bitmap(lumi::decodeImage(data, size, error));
    if (!bitmap) {
        if (error.empty())
            std::abort();
        return 0;
    }
    if (bitmap->isNull() || bitmap->width() < 1 || bitmap->width() > lumi::kMaxImageSide
        || bitmap->height() < 1 || bitmap->height() > lumi::kMaxImageSide)
        std::abort();
    // Read the whole picture so that a short allocation shows up under ASan.
    const auto* bytes = reinterpret_cast<const uint8_t*>(bitmap->bits());
    unsigned sum = 0;
    for (size_t i = 0; i < static_cast<size_t>(bitmap->stride()) * bitmap->height(); ++i)
        sum += bytes[i];
    g_sink = sum;
    return 0;
}
