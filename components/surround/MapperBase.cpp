#include "MapperBase.h"

#include "SampleArrays.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

namespace sr {

HRESULT CMapperBase::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_ISurroundRenderer)
        return Give(static_cast<ISurroundRenderer*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CMapperBase::Process(SAFEARRAY* input, SAFEARRAY** output) {
    if (output == nullptr)
        return E_POINTER;
    *output = nullptr;
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_configured)
        return E_UNEXPECTED;
    const float* samples = nullptr;
    int64_t frames = 0;
    const HRESULT read = ReadFrames(input, m_format.input.Channels(), samples, frames);
    if (FAILED(read) || frames == 0)
        return read;
    SAFEARRAY* array = nullptr;
    float* out = nullptr;
    const HRESULT made = MakeFrames(frames, m_format.output.Channels(), array, out);
    if (FAILED(made))
        return made;
    // The network's buffers are sized at configuration; nothing below allocates.
    for (int64_t done = 0; done < frames;) {
        const int64_t n = std::min<int64_t>(CFilterNetwork::kChunkFrames, frames - done);
        float* chunk = out + done * m_format.output.Channels();
        m_built.network.Process(samples + done * m_format.input.Channels(), chunk, static_cast<int32_t>(n),
                                m_built.gain * m_outputGain);
        m_built.limiter.Process(chunk, static_cast<int32_t>(n));
        done += n;
    }
    m_pending = true;
    *output = array;
    return S_OK;
}

HRESULT CMapperBase::Flush(SAFEARRAY** output) {
    if (output == nullptr)
        return E_POINTER;
    *output = nullptr;
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_configured)
        return E_UNEXPECTED;
    const int32_t tail = m_built.network.TailFrames() + m_built.limiter.DelayFrames();
    if (!m_pending || tail == 0) {
        m_pending = false;
        return S_OK;
    }
    SAFEARRAY* array = nullptr;
    float* out = nullptr;
    const HRESULT made = MakeFrames(tail, m_format.output.Channels(), array, out);
    if (FAILED(made))
        return made;
    // Silence through the network rings out exactly what the next block would have carried.
    m_built.network.Process(nullptr, out, tail, m_built.gain * m_outputGain);
    m_built.limiter.Process(out, tail);
    m_built.network.Clear();
    m_built.limiter.Clear();
    m_pending = false;
    *output = array;
    return S_OK;
}

HRESULT CMapperBase::Reset() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_built.network.Clear();
    m_built.limiter.Clear();
    m_pending = false;
    return S_OK;
}

HRESULT CMapperBase::GetInputChannels(int32_t* channels) {
    if (channels == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *channels = m_configured ? m_format.input.Channels() : 0;
    return S_OK;
}

HRESULT CMapperBase::GetOutputChannels(int32_t* channels) {
    if (channels == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *channels = m_configured ? m_format.output.Channels() : 0;
    return S_OK;
}

HRESULT CMapperBase::GetInputRate(int32_t* rate) {
    if (rate == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *rate = m_configured ? m_format.rate : 0;
    return S_OK;
}

HRESULT CMapperBase::GetOutputRate(int32_t* rate) {
    return GetInputRate(rate);
}

HRESULT CMapperBase::GetInputMask(uint32_t* mask) {
    if (mask == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *mask = m_configured ? m_format.input.Mask() : 0;
    return S_OK;
}

HRESULT CMapperBase::GetOutputMask(uint32_t* mask) {
    if (mask == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *mask = m_configured ? m_format.output.Mask() : 0;
    return S_OK;
}

HRESULT CMapperBase::GetLatency(int32_t* frames) {
    if (frames == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *frames = m_configured ? m_built.network.FirstResponseFrame() + m_built.limiter.DelayFrames() : 0;
    return S_OK;
}

HRESULT CMapperBase::SetOutputGain(float gain) {
    if (!std::isfinite(gain) || gain < 0.0f)
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    m_outputGain = gain;
    return S_OK;
}

HRESULT CMapperBase::GetOutputGain(float* gain) {
    if (gain == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *gain = m_outputGain;
    return S_OK;
}

HRESULT CMapperBase::Initialise(int32_t inputRate, int32_t outputRate, int32_t inputChannels,
                                int32_t outputChannels, uint32_t inputMask, uint32_t outputMask) {
    return Configure(inputRate, outputRate, inputChannels, outputChannels, inputMask, outputMask);
}

HRESULT CMapperBase::SetFormat(int32_t inputRate, int32_t outputRate, int32_t inputChannels,
                               int32_t outputChannels, uint32_t inputMask, uint32_t outputMask) {
    return Configure(inputRate, outputRate, inputChannels, outputChannels, inputMask, outputMask);
}

HRESULT CMapperBase::IsInitialised() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_configured ? S_OK : S_FALSE;
}

HRESULT CMapperBase::GetDescription(BSTR* text) {
    if (text == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    return MakeBstr(m_configured ? m_built.description.c_str() : u"Not configured", text);
}

HRESULT CMapperBase::Configure(int32_t inputRate, int32_t outputRate, int32_t inputChannels,
                               int32_t outputChannels, uint32_t inputMask, uint32_t outputMask) {
    // Neither mapper resamples; the rates are asked for both sides only because the devices pass
    // them that way.
    if (inputRate < 1 || inputRate > kMaxRate || inputRate != outputRate)
        return E_INVALIDARG;
    MapperFormat format;
    format.rate = inputRate;
    if (!format.input.Assign(inputChannels, inputMask) || !format.output.Assign(outputChannels, outputMask))
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    try {
        auto built = std::make_unique<Built>();
        const HRESULT hr = Build(format, *built);
        // A refused configuration leaves the one in force untouched.
        if (FAILED(hr))
            return hr;
        built->network.Prepare();
        m_format = format;
        m_built = std::move(*built);
        m_configured = true;
        m_pending = false;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CMapperBase::Rebuild() {
    if (!m_configured)
        return S_OK;
    try {
        auto built = std::make_unique<Built>();
        const HRESULT hr = Build(m_format, *built);
        if (FAILED(hr))
            return hr;
        built->network.Prepare();
        m_built = std::move(*built);
        m_pending = false;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace sr
