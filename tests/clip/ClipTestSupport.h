// Shared pieces of the clip object tests: a clip made by class id after the server has started the
// filters, generated WAV files (tones, silences, cue chunks), and the calls a host makes through the
// clip's interfaces wrapped for reading results.
#pragma once

#include "clip/ClipClasses.h"
#include "clip/ServerTestSupport.h"
#include "components/ComRef.h"
#include "platform/Utf.h"

#include <tidework/clip.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <thread>
#include <tuple>

namespace tw::test {

template <class I> using ComPtr = twtest::ComRef<I>;

template <class I> ComPtr<I> Query(IUnknown* object, const IID& iid) {
    ComPtr<I> out = twtest::QueryAs<I>(object, iid);
    EXPECT_TRUE(out);
    return out;
}

// A BSTR for one call.
class Bstr {
public:
    explicit Bstr(const std::string& text) {
        const std::u16string wide = ToUtf16(text);
        m_text = SysAllocStringLen(wide.data(), static_cast<uint32_t>(wide.size()));
    }
    ~Bstr() { SysFreeString(m_text); }
    operator BSTR() const { return m_text; }

private:
    BSTR m_text;
};

inline std::string TakeString(BSTR text) {
    std::string out = text ? ToUtf8(text) : std::string();
    SysFreeString(text);
    return out;
}

inline int16_t ToPcm16(double v) {
    return static_cast<int16_t>(std::lround(std::clamp(v, -1.0, 32767.0 / 32768.0) * 32768.0));
}

// A 16-bit WAV whose samples are `value(frame, channel)` in -1..1.
inline void WriteWav16(const std::string& path, int channels, int rate, int64_t frames,
                       const std::function<double(int64_t, int)>& value) {
    WriteWav(path, PcmFormat(channels, rate, 16), frames,
             [&](int64_t f, int c) { return static_cast<int64_t>(ToPcm16(value(f, c))); });
}

// Appends a "cue " chunk and a LIST/adtl chunk (title as "labl", artist as "note") to a WAV file
// written by WriteWav, and corrects its RIFF size.
inline void AppendCues(const std::string& path, const std::vector<CuePoint>& cues) {
    std::vector<uint8_t> bytes = ReadWholeFile(path);
    auto put32 = [](std::vector<uint8_t>& out, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    auto putId = [](std::vector<uint8_t>& out, const char* id) { out.insert(out.end(), id, id + 4); };
    putId(bytes, "cue ");
    put32(bytes, static_cast<uint32_t>(4 + 24 * cues.size()));
    put32(bytes, static_cast<uint32_t>(cues.size()));
    for (size_t i = 0; i < cues.size(); ++i) {
        put32(bytes, static_cast<uint32_t>(i + 1));
        put32(bytes, cues[i].position);
        putId(bytes, "data");
        put32(bytes, 0);
        put32(bytes, 0);
        put32(bytes, cues[i].position);
    }
    std::vector<uint8_t> list;
    putId(list, "adtl");
    auto text = [&](const char* id, size_t cue, const std::string& value) {
        const auto length = static_cast<uint32_t>(4 + value.size() + 1);
        putId(list, id);
        put32(list, length);
        put32(list, static_cast<uint32_t>(cue + 1));
        list.insert(list.end(), value.begin(), value.end());
        list.push_back(0);
        if (length & 1)
            list.push_back(0);
    };
    for (size_t i = 0; i < cues.size(); ++i) {
        text("labl", i, cues[i].title);
        text("note", i, cues[i].artist);
    }
    putId(bytes, "LIST");
    put32(bytes, static_cast<uint32_t>(list.size()));
    bytes.insert(bytes.end(), list.begin(), list.end());
    const auto riff = static_cast<uint32_t>(bytes.size() - 8);
    for (int i = 0; i < 4; ++i)
        bytes[4 + i] = static_cast<uint8_t>(riff >> (8 * i));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

class ClipTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        RegisterClipClasses();
    }

    ComPtr<IAbstractClip> NewClip() {
        void* out = nullptr;
        EXPECT_EQ(CoCreateInstance(CLSID_CWaveClip, nullptr, CLSCTX_INPROC_SERVER, IID_IAbstractClip, &out),
                  S_OK);
        return ComPtr<IAbstractClip>(static_cast<IAbstractClip*>(out));
    }

    // A clip opened on `path`, with its peak scan finished.
    ComPtr<IAbstractClip> OpenClip(const std::string& path) {
        ComPtr<IAbstractClip> clip = NewClip();
        EXPECT_EQ(clip->OpenFile(Bstr(path)), S_OK);
        WaitForPeaks(clip.get());
        return clip;
    }

    static void WaitForPeaks(IAbstractClip* clip) {
        ComPtr<IVisualReader> visual = Query<IVisualReader>(clip, IID_IVisualReader);
        int16_t progress = 0;
        for (int i = 0; i < 2000 && progress < 100; ++i) {
            ASSERT_EQ(visual->GetProgress(&progress), S_OK);
            if (progress < 100)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        ASSERT_EQ(progress, 100);
    }

    // `frames` frames of `channels` floats from an open reader handle.
    static std::vector<float> ReadFrames(IAudioReader* reader, uint64_t handle, int64_t frames,
                                         int channels) {
        SAFEARRAY* array = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(frames * channels));
        EXPECT_EQ(reader->Read(handle, &array), S_OK);
        std::vector<float> out(static_cast<const float*>(array->pvData),
                               static_cast<const float*>(array->pvData) + frames * channels);
        SafeArrayDestroy(array);
        return out;
    }

    // Everything a fresh reader plays from the start, in blocks of `block` frames.
    static std::vector<float> ReadAll(IAbstractClip* clip, int64_t frames, int channels,
                                      int64_t block = 4096) {
        ComPtr<IAudioReader> reader = Query<IAudioReader>(clip, IID_IAudioReader);
        uint64_t handle = 0;
        EXPECT_EQ(reader->Open(&handle), S_OK);
        std::vector<float> all;
        for (int64_t done = 0; done < frames; done += block) {
            const std::vector<float> part =
                ReadFrames(reader.get(), handle, std::min(block, frames - done), channels);
            all.insert(all.end(), part.begin(), part.end());
        }
        EXPECT_EQ(reader->Close(handle), S_OK);
        return all;
    }

    static int64_t Length(IAbstractClip* clip) {
        int64_t length = -1;
        EXPECT_EQ(clip->GetOriginalLength(&length), S_OK);
        return length;
    }
    static int64_t Looped(IAbstractClip* clip) {
        int64_t length = -1;
        EXPECT_EQ(clip->GetLoopedLength(&length), S_OK);
        return length;
    }
    static int16_t Channels(IAbstractClip* clip) {
        int16_t channels = -1;
        EXPECT_EQ(clip->GetSourceChannels(&channels), S_OK);
        return channels;
    }
    static std::string Name(IAbstractClip* clip) {
        BSTR name = nullptr;
        EXPECT_EQ(clip->GetName(&name), S_OK);
        return TakeString(name);
    }

    // The clip's indexes: position, type, title and artist.
    using Index = std::tuple<int32_t, int16_t, std::string, std::string>;
    static std::vector<Index> Indexes(IUnknown* clip) {
        ComPtr<IIndexContainer> indexes = Query<IIndexContainer>(clip, IID_IIndexContainer);
        int32_t count = 0;
        EXPECT_EQ(indexes->GetIndexCount(&count), S_OK);
        std::vector<Index> out;
        for (int32_t i = 0; i < count; ++i) {
            int32_t position = -1;
            int16_t type = -1;
            BSTR title = nullptr, artist = nullptr;
            EXPECT_EQ(indexes->GetIndex(i, &position, &type, &title, &artist), S_OK);
            out.emplace_back(position, type, TakeString(title), TakeString(artist));
        }
        return out;
    }

    static std::vector<uint8_t> Serialized(IUnknown* clip) {
        SAFEARRAY* data = nullptr;
        EXPECT_EQ(Query<ISerializable>(clip, IID_ISerializable)->Serialize(&data), S_OK);
        return data != nullptr ? Bytes(data) : std::vector<uint8_t>();
    }
    static HRESULT Restore(IUnknown* clip, const std::vector<uint8_t>& bytes) {
        SAFEARRAY* in = ByteArray(bytes);
        const HRESULT hr = Query<ISerializable>(clip, IID_ISerializable)->CreateFromSerialization(in);
        SafeArrayDestroy(in);
        return hr;
    }

    // The curve of frames [from, to) in `width` columns.
    static std::vector<float> Curve(IUnknown* clip, int64_t from, int64_t to, int32_t width) {
        SAFEARRAY* curve = nullptr;
        EXPECT_EQ(Query<IVisualReader>(clip, IID_IVisualReader)->GetCurve(from, to, width, &curve), S_OK);
        if (curve == nullptr)
            return {};
        const auto* v = static_cast<const float*>(curve->pvData);
        std::vector<float> out(v, v + curve->rgsabound[0].cElements);
        SafeArrayDestroy(curve);
        return out;
    }

    static std::vector<uint8_t> Bytes(SAFEARRAY* array) {
        std::vector<uint8_t> out(static_cast<const uint8_t*>(array->pvData),
                                 static_cast<const uint8_t*>(array->pvData) + array->rgsabound[0].cElements);
        SafeArrayDestroy(array);
        return out;
    }
    static SAFEARRAY* ByteArray(const std::vector<uint8_t>& bytes) {
        SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
        if (!bytes.empty())
            std::memcpy(array->pvData, bytes.data(), bytes.size());
        return array;
    }
};

} // namespace tw::test
