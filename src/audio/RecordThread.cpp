#include "audio/RecordThread.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/AudioIn.h"
#include "audio/AudioOut.h"
#include "audio/RecordRequest.h"
#include "core/MediaData.h"
#include "core/StreamOut.h"
#include "platform/Settings.h"
#include "storage/BasicIO.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace tw {

namespace {

constexpr int32_t kMonitorLatencyMs = 100;
constexpr int32_t kRecordFrames = 256;

template <int32_t Bits> float SampleAt(const uint8_t* p);

template <> inline float SampleAt<8>(const uint8_t* p) {
    return static_cast<float>(static_cast<int32_t>(p[0]) - 128) * 0.0078125f;
}
template <> inline float SampleAt<16>(const uint8_t* p) {
    return static_cast<float>(static_cast<int16_t>(p[0] | (p[1] << 8))) * 3.0517578125e-05f;
}
template <> inline float SampleAt<24>(const uint8_t* p) {
    int32_t v = p[0] | (p[1] << 8) | (p[2] << 16);
    if ((v & 0x800000) != 0)
        v -= 0x1000000;
    return static_cast<float>(v) * 1.1920928955078125e-07f;
}
template <> inline float SampleAt<32>(const uint8_t* p) {
    const uint32_t u = static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                       (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    return static_cast<float>(static_cast<int32_t>(u)) * 4.656612873077393e-10f;
}

// One pass per block: conversion, records and peaks together, the width fixed at compile time so
// the inner loop has no branch on it.
template <int32_t Bits>
void Convert(const uint8_t* pcm, int32_t channels, int32_t frames, float* samples, float* records,
             float& peak0, float& peak1) {
    constexpr int32_t bytes = Bits / 8;
    float p0 = 0.0f;
    float p1 = 0.0f;
    const int32_t wholeGroups = frames / kRecordFrames;
    for (int32_t f = 0; f < frames; ++f) {
        const int32_t group = f / kRecordFrames;
        float* record =
            group < wholeGroups ? records + static_cast<ptrdiff_t>(group) * channels * 2 : nullptr;
        if (record != nullptr && f % kRecordFrames == 0) {
            for (int32_t c = 0; c < channels; ++c) {
                record[2 * c] = 1.0f;
                record[2 * c + 1] = -1.0f;
            }
        }
        const uint8_t* frame = pcm + static_cast<ptrdiff_t>(f) * channels * bytes;
        float* out = samples + static_cast<ptrdiff_t>(f) * channels;
        for (int32_t c = 0; c < channels; ++c) {
            const float v = SampleAt<Bits>(frame + c * bytes);
            out[c] = v;
            const float a = std::fabs(v);
            if (c == 0)
                p0 = std::max(p0, a);
            else if (c == 1)
                p1 = std::max(p1, a);
            if (record != nullptr) {
                record[2 * c] = std::min(record[2 * c], v);
                record[2 * c + 1] = std::max(record[2 * c + 1], v);
            }
        }
    }
    peak0 = p0;
    peak1 = p1;
}

// Hands the console the devices it may stop when the thread does not answer, or takes them back.
void Publish(RecordRequest& r, CAudioIn* input, CAudioOut* output) {
    std::lock_guard<std::mutex> lock(r.deviceLock);
    r.input = input;
    r.output = output;
}

// Appends one block to the take unless paused. Paused is tested under the streams' locks, which a
// "Go to" of the console holds while it moves them: a pause pressed while a write was under way
// lets that write end before the streams move, and one pressed just before is seen here.
bool WriteTake(RecordRequest& r, const uint8_t* pcm, uint32_t pcmBytes, const float* records,
               uint32_t recordBytes, int32_t frames) {
    if (r.pcm == nullptr || r.peaks == nullptr)
        return true; // a console that only meters
    CBasicIOLock pcmLock(*r.pcm);
    CBasicIOLock peakLock(*r.peaks);
    if (r.paused.load())
        return true;
    if (!r.pcm->Write(pcm, pcmBytes) || !r.peaks->Write(records, recordBytes))
        return false;
    r.framesRecorded.fetch_add(frames);
    return true;
}

} // namespace

bool ConvertRecordedBlock(const uint8_t* pcm, int32_t bits, int32_t channels, int32_t frames, float* samples,
                          float* records, float& peak0, float& peak1) {
    if (channels < 1 || channels > CStreamOut::kMaxChannels || frames < 0)
        return false;
    switch (bits) {
    case 8:
        Convert<8>(pcm, channels, frames, samples, records, peak0, peak1);
        return true;
    case 16:
        Convert<16>(pcm, channels, frames, samples, records, peak0, peak1);
        return true;
    case 24:
        Convert<24>(pcm, channels, frames, samples, records, peak0, peak1);
        return true;
    case 32:
        Convert<32>(pcm, channels, frames, samples, records, peak0, peak1);
        return true;
    default:
        return false;
    }
}

bool RaiseToRealTimePriority() {
    const int lowest = sched_get_priority_min(SCHED_FIFO);
    const int highest = sched_get_priority_max(SCHED_FIFO);
    if (lowest < 0 || highest < lowest)
        return false;
    sched_param param{};
    param.sched_priority = lowest + (highest - lowest) / 2;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0;
}

void RecordThreadProc(RecordRequest* request) {
    RecordRequest& r = *request;
    // Refused without privilege; the thread then records at normal priority, as well as the
    // machine's load allows.
    RaiseToRealTimePriority();

    const int32_t rate = static_cast<int32_t>(r.format.nSamplesPerSec);
    const int32_t channels = r.format.nChannels;
    const int32_t bits = r.format.wBitsPerSample;
    const int32_t frames = r.framesPerBlock;
    const int32_t blockAlign = bits / 8 * channels;

    std::unique_ptr<CAudioOut> output;
    std::unique_ptr<CAudioIn> input;
    if (r.devices != nullptr) {
        output.reset(
            r.devices->CreateOutput(GetSettingInt("Audio", "OutputDevice", r.devices->GetOutputCount())));
        if (output && !output->Open(rate, channels, bits, kMonitorLatencyMs, 0))
            output.reset();
        input.reset(r.devices->CreateInput(r.inputDevice));
    }
    const bool usable = channels >= 1 && channels <= CStreamOut::kMaxChannels && frames > 0 &&
                        frames % kRecordFrames == 0 && (bits == 8 || bits == 16 || bits == 24 || bits == 32);
    if (!usable || !input || !input->Open(rate, channels, bits, frames, 0)) {
        input.reset();
        output.reset();
        r.threadEnded.store(1);
        return;
    }

    // Everything the loop needs, made before it.
    const uint32_t recordBytes = static_cast<uint32_t>(channels) * frames / kRecordFrames * 8;
    const uint32_t pcmBytes = static_cast<uint32_t>(blockAlign) * frames;
    std::vector<float> records(recordBytes / 4);
    std::vector<uint8_t> pcm(pcmBytes);
    CMediaData block(frames, channels * 4);

    if (!input->Start()) {
        input.reset();
        output.reset();
        r.threadEnded.store(1);
        return;
    }
    Publish(r, input.get(), output.get());

    bool monitor = output != nullptr;
    while (r.stop.load() == 0) {
        if (!input->Read(pcm.data()))
            break;
        float peak0 = 0.0f;
        float peak1 = 0.0f;
        ConvertRecordedBlock(pcm.data(), bits, channels, frames, block.GetFloats(), records.data(), peak0,
                             peak1);
        r.peak0.store(peak0);
        r.peak1.store(peak1);
        // A monitor that failed once (unplugged, the server gone) would only fail again, and a
        // failing Write may first wait for its time-out.
        if (monitor && r.monitoring.load() != 0 && output->Write(block) != 0)
            monitor = false;
        if (!WriteTake(r, pcm.data(), pcmBytes, records.data(), recordBytes, frames))
            r.stop.store(1);
    }

    Publish(r, nullptr, nullptr);
    input.reset();
    if (output)
        output->Close();
    output.reset();
    r.threadEnded.store(1);
}

} // namespace tw
