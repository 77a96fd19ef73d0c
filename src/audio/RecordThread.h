// The record thread of the recording console: it reads the input device block by block from the
// moment the console opens until it closes, converts each block to working floats for the meters
// and the monitor, and, while the console is not paused, appends the block's raw PCM to the take
// and its 256-frame peak records to the take's peaks, so that no peak pass is needed afterwards.
//
// The loop allocates nothing and takes no lock but the streams' own around each write; it runs at
// real-time priority where the system grants it.
#pragma once

#include <cstdint>

namespace tw {

struct RecordRequest;

// Converts `frames` frames of `channels`-channel little-endian PCM of `bits` (8 unsigned, 16, 24
// packed, 32 signed) into interleaved floats in `samples`, with the widths' exact scales (1/128,
// 1/32768, 1/8388608, 1/2147483648; 8-bit samples are centred on 128 first). For each whole group
// of 256 frames it writes one peak record into `records`: for every channel the float minimum then
// the float maximum, starting from 1.0 and -1.0. `peak0` and `peak1` receive the largest absolute
// sample of channels 0 and 1 (0 where a channel does not exist). False, with nothing written, for
// a width other than 8, 16, 24 or 32 or a channel count outside 1..8.
bool ConvertRecordedBlock(const uint8_t* pcm, int32_t bits, int32_t channels, int32_t frames, float* samples,
                          float* records, float& peak0, float& peak1);

// Moves the calling thread to the real-time FIFO class, in the middle of its range: ahead of every
// ordinary thread, so a busy machine does not make the input overrun. False, with the thread left
// as it was, where the system refuses (no privilege, no real-time scheduling).
bool RaiseToRealTimePriority();

// The thread itself; `request` must stay until it has set threadEnded, its last act.
// 1. The monitor: the output of Audio / OutputDevice opened with 100 ms of latency; without it
//    (none, or it does not open) the thread goes on and monitoring stays silent.
// 2. The input `request->inputDevice` in the request's format with framesPerBlock per block; when
//    it cannot be made, opened or started the thread ends at once.
// 3. Until the stop flag: Read a block (a Read that fails, the device gone, ends the loop as a
//    stop does), convert it and set the two peaks, Write it to the monitor when monitoring (a
//    monitor that fails once is not written again), and unless paused write the PCM and the peak
//    records to the two streams and count the frames; a failed write sets the stop flag, and what
//    was written before stays.
void RecordThreadProc(RecordRequest* request);

} // namespace tw
