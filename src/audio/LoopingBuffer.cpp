#include "audio/LoopingBuffer.h"

#include "platform/Event.h"

#include <pulse/channelmap.h>
#include <pulse/context.h>
#include <pulse/operation.h>
#include <pulse/stream.h>
#include <pulse/timeval.h>

#include <algorithm>
#include <chrono>

namespace tw {

namespace {

constexpr uint32_t kPollMs = 2;

// Speaker bits of the extensible format's mask, in bit order.
constexpr pa_channel_position_t kSpeakerPositions[] = {
    PA_CHANNEL_POSITION_FRONT_LEFT,
    PA_CHANNEL_POSITION_FRONT_RIGHT,
    PA_CHANNEL_POSITION_FRONT_CENTER,
    PA_CHANNEL_POSITION_LFE,
    PA_CHANNEL_POSITION_REAR_LEFT,
    PA_CHANNEL_POSITION_REAR_RIGHT,
    PA_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER,
    PA_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER,
    PA_CHANNEL_POSITION_REAR_CENTER,
    PA_CHANNEL_POSITION_SIDE_LEFT,
    PA_CHANNEL_POSITION_SIDE_RIGHT,
    PA_CHANNEL_POSITION_TOP_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_LEFT,
    PA_CHANNEL_POSITION_TOP_FRONT_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_RIGHT,
    PA_CHANNEL_POSITION_TOP_REAR_LEFT,
    PA_CHANNEL_POSITION_TOP_REAR_CENTER,
    PA_CHANNEL_POSITION_TOP_REAR_RIGHT,
};

bool SampleSpecOf(const WaveFormatExtensible& format, pa_sample_spec& spec) {
    const WAVEFORMATEX& f = format.Format;
    switch (f.wBitsPerSample) {
    case 8:
        spec.format = PA_SAMPLE_U8;
        break;
    case 16:
        spec.format = PA_SAMPLE_S16LE;
        break;
    case 24:
        spec.format = PA_SAMPLE_S24LE; // packed, three bytes a sample
        break;
    case 32:
        spec.format = PA_SAMPLE_S32LE;
        break;
    default:
        return false;
    }
    spec.rate = f.nSamplesPerSec;
    spec.channels = static_cast<uint8_t>(f.nChannels);
    return f.nChannels >= 1 && f.nChannels <= PA_CHANNELS_MAX && pa_sample_spec_valid(&spec) != 0 &&
           pa_frame_size(&spec) == f.nBlockAlign;
}

// The speakers of the mask in bit order, one per channel. A mask that names fewer speakers than
// there are channels (0 for odd counts) leaves the order to the format's standard layout, as a
// card would.
void ChannelMapOf(const WaveFormatExtensible& format, pa_channel_map& map) {
    const int channels = format.Format.nChannels;
    const uint32_t mask = format.Format.wFormatTag == kWaveFormatExtensible ? format.dwChannelMask : 0;
    if (channels == 1 && (mask == 0 || mask == 4)) {
        pa_channel_map_init_mono(&map);
        return;
    }
    pa_channel_map_init(&map);
    map.channels = static_cast<uint8_t>(channels);
    int placed = 0;
    for (size_t bit = 0; bit < std::size(kSpeakerPositions) && placed < channels; ++bit)
        if ((mask & (1u << bit)) != 0)
            map.map[placed++] = kSpeakerPositions[bit];
    if (placed < channels)
        pa_channel_map_init_extend(&map, static_cast<unsigned>(channels), PA_CHANNEL_MAP_WAVEEX);
}

} // namespace

CLoopingBuffer::CLoopingBuffer(const WaveFormatExtensible& format, uint32_t bufferBytes)
    : CLoopingRing(format, bufferBytes) {}

CLoopingBuffer::~CLoopingBuffer() {
    Disconnect();
}

bool CLoopingBuffer::Connect(std::shared_ptr<CPulseConnection> connection, const std::string& sink,
                             int32_t timeoutMs) {
    Disconnect();
    if (!connection || !connection->IsConnected())
        return false;
    pa_sample_spec spec{};
    if (!SampleSpecOf(GetFormat(), spec))
        return false;
    pa_channel_map map;
    ChannelMapOf(GetFormat(), map);
    if (!pa_channel_map_compatible(&map, &spec))
        return false;
    m_spec = spec;
    m_frameBytes = static_cast<uint32_t>(pa_frame_size(&spec));
    m_connection = std::move(connection);
    m_taken = 0;

    // The server holds little ahead of the cursor: what it holds still sounds after the ring has
    // been silenced, and is read ahead of the writer. A quarter of the ring keeps the feeder well
    // behind the writer even for small rings.
    const pa_usec_t ringUsec = pa_bytes_to_usec(GetBufferBytes(), &spec);
    const pa_usec_t aheadUsec = std::min<pa_usec_t>(ringUsec / 4, kMaxAheadMs * PA_USEC_PER_MSEC);
    pa_buffer_attr attr;
    attr.maxlength = static_cast<uint32_t>(-1);
    attr.tlength =
        std::max<uint32_t>(static_cast<uint32_t>(pa_usec_to_bytes(aheadUsec, &spec)), m_frameBytes);
    attr.prebuf = static_cast<uint32_t>(-1);
    attr.minreq = static_cast<uint32_t>(-1);
    attr.fragsize = static_cast<uint32_t>(-1);
    // Corked until Play; never moved to another sink (see the header). The clock is not
    // interpolated: a sink that is slow to start (a null sink asleep, a card waking from suspend)
    // reports itself running before it takes anything, and an interpolated clock would run ahead
    // of the sound, so that Drain ended before the tail was heard. The feeder asks for a report
    // every round instead.
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY |
                                                      PA_STREAM_DONT_MOVE);
    m_connection->Lock();
    m_stream = pa_stream_new(m_connection->GetContext(), "Playback", &spec, &map);
    const int connected = m_stream == nullptr
                              ? -1
                              : pa_stream_connect_playback(m_stream, sink.empty() ? nullptr : sink.c_str(),
                                                           &attr, flags, nullptr, nullptr);
    m_connection->Unlock();
    if (connected < 0) {
        Disconnect();
        return false;
    }

