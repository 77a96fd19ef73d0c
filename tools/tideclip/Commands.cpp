#include "Commands.h"

#include <tidework/clip.h>
#include <tidework/clipconvert.h>
#include <tidework/clipserver.h>
#include <tidework/metadata.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

namespace tideclip {

namespace {

constexpr int64_t kBlockFrames = 4096;

void Fail(const std::string& text) {
    std::fprintf(stderr, "tideclip: %s\n", text.c_str());
}

void Print(const std::string& text) {
    std::fprintf(stdout, "%s\n", text.c_str());
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The system's words for the last failed file operation.
std::string SystemWords() {
    return std::strerror(errno);
}

bool ReadFile(const std::string& path, std::vector<uint8_t>& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

bool WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

bool StartsAsContainer(const std::string& path) {
    char magic[4] = {};
    std::ifstream in(path, std::ios::binary);
    return in.read(magic, 4) && std::memcmp(magic, "RAFF", 4) == 0;
}

WAVEFORMATEX Pcm(int16_t channels, int32_t rate, uint16_t bits) {
    const auto align = static_cast<uint16_t>(channels * bits / 8);
    return {WAVE_FORMAT_PCM,
            static_cast<uint16_t>(channels),
            static_cast<uint32_t>(rate),
            static_cast<uint32_t>(rate) * align,
            align,
            bits,
            0};
}

// The rates the editor's Convert dialog takes.
constexpr int32_t kLowestRate = 101;
constexpr int32_t kHighestRate = 512000;

struct Word {
    const char* word;
    int32_t value;
};
// The dialog's filter choices as half widths of the resampler, and the down-mix modes.
constexpr Word kFilters[] = {{"fast", 10}, {"medium", 30}, {"accurate", 50}};
constexpr Word kDownMixes[] = {{"standard", 0}, {"headphone", 1}, {"room", 2}};

template <size_t N> bool Lookup(const Word (&words)[N], const std::string& text, int32_t& value) {
    for (const Word& word : words)
        if (text == word.word) {
            value = word.value;
            return true;
        }
    return false;
}

} // namespace

Commands::Commands(const Engine& engine) : m_engine(engine) {
    HRESULT result = S_OK;
    m_server.Reset(static_cast<IAudioClipServer*>(
        m_engine.Create(CLSID_CAudioClipServer, IID_IAudioClipServer, result)));
    if (!m_server) {
        Fail("the clip server cannot be created: " + Reason(result));
        return;
    }
    m_server->InitServer();
    // The server starts without its format library, and says why: every audio file will fail.
    const std::string warning = m_engine.TakeErrorDescription();
    if (!warning.empty())
        Fail(warning);
}

int Commands::Missing(const char* part) const {
    Fail(std::string("this engine's clips have no ") + part + " interface");
    return kExitFailed;
}

std::string Commands::Reason(HRESULT result) const {
    const std::string description = m_engine.TakeErrorDescription();
    return description.empty() ? Words(result) : description;
}

std::string Commands::Reason(const std::string& fallback) const {
    const std::string description = m_engine.TakeErrorDescription();
    return description.empty() ? fallback : description;
}

Commands::~Commands() {
    if (m_server)
        m_server->Cleanup();
}

Ref<IUnknown> Commands::Restore(const std::vector<uint8_t>& bytes, HRESULT& result) {
    Ref<IUnknown> clip(static_cast<IUnknown*>(m_engine.Create(CLSID_CWaveClip, IID_IUnknown, result)));
    if (!clip)
        return clip;
    auto serializable = QueryAs<ISerializable>(clip.Get(), IID_ISerializable);
    SAFEARRAY* array = m_engine.CreateArray(VT_UI1, static_cast<uint32_t>(bytes.size()));
    if (!serializable || array == nullptr) {
        result = E_FAIL;
        m_engine.DestroyArray(array);
        return Ref<IUnknown>();
    }
    if (!bytes.empty()) {
        std::memcpy(m_engine.Access(array), bytes.data(), bytes.size());
        m_engine.Unaccess(array);
    }
    result = serializable->CreateFromSerialization(array);
    m_engine.DestroyArray(array);
    return FAILED(result) ? Ref<IUnknown>() : std::move(clip);
}

Ref<IUnknown> Commands::OpenClip(const std::string& input, int& status) {
    HRESULT result = S_OK;
    Ref<IUnknown> clip;
    std::string reason;
    if (!EndsWith(Lower(input), ".vtf") && StartsAsContainer(input)) {
        std::vector<uint8_t> bytes;
        if (!ReadFile(input, bytes)) {
            reason = SystemWords();
        } else {
            clip = Restore(bytes, result);
            if (!clip)
                reason = FAILED(result) && result != E_FAIL
                             ? Reason(result)
                             : Reason(std::string("it is no serialised clip, or its data is damaged"));
        }
    } else {
        clip.Reset(static_cast<IUnknown*>(m_engine.Create(CLSID_CWaveClip, IID_IUnknown, result)));
        auto abstract = QueryAs<IAbstractClip>(clip.Get(), IID_IAbstractClip);
        if (abstract) {
            BSTR name = m_engine.AllocString(input);
            result = abstract->OpenFile(name);
            m_engine.FreeString(name);
        }
        if (!abstract || FAILED(result)) {
            clip.Reset();
            reason = Reason(result);
        }
    }
    if (!clip) {
        Fail("cannot read " + input + ": " + reason);
        status = kExitCannotRead;
    }
    return clip;
}

int16_t Commands::WaitForPeaks(IUnknown* clip) {
    auto visual = QueryAs<IVisualReader>(clip, IID_IVisualReader);
    const auto until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    int16_t progress = 0;
    while (visual && SUCCEEDED(visual->GetProgress(&progress)) && progress < 100 &&
           std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return visual ? progress : int16_t(100);
}

int Commands::RenderTo(IUnknown* clip, const std::string& output, const Options& options) {
    auto abstract = QueryAs<IAbstractClip>(clip, IID_IAbstractClip);
    auto reader = QueryAs<IAudioReader>(clip, IID_IAudioReader);
    if (!abstract || !reader)
        return Missing("reader");
    HRESULT result = abstract->SetRenderFormat(options.Rate(), options.Channels());
    if (SUCCEEDED(result) && options.Length())
        result = abstract->SetLoopedLength(*options.Length());
    int64_t total = 0;
    if (SUCCEEDED(result))
        result = abstract->GetLoopedLength(&total);
    if (FAILED(result)) {
        Fail("the clip refuses the render format: " + Reason(result));
        return ExitFor(result);
    }

    Ref<IAudioWriter> writer(
        static_cast<IAudioWriter*>(m_engine.Create(CLSID_CAudioWriter, IID_IAudioWriter, result)));
    if (!writer) {
        Fail("the audio writer cannot be created: " + Reason(result));
        return kExitFailed;
    }
    const WAVEFORMATEX format = Pcm(options.Channels(), options.Rate(), options.Bits());
    VARIANT noWindow;
    m_engine.InitVariant(&noWindow);
    BSTR name = m_engine.AllocString(output);
    result = writer->CreateWAV(name, &format, 1, noWindow);
    m_engine.FreeString(name);
    // A writer without a file takes nothing, not even no frames. The writer says why it has none,
    // except for an extension that no format writes: it passes over those in silence.
    if (FAILED(result) || writer->Write(reinterpret_cast<const uint8_t*>(&format), 0) != S_OK) {
        const size_t dot = output.rfind('.');
        const std::string extension = dot == std::string::npos ? std::string() : Lower(output.substr(dot));
        std::string why = "no audio format is written to \"" + extension + "\" files";
        if (extension.empty())
            why = "the name has no extension to choose a format by";
        else if (extension == ".vtf")
            why = "a project (.vtf) is saved by the editor, render writes audio files";
        Fail("cannot write " + output + ": " + Reason(why + " (tideclip filters lists the formats)"));
        return kExitCannotWrite;
    }
    for (const Mark& mark : options.Marks()) {
        BSTR title = m_engine.AllocString(mark.title);
        BSTR artist = m_engine.AllocString(mark.artist);
        writer->AddTrackSplit(mark.position, title, artist);
        m_engine.FreeString(title);
        m_engine.FreeString(artist);
    }

    uint64_t handle = 0;
    result = reader->Open(&handle);
    if (FAILED(result)) {
        Fail("the clip cannot be read: " + Reason(result));
        return ExitFor(result);
    }
    int status = kExitOk;
    for (int64_t done = 0; done < total && status == kExitOk;) {
        const int64_t frames = std::min(kBlockFrames, total - done);
        SAFEARRAY* block = m_engine.CreateArray(VT_R4, static_cast<uint32_t>(frames * options.Channels()));
        result = block != nullptr ? reader->Read(handle, &block) : E_OUTOFMEMORY;
        if (FAILED(result)) {
            Fail("reading the clip failed at frame " + std::to_string(done) + ": " + Reason(result));
            status = ExitFor(result);
        } else {
            const auto* samples = static_cast<const uint8_t*>(m_engine.Access(block));
            if (samples == nullptr || writer->Write(samples, static_cast<int32_t>(frames)) != S_OK) {
                Fail("writing " + output + " failed at frame " + std::to_string(done) + ": " +
                     Reason(std::string("the format library refused the samples")));
                status = kExitCannotWrite;
            }
            if (samples != nullptr)
                m_engine.Unaccess(block);
        }
        m_engine.DestroyArray(block);
        done += frames;
    }
    reader->Close(handle);
    writer.Reset(); // finishes the file
    if (status == kExitOk)
        Print("wrote " + output + ": " + std::to_string(total) + " frames, " +
              std::to_string(options.Rate()) + " Hz, " + std::to_string(options.Channels()) + " channels, " +
              std::to_string(options.Bits()) + " bits");
    return status;
}

int Commands::Filters() {
    HRESULT result = S_OK;
    Ref<IAudioWriter> writer(
        static_cast<IAudioWriter*>(m_engine.Create(CLSID_CAudioWriter, IID_IAudioWriter, result)));
    if (!writer) {
        Fail("the audio writer cannot be created: " + Reason(result));
        return kExitFailed;
    }
    int32_t count = 0;
    writer->GetFileFilterCount(&count);
    for (int32_t i = 0; i < count; ++i) {
        BSTR name = nullptr;
        if (FAILED(writer->GetFileFilterText(i, &name)))
            continue;
        // The writer's list begins with the editor's own project format, which the clip engine
        // does not write: its number stays, so that a host's dialog index means the same entry.
        const std::string text = m_engine.TakeString(name);
        Print(std::to_string(i) + ": " + text +
              (Lower(text).find("*.vtf") != std::string::npos
                   ? "  [project: saved by the editor, not by render]"
                   : ""));
    }
    return kExitOk;
}

int Commands::Info(const std::string& input, const Options& options) {
    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    if (!clip)
        return status;
    auto abstract = QueryAs<IAbstractClip>(clip.Get(), IID_IAbstractClip);
    auto indexes = QueryAs<IIndexContainer>(clip.Get(), IID_IIndexContainer);
    if (!abstract)
        return Missing("clip");
    abstract->SetRenderFormat(options.Rate(), options.Channels());
    BSTR name = nullptr;
    abstract->GetName(&name);
    int16_t channels = 0;
    abstract->GetSourceChannels(&channels);
    int64_t length = 0, looped = 0;
    abstract->GetOriginalLength(&length);
    abstract->GetLoopedLength(&looped);
    // A file opened for the first time has its peaks built in the background: a percentage taken at
    // once would only tell that the scan has just begun.
    const int16_t progress = WaitForPeaks(clip.Get());
    int32_t count = 0;
    if (indexes)
        indexes->GetIndexCount(&count);
    Print("name: " + m_engine.TakeString(name));
    Print("source channels: " + std::to_string(channels));
    Print("length: " + std::to_string(length) + " frames at " + std::to_string(options.Rate()) + " Hz");
    Print("looped length: " + std::to_string(looped) + " frames");
    Print(progress >= 100 ? std::string("peaks: ready")
                          : "peaks: still being built (" + std::to_string(progress) + "% done)");
    Print("indexes: " + std::to_string(count));
    return kExitOk;
}

int Commands::Render(const std::string& input, const std::string& output, const Options& options) {
    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    return clip ? RenderTo(clip.Get(), output, options) : status;
}

int Commands::Curve(const std::string& input, const Options& options) {
    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    if (!clip)
        return status;
    auto abstract = QueryAs<IAbstractClip>(clip.Get(), IID_IAbstractClip);
    auto visual = QueryAs<IVisualReader>(clip.Get(), IID_IVisualReader);
    if (!visual)
        return Missing("curve");
    abstract->SetRenderFormat(options.Rate(), options.Channels());
    WaitForPeaks(clip.Get());
    int64_t length = 0;
    abstract->GetOriginalLength(&length);
    const int64_t begin = options.Begin().value_or(0);
    const int64_t end = options.End().value_or(length);
    SAFEARRAY* curve = nullptr;
    const HRESULT result = visual->GetCurve(begin, end, options.Width(), &curve);
    if (FAILED(result)) {
        Fail("no curve for frames " + std::to_string(begin) + " to " + std::to_string(end) + ": " +
             Reason(result));
        return ExitFor(result);
    }
    const std::vector<uint8_t> bytes = m_engine.ArrayBytes(curve);
    m_engine.DestroyArray(curve);
    const size_t values = bytes.size() / sizeof(float);
    const size_t perColumn = values / static_cast<size_t>(options.Width());
    if (perColumn == 0 || perColumn % 2 != 0) {
        Fail("the curve has an unexpected size");
        return kExitFailed;
    }
    std::vector<float> floats(values);
    std::memcpy(floats.data(), bytes.data(), values * sizeof(float));
    for (int32_t column = 0; column < options.Width(); ++column) {
        std::string line = std::to_string(column);
        for (size_t k = 0; k < perColumn; k += 2) {
            char pair[64];
            std::snprintf(pair, sizeof pair, " %.6f %.6f", floats[column * perColumn + k],
                          floats[column * perColumn + k + 1]);
            line += pair;
        }
        Print(line);
    }
    return kExitOk;
}

int Commands::Tracks(const std::string& input, const Options& options) {
    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    if (!clip)
        return status;
    auto tracks = QueryAs<ITrackSplitting>(clip.Get(), IID_ITrackSplitting);
    if (!tracks)
        return Missing("track");
    WaitForPeaks(clip.Get());
    HRESULT result = tracks->DetectTracks(options.Threshold(), options.MinTrack(), options.MinPause());
    int32_t count = 0;
    if (SUCCEEDED(result))
        result = tracks->GetTrackCount(&count);
    if (FAILED(result)) {
        Fail("track detection failed: " + Reason(result));
        return ExitFor(result);
    }
    for (int32_t i = 0; i < count && status == kExitOk; ++i) {
        int32_t begin = 0, end = 0;
        result = tracks->GetTrackSection(i, &begin, &end);
        if (FAILED(result)) {
            Fail("track " + std::to_string(i + 1) + " has no section: " + Reason(result));
            return ExitFor(result);
        }
        Print("track " + std::to_string(i + 1) + ": " + std::to_string(begin) + " " + std::to_string(end));
        if (options.WritePrefix().empty())
            continue;
        SAFEARRAY* data = nullptr;
        result = tracks->SerializeTrackClip(i, &data);
        const std::vector<uint8_t> bytes = m_engine.ArrayBytes(data);
        m_engine.DestroyArray(data);
        Ref<IUnknown> track = SUCCEEDED(result) ? Restore(bytes, result) : Ref<IUnknown>();
        if (!track) {
            Fail("track " + std::to_string(i + 1) + " cannot be cut out: " + Reason(result));
            return ExitFor(result);
        }
        char number[16];
        std::snprintf(number, sizeof number, "-%02d.", i + 1);
        status = RenderTo(track.Get(), options.WritePrefix() + number + options.Extension(), options);
    }
    Print("tracks: " + std::to_string(count));
    return status;
}

int Commands::Indexes(const std::string& input) {
    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    if (!clip)
        return status;
    auto indexes = QueryAs<IIndexContainer>(clip.Get(), IID_IIndexContainer);
    if (!indexes)
        return Missing("index");
    int32_t count = 0;
    indexes->GetIndexCount(&count);
    for (int32_t i = 0; i < count; ++i) {
        int32_t position = 0;
        int16_t type = 0;
        BSTR title = nullptr, artist = nullptr;
        const HRESULT result = indexes->GetIndex(i, &position, &type, &title, &artist);
        if (FAILED(result)) {
            Fail("index " + std::to_string(i + 1) + " cannot be read: " + Reason(result));
            return ExitFor(result);
        }
        Print("index " + std::to_string(i + 1) + ": " + std::to_string(position) + " type " +
              std::to_string(type) + " title \"" + m_engine.TakeString(title) + "\" artist \"" +
              m_engine.TakeString(artist) + "\"");
    }
    Print("indexes: " + std::to_string(count));
    return kExitOk;
}

int Commands::Tags(const std::string& input) {
    HRESULT result = S_OK;
    Ref<IAudioMetaData> tags(
        static_cast<IAudioMetaData*>(m_engine.Create(CLSID_CAudioMetaData, IID_IAudioMetaData, result)));
    if (!tags) {
        Fail("tags cannot be read: the metadata object is not available: " + Reason(result));
        return kExitFailed;
    }
    BSTR path = m_engine.AllocString(input);
    result = tags->Read(path);
    m_engine.FreeString(path);
    if (FAILED(result)) {
        // The metadata object gives no reason of its own; a file that cannot even be opened has one.
        std::ifstream probe(input, std::ios::binary);
        Fail("cannot read the tags of " + input + ": " +
             (probe ? "the tag library cannot read its format (" + Hex(result) + ")" : SystemWords()));
        return kExitCannotRead;
    }
    static const char* const names[] = {"Format",          "Mime type", "Title",   "Creator",
                                        "Album",           "Genre",     "Comment", "Composer",
                                        "Original artist", "Year",      "Track",   "Bit rate"};
    for (int32_t field = AMD_CONTAINER_FORMAT; field <= AMD_ORIGINAL_ARTIST; ++field) {
        BSTR value = nullptr;
        if (SUCCEEDED(tags->GetText(field, &value))) {
            const std::string text = m_engine.TakeString(value);
            if (!text.empty())
                Print(std::string(names[field]) + ": " + text);
        }
    }
    for (int32_t field = AMD_PRODUCTION_YEAR; field <= AMD_BIT_RATE; ++field) {
        int32_t number = 0;
        if (SUCCEEDED(tags->GetNumber(field, &number)) && number != 0)
            Print(std::string(names[field]) + ": " + std::to_string(number));
    }
    tags->ReleaseHandler();
    return kExitOk;
}

int Commands::Serialize(const std::string& input, const std::string& output) {
    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    if (!clip)
        return status;
    auto serializable = QueryAs<ISerializable>(clip.Get(), IID_ISerializable);
    if (!serializable)
        return Missing("serialisation");
    WaitForPeaks(clip.Get());
    SAFEARRAY* data = nullptr;
    const HRESULT result = serializable->Serialize(&data);
    if (FAILED(result)) {
        Fail("the clip cannot be serialised: " + Reason(result));
        return ExitFor(result);
    }
    const std::vector<uint8_t> bytes = m_engine.ArrayBytes(data);
    m_engine.DestroyArray(data);
    if (!WriteFile(output, bytes)) {
        Fail("cannot write " + output + ": " + SystemWords());
        return kExitCannotWrite;
    }
    Print("wrote " + output + ": " + std::to_string(bytes.size()) + " bytes");
    return kExitOk;
}

int Commands::Convert(const std::string& input, const std::string& output, const Options& options) {
    // The command line first, so that a typing error costs no reading of the input.
    if (!options.Given("--rate")) {
        Fail("convert wants --rate HZ");
        return kExitUsage;
    }
    if (options.Rate() < kLowestRate || options.Rate() > kHighestRate) {
        Fail("--rate wants a sample rate from " + std::to_string(kLowestRate) + " to " +
             std::to_string(kHighestRate) + " Hz");
        return kExitUsage;
    }
    int32_t halfWidth = 30;
    if (options.Given("--filter") && !Lookup(kFilters, options.Filter(), halfWidth)) {
        Fail("--filter wants fast, medium or accurate, not \"" + options.Filter() + "\"");
        return kExitUsage;
    }
    int32_t downMix = 0;
    if (options.Given("--downmix") && !Lookup(kDownMixes, options.DownMix(), downMix)) {
        Fail("--downmix wants standard, headphone or room, not \"" + options.DownMix() + "\"");
        return kExitUsage;
    }

    int status = kExitOk;
    Ref<IUnknown> clip = OpenClip(input, status);
    if (!clip)
        return status;
    auto conversion = QueryAs<IClipConversion>(clip.Get(), IID_IClipConversion);
    if (!conversion) {
        Fail("this engine cannot convert clips");
        return kExitNoEngine;
    }
    int16_t sourceChannels = 0;
    if (auto abstract = QueryAs<IAbstractClip>(clip.Get(), IID_IAbstractClip))
        abstract->GetSourceChannels(&sourceChannels);

    // Zero channels or bits: the input's own.
    WAVEFORMATEX format = Pcm(options.Given("--channels") ? options.Channels() : int16_t(0), options.Rate(),
                              options.Given("--bits") ? options.Bits() : uint16_t(0));
    BSTR name = m_engine.AllocString(output);
    int64_t frames = 0;
    const HRESULT result = conversion->ConvertToFile(name, &format, halfWidth, downMix, &frames);
    m_engine.FreeString(name);
    switch (result) {
    case S_OK:
        Print("wrote " + output + ": " + std::to_string(frames) + " frames, " +
              std::to_string(format.nSamplesPerSec) + " Hz, " + std::to_string(format.nChannels) +
              " channels, " + std::to_string(format.wBitsPerSample) + " bits");
        return kExitOk;
    case CONVERT_E_NOWRITER:
        Fail("cannot write " + output + ": no format for its extension");
        return kExitCannotWrite;
    case CONVERT_E_CANNOTCREATE:
        Fail("cannot write " + output +
             ", the file cannot be made: " + Reason(std::string("its folder does not take it")));
        return kExitCannotWrite;
    case CONVERT_E_WRITEFAILED:
        Fail("writing " + output +
             " failed, nothing was kept: " + Reason(std::string("the format library refused the samples")));
        return kExitCannotWrite;
    case CONVERT_E_NOMAPPER:
        Fail("the channel layout cannot be converted: " + std::to_string(sourceChannels) + " channels to " +
             std::to_string(format.nChannels));
        return kExitFailed;
    case CONVERT_E_NOFORMAT:
        Fail(input + " has no audio that can be converted");
        return kExitCannotRead;
    default:
        Fail("the conversion failed: " + Reason(result));
        return ExitFor(result);
    }
}

int Commands::Status() {
    int32_t words[2] = {0, 0};
    const HRESULT result = m_server->QueryTKStatusByTrackloomRM(words);
    if (FAILED(result)) {
        Fail("the editors' status cannot be read: " + Reason(result));
        return ExitFor(result);
    }
    Print("editors running: " + std::to_string(words[0]) + ", listed: " + std::to_string(words[1]));
    return kExitOk;
}

} // namespace tideclip
