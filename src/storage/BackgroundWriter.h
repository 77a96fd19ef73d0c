// Writes blocks into an IBasicIO on a thread of its own, in the order they were handed in, so
// that the thread which makes them (a sink quantising a render) does not also wait for the
// system's writes. Blocks are gathered into buffers of 128 KB, each one write; a ring of four
// bounds the memory and makes the producer wait when the writer falls behind. Bytes reach the
// target (and the count) a buffer at a time.
//
// After the first failed write nothing more is written: the rest is dropped and Finish reports
// the failure. One producer thread calls Acquire, Submit, Failed and Finish; the IBasicIO must
// not be used by anyone else until Finish has returned.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace tw {

class IBasicIO;

class CBackgroundWriter {
public:
    CBackgroundWriter() = default;
    ~CBackgroundWriter() { Finish(); }
    CBackgroundWriter(const CBackgroundWriter&) = delete;
    CBackgroundWriter& operator=(const CBackgroundWriter&) = delete;

    // Starts the thread; each successful write adds its size to `written`. False (and nothing
    // started) when no thread can be had: the caller then writes by itself.
    bool Start(IBasicIO* target, std::atomic<uint32_t>* written);
    bool Running() const { return m_thread.joinable(); }

    // Room for `bytes` to fill, then hand in with Submit(bytes). May wait while all buffers are
    // queued.
    uint8_t* Acquire(size_t bytes);
    void Submit(size_t bytes);
    // A write has failed; what was handed in since is dropped.
    bool Failed() const { return m_failed.load(); }
    // Writes what is queued and ends the thread; false if a write failed since Start. True when
    // nothing runs.
    bool Finish();

private:
    static constexpr int kBuffers = 4;
    static constexpr size_t kGather = 128 * 1024;
    void Queue(); // hands the buffer being filled to the writer
    void Run();

    struct Slot {
        std::vector<uint8_t> bytes;
        size_t used = 0;
    };
    Slot m_ring[kBuffers];
    int m_head = 0;    // the slot being filled (producer only)
    size_t m_fill = 0; // bytes in it so far
    int m_tail = 0;    // next slot to write (writer only)
    int m_queued = 0;
    bool m_end = false;
    bool m_writerAsleep = false;
    bool m_producerAsleep = false;
    std::atomic<bool> m_failed{false};
    IBasicIO* m_target = nullptr;
    std::atomic<uint32_t>* m_written = nullptr;
    std::mutex m_lock;
    std::condition_variable m_writerWait;
    std::condition_variable m_producerWait;
    std::thread m_thread;
};

} // namespace tw
