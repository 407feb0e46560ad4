#pragma once
// What the audio test item must play back for a recording, for the tests
// that check its playback on a fake DSP and on the board.

#include <cstddef>
#include <string>

namespace lumitest {

// The playback of a 16-bit recording as the item writes it: each sample
// twelve times, then silence up to size bytes.
std::string upsampled(const std::string& recording, size_t size);

}
