// The looping ring played into a PulseAudio playback stream: the system's counterpart of a sound
// card's looping secondary buffer. A feeder thread hands the server what the stream asks for, read
// from the ring behind the play cursor and round and round, and moves the cursor as the server
// reports what it has played (the stream's clock, asked for every round), so the cursor is where
// the sound is heard, a few milliseconds late at most and never early.
// The feeder always has something to give (the ring loops whatever it holds, as a card does), so
// the stream does not run dry while the writer is late.
//
// A stream whose sink disappears or whose server dies is lost: the feeder marks the ring lost
// (every notification event is set, the cursor stands) and Play refuses. The stream never moves
// to another sink: sound from a device that was unplugged must not come out of the speakers.
//
// Threads: as CLoopingRing; Connect and Disconnect from the owning thread. The feeder takes the
// connection's lock for each round, and the ring's lock while it copies.
#pragma once

#include "audio/LoopingRing.h"
#include "audio/PulseConnection.h"

#include <pulse/sample.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

struct pa_operation;
struct pa_stream;

namespace tw {

class CLoopingBuffer : public CLoopingRing {
public:
    // How often the feeder looks at the stream: the cursor moves in steps of about this size.
    static constexpr int32_t kFeedMs = 5;
    // The most the server holds ahead of the cursor (less for small rings: a quarter of the ring),
    // which is also how long the sound goes on after the ring has been silenced.
    static constexpr int32_t kMaxAheadMs = 100;

    CLoopingBuffer(const WaveFormatExtensible& format, uint32_t bufferBytes);
    ~CLoopingBuffer() override; // disconnects

    // Makes the stream on sink `sink` (the server's name; empty: the default sink), stopped, and
    // starts the feeder. False, with nothing held, for a format PulseAudio cannot take (8-bit
    // unsigned, 16-, 24- or 32-bit signed integer), a connection that is not up, a sink that does
    // not exist, or a server that did not answer within `timeoutMs`.
    bool Connect(std::shared_ptr<CPulseConnection> connection, const std::string& sink,
                 int32_t timeoutMs = CPulseConnection::kTimeoutMs);
    // Stops the feeder and releases the stream; the ring stays. Called by the destructor.
    void Disconnect();

    bool Play() override;
    void Stop() override;

private:
    void FeedThread();
    // One round: check the stream, top up the server, move the cursor.
    void Feed();
    void WakeFeeder();
    // Asks the server for a fresh report of the stream's clock; caller holds the connection's lock.
    void RequestTiming();

    std::shared_ptr<CPulseConnection> m_connection;
    pa_stream* m_stream = nullptr;
    pa_operation* m_timing = nullptr; // the clock report asked for last
    pa_sample_spec m_spec{};
    uint32_t m_frameBytes = 1;
    int64_t m_taken = 0; // bytes handed to the server since Connect (feeder thread)
    std::thread m_thread;
    std::mutex m_wakeMutex;
    std::condition_variable m_wake;
    bool m_quit = false;
    bool m_kick = false;
};

} // namespace tw
