// The two halves of a render, reading the document and writing into the sink, on two threads:
// while the sink converts and writes one block, the next ones are read. Internal to
// CEditedMedia::Render.
//
// The reader fills a short ring of blocks in order and the writer (the thread that called
// Render) empties it in the same order, so a sink gets exactly the blocks, and in the order, of a
// plain loop. Only the writer reads the cancel flag, as a plain loop would, once per block: it
// stops there or at a refused block, and then stops the reader and waits for it before it
// returns; the reader stops by itself only at the end. Where no second thread can be had, the same two steps
// run one after the other.
#pragma once

#include "core/MediaData.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <pthread.h>
#include <system_error>
#include <thread>

namespace tw {

class CTransformBase;

// One block on its way: the block read, what the post-effects made of it (the block itself, a
// block of theirs, or nothing), and what the writer is to do along with it.
struct RenderBlock {
    CMediaData block;
    CMediaData* out = nullptr;
    CTransformBase* last = nullptr; // the event's last read instance when the block was read
    bool endsPass = false;          // the block ends the section

    RenderBlock() = default;
    RenderBlock(const RenderBlock&) = delete;
    RenderBlock& operator=(const RenderBlock&) = delete;
    ~RenderBlock() { Release(); }
    void Release() {
        if (out != &block)
            delete out;
        out = nullptr;
    }
};

// `read(RenderBlock&)` fills a block and sets `finished` after the last one; `write(RenderBlock&)`
// hands it on and gives 0, or the sink's refusal. True unless a block was refused. An exception
// of the reader reaches the caller, after the writer has stopped.
template <class Read, class Write>
bool RenderPipeline(int64_t blockFrames, int32_t frameSize, Read& read, Write& write, const bool& finished,
                    const std::atomic<uint8_t>& cancel) {
    // Eight blocks of 50 ms: enough to keep the writer busy, little enough that a stop or a change
    // of the document is not heard long after. A side that has to wait sleeps until the other has
    // made half the ring ready, not just one block: waking a thread costs more than a block.
    constexpr int kBlocks = 8;
    constexpr int kHalf = kBlocks / 2;
    RenderBlock ring[kBlocks];
    for (RenderBlock& slot : ring)
        slot.block.Allocate(blockFrames, frameSize);

    std::mutex lock;
    std::condition_variable readerWait;
    std::condition_variable writerWait;
    int filled = 0;
    bool readerAsleep = false;
    bool writerAsleep = false;
    bool stop = false;
    bool over = false;
    std::exception_ptr failure;

    auto reader = [&] {
        pthread_setname_np(pthread_self(), "tw-render-read");
        try {
            for (int head = 0;; head = (head + 1) % kBlocks) {
                {
                    std::unique_lock<std::mutex> guard(lock);
                    if (!stop && filled == kBlocks) {
                        readerAsleep = true;
                        readerWait.wait(guard, [&] { return stop || filled <= kHalf; });
                        readerAsleep = false;
                    }
                    if (stop)
                        break;
                }
                read(ring[head]);
                bool wake;
                {
                    std::lock_guard<std::mutex> guard(lock);
                    ++filled;
                    wake = writerAsleep && filled >= kHalf;
                }
                if (wake)
                    writerWait.notify_one();
                if (finished)
                    break;
            }
        } catch (...) {
            failure = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> guard(lock);
            over = true;
        }
        writerWait.notify_one();
    };

    std::thread thread;
    try {
        thread = std::thread(reader);
    } catch (const std::system_error&) {
        // No second thread: read and write by turns.
        while (cancel.load(std::memory_order_relaxed) == 0) {
            read(ring[0]);
            if (write(ring[0]) != 0)
                return false;
            if (finished)
                break;
        }
        return true;
    }

    bool ok = true;
    for (int tail = 0;; tail = (tail + 1) % kBlocks) {
        {
            std::unique_lock<std::mutex> guard(lock);
            if (filled == 0 && !over) {
                writerAsleep = true;
                writerWait.wait(guard, [&] { return filled >= kHalf || over; });
                writerAsleep = false;
            }
            if (filled == 0)
                break;
        }
        if (cancel.load(std::memory_order_relaxed) != 0)
            break;
        if (write(ring[tail]) != 0) {
            ok = false;
            break;
        }
        bool wake;
        {
            std::lock_guard<std::mutex> guard(lock);
            --filled;
            wake = readerAsleep && filled <= kHalf;
        }
        if (wake)
            readerWait.notify_one();
    }
    {
        std::lock_guard<std::mutex> guard(lock);
        stop = true;
    }
    readerWait.notify_one();
    thread.join();
    if (failure)
        std::rethrow_exception(failure);
    return ok;
}

} // namespace tw