    const uint32_t start = GetTickCount();
    for (;;) {
        m_connection->Lock();
        const pa_stream_state_t state = pa_stream_get_state(m_stream);
        m_connection->Unlock();
        if (state == PA_STREAM_READY)
            break;
        if (!PA_STREAM_IS_GOOD(state) || GetTickCount() - start >= static_cast<uint32_t>(timeoutMs)) {
            Disconnect();
            return false;
        }
        Sleep(kPollMs);
    }

    {
        std::lock_guard<std::mutex> lock(m_wakeMutex);
        m_quit = false;
        m_kick = false;
    }
    m_thread = std::thread([this] { FeedThread(); });
    return true;
}

void CLoopingBuffer::Disconnect() {
    if (m_thread.joinable()) {
        {
            std::lock_guard<std::mutex> lock(m_wakeMutex);
            m_quit = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }
    CLoopingRing::Stop();
    if (m_stream != nullptr) {
        m_connection->Lock();
        if (m_timing != nullptr) {
            pa_operation_cancel(m_timing);
            pa_operation_unref(m_timing);
            m_timing = nullptr;
        }
        pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        m_stream = nullptr;
        m_connection->Unlock();
    }
    m_connection.reset();
}

bool CLoopingBuffer::Play() {
    if (m_stream == nullptr || IsLost())
        return false;
    m_connection->Lock();
    pa_operation* op = pa_stream_cork(m_stream, 0, nullptr, nullptr);
    if (op != nullptr)
        pa_operation_unref(op);
    m_connection->Unlock();
    // A stream that cannot take the request is gone; the feeder will say so on its next round.
    if (op == nullptr || !CLoopingRing::Play())
        return false;
    WakeFeeder();
    return true;
}

void CLoopingBuffer::Stop() {
    // The cursor stands from here on; what the server holds waits behind the cork for the next Play.
    CLoopingRing::Stop();
    if (m_stream == nullptr)
        return;
    m_connection->Lock();
    pa_operation* op = pa_stream_cork(m_stream, 1, nullptr, nullptr);
    if (op != nullptr)
        pa_operation_unref(op);
    m_connection->Unlock();
}

void CLoopingBuffer::WakeFeeder() {
    {
        std::lock_guard<std::mutex> lock(m_wakeMutex);
        m_kick = true;
    }
    m_wake.notify_all();
}

void CLoopingBuffer::FeedThread() {
    std::unique_lock<std::mutex> lock(m_wakeMutex);
    while (!m_quit) {
        lock.unlock();
        Feed();
        lock.lock();
        m_wake.wait_for(lock, std::chrono::milliseconds(kFeedMs), [this] { return m_quit || m_kick; });
        m_kick = false;
    }
}

void CLoopingBuffer::RequestTiming() {
    // One report at a time: a server that is slow to answer is not flooded.
    if (m_timing != nullptr) {
        if (pa_operation_get_state(m_timing) == PA_OPERATION_RUNNING)
            return;
        pa_operation_unref(m_timing);
    }
    m_timing = pa_stream_update_timing_info(m_stream, nullptr, nullptr);
}

void CLoopingBuffer::Feed() {
    if (IsLost())
        return;
    bool lost = false;
    m_connection->Lock();
    pa_context* context = m_connection->GetContext();
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) ||
        pa_stream_get_state(m_stream) != PA_STREAM_READY) {
        lost = true;
    } else if (IsPlaying()) {
        size_t want = pa_stream_writable_size(m_stream);
        if (want == static_cast<size_t>(-1)) {
            lost = true;
            want = 0;
        }
        // Never more than one turn of the ring at once, and whole frames only.
        want = std::min<size_t>(want, GetBufferBytes());
        want -= want % m_frameBytes;
        if (want > 0) {
            void* data = nullptr;
            size_t n = want;
            if (pa_stream_begin_write(m_stream, &data, &n) < 0 || data == nullptr) {
                lost = true;
            } else {
                n = std::min(n, want);
                n -= n % m_frameBytes;
                if (n == 0) {
                    pa_stream_cancel_write(m_stream);
                } else {
                    CopyOut(static_cast<uint8_t*>(data), m_taken, static_cast<uint32_t>(n));
                    if (pa_stream_write(m_stream, data, n, nullptr, 0, PA_SEEK_RELATIVE) < 0)
                        lost = true;
                    else
                        m_taken += static_cast<int64_t>(n);
                }
            }
        }
        // The stream's clock counts what the sink has played of all that was written, as of the
        // last report; it can not be ahead of what was handed over.
        pa_usec_t played = 0;
        if (!lost && pa_stream_get_time(m_stream, &played) == 0)
            Advance(std::min<int64_t>(static_cast<int64_t>(pa_usec_to_bytes(played, &m_spec)), m_taken));
        if (!lost)
            RequestTiming();
    }
    m_connection->Unlock();
    if (lost)
        MarkLost();
}

} // namespace tw
