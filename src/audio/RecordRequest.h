// What the recording console shares with its record thread: the two streams the take goes to, the
// flags by which the console steers the thread, the peaks the thread leaves for the meters, the
// format and the devices, and how far the take has come.
//
// Ownership: the console owns the request; the streams and the device manager belong to whoever
// made the console and outlive it. The thread reads the request from its start until it sets
// `threadEnded`, its last act.
//
// Threads: the flags, peaks and the frame count are atomics touched by both sides without a lock
// (a meter may lag one block behind). The streams belong to the thread while recording; the
// console moves their positions ("Go to") only while paused, under the streams' own locks, which the
// thread takes around each write, so a pause pressed in the middle of a write cannot race a seek.
#pragma once

#include <tidework/wavefmt.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace tw {

class CAudioDeviceMgr;
class CAudioIn;
class CAudioOut;
class IBasicIO;

struct RecordRequest {
    int32_t framesPerBlock = 0;
    IBasicIO* pcm = nullptr;   // raw PCM in the format below; not owned
    IBasicIO* peaks = nullptr; // 256-frame peak records; not owned
    // Set by the console to end the thread (always together with `paused`, paused first).
    std::atomic<uint8_t> stop{0};
    // While set the thread meters and monitors but writes nothing; a console starts paused.
    std::atomic<uint8_t> paused{1};
    // Set by the thread as its last act, also when it could not start.
    std::atomic<uint8_t> threadEnded{0};
    // The input is played to the output device as it comes in.
    std::atomic<uint8_t> monitoring{0};
    // Absolute peaks of channels 0 and 1 in the last block read (channel 1 stays 0 for mono).
    std::atomic<float> peak0{0.0f};
    std::atomic<float> peak1{0.0f};
    WAVEFORMATEX format{};
    int32_t inputDevice = 0;                // global number in the chain
    CAudioDeviceMgr* devices = nullptr;     // the chain's head; not owned
    std::atomic<int64_t> framesRecorded{0}; // the streams' position in frames

    // The devices the thread holds while it runs, so that a console that gave up waiting for the
    // thread can stop them from its own thread (their Stop makes a blocked Read or Write return).
    // The thread clears them under the lock before it deletes them.
    std::mutex deviceLock;
    CAudioIn* input = nullptr;
    CAudioOut* output = nullptr;
};

// Frames per block of the record thread: about 65 ms, rounded up to whole 256-frame peak records
// (x = rate * 65 / 1000; x - x % 256 + 256, so an exact multiple still gains a record).
constexpr int32_t RecordFramesPerBlock(int32_t rate) {
    const int32_t x = static_cast<int32_t>(static_cast<int64_t>(rate) * 65 / 1000);
    return x - x % 256 + 256;
}

} // namespace tw
