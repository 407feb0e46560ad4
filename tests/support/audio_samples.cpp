#include "audio_samples.h"

namespace lumitest {

std::string upsampled(const std::string& recording, size_t size)
{
    std::string out;
    for (size_t i = 0; i + 1 < recording.size(); i += 2)
        for (int r = 0; r < 12; ++r)
            out.append(recording, i, 2);
    out.resize(size, '\0');
    return out;
}

}
