#pragma once
// The pure parts of the audio test, free of the toolkit and of devices so that
// they can be tested and fuzzed on their own: the numbers of the recording and
// the playback, the check of the module list, and the up-sampling of the
// recording into the playback buffer.

#include <cstddef>
#include <cstdint>

// The recording: 8000 Hz, one channel, 16-bit, three seconds (rate x
// channels x 6 bytes), read from the DSP in blocks of 320 bytes.
constexpr int kAudioRate = 8000;
constexpr int kAudioChannels = 1;
constexpr size_t kRecordBytes = static_cast<size_t>(kAudioRate) * kAudioChannels * 6;
constexpr size_t kRecordBlock = 320;

// The playback: each 16-bit sample repeated twelve times (six times the rate,
// two channels), 576000 bytes written in blocks of 2048. The buffer is sized
// to whole blocks (282 x 2048 = 577536) so that the last write stays inside
// it; the part past 576000 is never filled and stays silent.
constexpr int kUpsampleRepeat = 12;
constexpr size_t kPlaybackBytes = kRecordBytes * kUpsampleRepeat;
constexpr size_t kTransferBlock = 2048;
constexpr size_t kPlaybackBufferBytes
    = (kPlaybackBytes + kTransferBlock - 1) / kTransferBlock * kTransferBlock;
// Only the first half of the buffer is cleared before each playback (kept:
// a recording is never shorter than that on a working device, and the
// program has always cleared this much).
constexpr size_t kPlaybackClearBytes = 288000;

// The kernel module list's size the test reads and the codec driver it looks for.
constexpr size_t kLsmodReadBytes = 1024;
extern const char kAc97Module[];

// True when the text of the module list (up to its first zero byte, at most
// size bytes) names the AC97 codec driver.
bool lsmodListsAc97(const char* data, size_t size);

// Up-samples data (16-bit samples; an odd last byte is dropped) into buffer
// from position at: each sample written kUpsampleRepeat times in a row.
// Nothing is written at or past limit (at most capacity): samples that do not
// fit whole are dropped. Returns the position after the last sample written.
size_t upsampleInto(uint8_t* buffer, size_t limit, size_t at, const uint8_t* data, size_t size);
