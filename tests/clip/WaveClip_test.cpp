// CWaveClip through its interfaces: identity and counting, opening files and projects, formats and
// lengths, indexes from cue chunks, tracks between pauses, serialisation, and bad arguments.
#include "clip/ClipTestSupport.h"

#include "clip/WaveClip.h"
#include "platform/ComRegistry.h"

#include <algorithm>
#include <tuple>

using namespace tw;
using namespace tw::test;

namespace {

constexpr double kPi = 3.14159265358979323846;

double Sine(int64_t frame, double hertz, int rate, double amplitude) {
    return amplitude * std::sin(2.0 * kPi * hertz * static_cast<double>(frame) / rate);
}

class WaveClipTest : public ClipTest {};

TEST_F(WaveClipTest, OneIdentityThroughEveryInterfaceAndTheLastReleaseDeletes) {
    void* raw = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_CWaveClip, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &raw), S_OK);
    auto* unknown = static_cast<IUnknown*>(raw);
    for (const IID* iid :
         {&IID_IAbstractClip, &IID_IAudioReader, &IID_IVisualReader, &IID_ISerializable, &IID_ITrackSplitting,
          &IID_ITransitionScale, &IID_IIndexContainer, &IID_ISupportErrorInfo}) {
        void* out = nullptr;
        ASSERT_EQ(unknown->QueryInterface(*iid, &out), S_OK);
        void* back = nullptr;
        ASSERT_EQ(static_cast<IUnknown*>(out)->QueryInterface(IID_IUnknown, &back), S_OK);
        EXPECT_EQ(back, raw) << "every interface leads back to the same object";
        static_cast<IUnknown*>(back)->Release();
        static_cast<IUnknown*>(out)->Release();
    }
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(unknown->QueryInterface(IID_IClassFactory, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);

    void* errorsRaw = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_ISupportErrorInfo, &errorsRaw), S_OK);
    auto* errors = static_cast<ISupportErrorInfo*>(errorsRaw);
    EXPECT_EQ((std::vector<HRESULT>{errors->InterfaceSupportsErrorInfo(IID_IAbstractClip),
                                    errors->InterfaceSupportsErrorInfo(IID_IIndexContainer),
                                    errors->InterfaceSupportsErrorInfo(IID_IUnknown)}),
              (std::vector<HRESULT>{S_OK, S_OK, S_FALSE}));

    // The creation reference, the ISupportErrorInfo one, and one more.
    const int32_t live = CWaveClip::LiveCount();
    EXPECT_EQ((std::vector<uint32_t>{unknown->AddRef(), unknown->Release(), errors->Release()}),
              (std::vector<uint32_t>{3u, 2u, 1u}));
    EXPECT_EQ(CWaveClip::LiveCount(), live);
    EXPECT_EQ(unknown->Release(), 0u);
    EXPECT_EQ(CWaveClip::LiveCount(), live - 1);
}

TEST_F(WaveClipTest, TheFactoryIsRegisteredByNameAndRefusesAggregation) {
    bool found = false;
    for (const RegisteredClass& entry : RegisteredClasses())
        found = found || (entry.clsid == CLSID_CWaveClip && entry.friendlyName == "CWaveClip Object");
    EXPECT_TRUE(found);

    void* raw = nullptr;
    ASSERT_EQ(GetRegisteredClassObject(CLSID_CWaveClip, IID_IClassFactory, &raw), S_OK);
    auto* factory = static_cast<IClassFactory*>(raw);
    ComPtr<IAbstractClip> outer = NewClip();
    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->CreateInstance(outer.get(), IID_IAbstractClip, &out), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &out), E_NOINTERFACE);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_ITrackSplitting, &out), S_OK);
    static_cast<IUnknown*>(out)->Release();
    factory->Release();
}

TEST_F(WaveClipTest, FixedAnswersOfAClipWithoutAFile) {
    ComPtr<IAbstractClip> clip = NewClip();
    uint32_t mode = 0;
    // The clip engine alone has no editor windows.
    EXPECT_EQ((std::vector<HRESULT>{clip->Create(), clip->QueryCreationMode(&mode), clip->ShowEditor()}),
              (std::vector<HRESULT>{E_NOTIMPL, S_OK, E_NOTIMPL}));
    EXPECT_EQ(mode, 1u);
    EXPECT_EQ(std::tuple(Channels(clip.get()), Length(clip.get()), Name(clip.get())),
              std::tuple(int16_t{0}, int64_t{0}, std::string()));

    ComPtr<IVisualReader> visual = Query<IVisualReader>(clip.get(), IID_IVisualReader);
    VARIANT_BOOL bitmap = VARIANT_TRUE;
    IUnknown* picture = reinterpret_cast<IUnknown*>(1);
    int16_t progress = 0;
    EXPECT_EQ(
        (std::vector<HRESULT>{visual->QueryBitmapSupport(&bitmap),
                              visual->GetBitmap(0, 100, 10, 10, &picture), visual->GetProgress(&progress)}),
        (std::vector<HRESULT>{S_OK, E_NOTIMPL, S_OK}));
    EXPECT_EQ(std::tuple(bitmap, picture, progress),
              std::tuple(VARIANT_BOOL(VARIANT_FALSE), nullptr, int16_t{100}));

    // An empty clip reads silence.
    ASSERT_EQ(clip->SetRenderFormat(48000, 2), S_OK);
    const std::vector<float> silence = ReadAll(clip.get(), 100, 2);
    EXPECT_TRUE(std::all_of(silence.begin(), silence.end(), [](float v) { return v == 0.0f; }));

    // The stored values take anything.
    EXPECT_EQ(clip->SetTempoScale(1.5f, 120.0f), S_OK);
    ComPtr<ITransitionScale> transition = Query<ITransitionScale>(clip.get(), IID_ITransitionScale);
    EXPECT_EQ(transition->TransitionScale(4410, 3, 0.5f), S_OK);
}

TEST_F(WaveClipTest, BadArgumentsGiveTheirCodesAndChangeNothing) {
    const std::string path = PathOf("short.wav");
    WriteWav16(path, 1, 44100, 1000, [](int64_t f, int) { return (f % 100) / 200.0; });
    ComPtr<IAbstractClip> clip = OpenClip(path);

    // The last: a clip offers no host interface.
    EXPECT_EQ(
        (std::vector<HRESULT>{clip->OpenFile(nullptr), clip->OpenFile(Bstr("")), clip->SetRenderFormat(0, 2),
                              clip->SetRenderFormat(48000, 0), clip->SetRenderFormat(-44100, 2),
                              clip->SetRenderFormat(2000000000, 8), clip->SetLoopedLength(-1),
                              clip->GetOriginalLength(nullptr), clip->QueryCreationMode(nullptr),
                              clip->ReplaceEditedMedia(nullptr, 0, 10), clip->SetHost(clip.get())}),
        (std::vector<HRESULT>{E_INVALIDARG, E_INVALIDARG, E_INVALIDARG, E_INVALIDARG, E_INVALIDARG,
                              E_INVALIDARG, E_INVALIDARG, E_POINTER, E_POINTER, S_FALSE, E_FAIL}));
    EXPECT_EQ(Length(clip.get()), 1000);

    ComPtr<IVisualReader> visual = Query<IVisualReader>(clip.get(), IID_IVisualReader);
    SAFEARRAY* curve = nullptr;
    EXPECT_EQ(
        (std::vector<HRESULT>{visual->GetCurve(0, 1000, 0, &curve), visual->GetCurve(0, 1000, -5, &curve),
                              visual->GetCurve(500, 100, 10, &curve), visual->GetCurve(-1, 100, 10, &curve)}),
        std::vector<HRESULT>(4, E_INVALIDARG));
    EXPECT_EQ(curve, nullptr);

    ComPtr<ISerializable> serial = Query<ISerializable>(clip.get(), IID_ISerializable);
    EXPECT_EQ(serial->CreateFromSerialization(nullptr), E_INVALIDARG);
    SAFEARRAY* floats = SafeArrayCreateVector(VT_R4, 0, 8);
    EXPECT_EQ(serial->CreateFromSerialization(floats), E_INVALIDARG) << "bytes only";
    SafeArrayDestroy(floats);
    EXPECT_EQ(Length(clip.get()), 1000) << "a refused restore leaves the clip";
}

TEST_F(WaveClipTest, OpeningGivesNameChannelsAndLengthAtTheRenderRate) {
    const std::string path = PathOf("tone_44100_2ch_16bit.wav");
    WriteWav16(path, 2, 44100, 44100, [](int64_t f, int c) { return Sine(f, 440.0 * (c + 1), 44100, 0.5); });
    ComPtr<IAbstractClip> clip = OpenClip(path);
    EXPECT_EQ(std::tuple(Name(clip.get()), Channels(clip.get())), std::tuple(path, int16_t{2}));
    EXPECT_EQ(Length(clip.get()), 44100) << "without a render format the clip renders at its own rate";
    ASSERT_EQ(clip->SetRenderFormat(48000, 1), S_OK);
    const int64_t length = Length(clip.get());
    EXPECT_EQ(length, static_cast<int64_t>(44100.0 / static_cast<double>(44100.0f / 48000.0f)));
    EXPECT_NEAR(static_cast<double>(length), 48000.0, 1.0);
    EXPECT_EQ(Channels(clip.get()), 2) << "the render channel count is the host's, not the source's";

    // The looped length starts as the whole clip and converts both ways.
    EXPECT_EQ(Looped(clip.get()), length);
    EXPECT_EQ(clip->SetLoopedLength(96000), S_OK);
    EXPECT_NEAR(static_cast<double>(Looped(clip.get())), 96000.0, 2.0);
}

TEST_F(WaveClipTest, AnUnreadableFileShowsTheReadMessageAndFails) {
    const std::string missing = PathOf("missing.wav");
    ComPtr<IAbstractClip> clip = NewClip();
    m_presentation->Clear();
    EXPECT_EQ(clip->OpenFile(Bstr(missing)), E_FAIL);
    ASSERT_FALSE(m_presentation->Boxes().empty());
    EXPECT_EQ(m_presentation->Boxes().back(),
              "An error occurred while reading from the file " + missing + ".");

    const std::string text = PathOf("notes.wav");
    std::ofstream(text) << "RIFF\x10\0\0\0WAVEjunk and nothing else";
    EXPECT_EQ(clip->OpenFile(Bstr(text)), E_FAIL);

    const std::string project = PathOf("broken.VTF");
    std::ofstream(project) << "RAFX this is no container";
    m_presentation->Clear();
    EXPECT_EQ(clip->OpenFile(Bstr(project)), E_FAIL) << "the suffix is compared without case";
    ASSERT_EQ(m_presentation->Boxes().size(), 1u);
    EXPECT_EQ(m_presentation->Boxes()[0], "An error occurred while reading from the file " + project + ".");

    EXPECT_EQ(Length(clip.get()), 0);
}

TEST_F(WaveClipTest, ProgressIsAtOnceCompleteWhenThePeakFileExists) {
    const std::string path = PathOf("long.wav");
    WriteWav16(path, 2, 44100, 44100 * 20, [](int64_t f, int c) { return Sine(f, 300.0 + c, 44100, 0.3); });
    {
        ComPtr<IAbstractClip> first = NewClip();
        ASSERT_EQ(first->OpenFile(Bstr(path)), S_OK);
        WaitForPeaks(first.get());
    }
    ComPtr<IAbstractClip> second = NewClip();
    ASSERT_EQ(second->OpenFile(Bstr(path)), S_OK);
    int16_t progress = 0;
    EXPECT_EQ(Query<IVisualReader>(second.get(), IID_IVisualReader)->GetProgress(&progress), S_OK);
    EXPECT_EQ(progress, 100);
}

TEST_F(WaveClipTest, ReleasingAClipWhileItsScanRunsStopsTheScan) {
    const std::string path = PathOf("scanned.wav");
    WriteWav16(path, 2, 44100, 44100 * 60, [](int64_t f, int) { return ((f / 50) % 2) ? 0.25 : -0.25; });
    for (int i = 0; i < 3; ++i) {
        ComPtr<IAbstractClip> clip = NewClip();
        ASSERT_EQ(clip->OpenFile(Bstr(path)), S_OK);
        ComPtr<IVisualReader> visual = Query<IVisualReader>(clip.get(), IID_IVisualReader);
        int16_t progress = -1;
        EXPECT_EQ(visual->GetProgress(&progress), S_OK);
        EXPECT_GE(progress, 0);
        EXPECT_LE(progress, 100);
    } // each release cancels and joins its scan; a leak or a late write would show under the sanitizers
}

TEST_F(WaveClipTest, IndexesComeFromTheCueChunkWithTitleArtistAndType) {
    const std::string path = PathOf("cues.wav");
    WriteWav16(path, 2, 44100, 20000, [](int64_t f, int) { return Sine(f, 1000.0, 44100, 0.4); });
    AppendCues(path, {{1000, "Intro", "Ann Example"}, {15000, "Finale", ""}});
    ComPtr<IAbstractClip> clip = OpenClip(path);
    EXPECT_EQ(Indexes(clip.get()),
              (std::vector<Index>{{1000, 0, "Intro", "Ann Example"}, {15000, 0, "Finale", ""}}));
    ComPtr<IIndexContainer> indexes = Query<IIndexContainer>(clip.get(), IID_IIndexContainer);
    int32_t position = -1;
    int16_t type = -1;
    BSTR title = nullptr;
    BSTR artist = nullptr;
    EXPECT_EQ((std::vector<HRESULT>{indexes->GetIndex(2, &position, &type, &title, &artist),
                                    indexes->GetIndex(-1, &position, &type, &title, &artist),
                                    indexes->GetIndex(0, nullptr, &type, &title, &artist)}),
              (std::vector<HRESULT>{E_INVALIDARG, E_INVALIDARG, E_POINTER}));
}

// One second of tone, three of silence, two of tone, at 44100 Hz.
std::string ToneSilenceTone(const std::string& path) {
    WriteWav16(path, 1, 44100, 44100 * 6, [](int64_t f, int) {
        return (f < 44100 || f >= 4 * 44100) ? Sine(f, 1000.0, 44100, 0.5) : 0.0;
    });
    return path;
}

TEST_F(WaveClipTest, TracksAreTheSoundBetweenPausesAtPeakRecordResolution) {
    ComPtr<IAbstractClip> clip = OpenClip(ToneSilenceTone(PathOf("tracks.wav")));
    ComPtr<ITrackSplitting> tracks = Query<ITrackSplitting>(clip.get(), IID_ITrackSplitting);
    int32_t count = -1;
    EXPECT_EQ(tracks->GetTrackCount(&count), S_OK);
    EXPECT_EQ(count, 0) << "nothing is found before detection";

    // The first tone ends inside record 172; the pause begins with the first quiet record. The second
    // tone begins inside record 689, the first loud one. The same threshold as a linear level finds
    // the same; a pause longer than the silence, none.
    const auto sections = [&](float threshold, float pause) {
        EXPECT_EQ(tracks->DetectTracks(threshold, 0.5f, pause), S_OK);
        EXPECT_EQ(tracks->GetTrackCount(&count), S_OK);
        std::vector<std::pair<int32_t, int32_t>> out(static_cast<size_t>(std::max(count, 0)));
        for (int32_t i = 0; i < count; ++i)
            EXPECT_EQ(tracks->GetTrackSection(i, &out[i].first, &out[i].second), S_OK);
        return out;
    };
    const std::vector<std::pair<int32_t, int32_t>> two = {{0, 173 * 256}, {689 * 256, 6 * 44100}};
    EXPECT_EQ(sections(-50.0f, 1.0f), two);
    EXPECT_EQ(sections(0.00316f, 1.0f), two);
    EXPECT_EQ(sections(0.00316f, 3.5f).size(), 1u);
    int32_t begin = -1, end = -1;

    EXPECT_EQ(tracks->GetTrackSection(1, &begin, &end), E_FAIL);
    EXPECT_EQ(tracks->GetTrackSection(-1, &begin, &end), E_FAIL);
    SAFEARRAY* data = nullptr;
    EXPECT_EQ(tracks->SerializeTrackClip(5, &data), E_FAIL);
    EXPECT_EQ(tracks->DetectTracks(0.01f, -1.0f, 1.0f), E_INVALIDARG);
}

TEST_F(WaveClipTest, ASerialisedTrackRestoresAsAClipOfThatTrack) {
    ComPtr<IAbstractClip> clip = OpenClip(ToneSilenceTone(PathOf("tracks2.wav")));
    ComPtr<ITrackSplitting> tracks = Query<ITrackSplitting>(clip.get(), IID_ITrackSplitting);
    ASSERT_EQ(tracks->DetectTracks(-50.0f, 0.5f, 1.0f), S_OK);
    SAFEARRAY* data = nullptr;
    ASSERT_EQ(tracks->SerializeTrackClip(1, &data), S_OK);
    ComPtr<IAbstractClip> track = NewClip();
    ASSERT_EQ(Restore(track.get(), Bytes(data)), S_OK);
    EXPECT_EQ(Length(track.get()), 6 * 44100 - 689 * 256);
    // It begins inside the record where the tone starts: silence, then the tone at its phase.
    const std::vector<float> samples = ReadAll(track.get(), 200, 1);
    const int64_t toneStart = 4 * 44100 - 689 * 256;
    EXPECT_EQ(samples[toneStart - 1], 0.0f);
    EXPECT_NEAR(samples[toneStart + 10], Sine(4 * 44100 + 10, 1000.0, 44100, 0.5), 1.0 / 32768.0);
}

TEST_F(WaveClipTest, SerialisationRoundTripKeepsSamplesLengthAndIndexPositions) {
    const std::string path = PathOf("round.wav");
    WriteWav16(path, 2, 22050, 30000, [](int64_t f, int c) { return Sine(f, 700.0, 22050, c ? 0.2 : 0.6); });
    AppendCues(path, {{12345, "Chorus", "Someone"}});
    ComPtr<IAbstractClip> clip = OpenClip(path);
    const std::vector<uint8_t> bytes = Serialized(clip.get());
    ASSERT_GT(bytes.size(), 34u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RAFF");
    EXPECT_EQ(bytes[4] | bytes[5] << 8, 3) << "version 3";

    ComPtr<IAbstractClip> copy = NewClip();
    ASSERT_EQ(copy->SetRenderFormat(22050, 2), S_OK);
    ASSERT_EQ(Restore(copy.get(), bytes), S_OK);
    EXPECT_EQ(std::pair(Length(copy.get()), Looped(copy.get())), std::pair(int64_t{30000}, int64_t{30000}));
    ASSERT_EQ(clip->SetRenderFormat(22050, 2), S_OK);
    EXPECT_EQ(ReadAll(copy.get(), 30000, 2), ReadAll(clip.get(), 30000, 2));

    // Positions survive the container; texts do not.
    EXPECT_EQ(Indexes(copy.get()), (std::vector<Index>{{12345, 0, "", ""}}));

    // The same bytes in a file are a project.
    const std::string project = PathOf("round.vtf");
    std::ofstream(project, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ComPtr<IAbstractClip> opened = NewClip();
    ASSERT_EQ(opened->OpenFile(Bstr(project)), S_OK);
    EXPECT_EQ(std::tuple(Length(opened.get()), Name(opened.get())), std::tuple(int64_t{30000}, project));
    ASSERT_EQ(opened->SetRenderFormat(22050, 2), S_OK);
    EXPECT_EQ(ReadAll(opened.get(), 30000, 2), ReadAll(clip.get(), 30000, 2));
}

TEST_F(WaveClipTest, DamagedSerialisationsFailWithoutHarm) {
    const std::string path = PathOf("damaged.wav");
    WriteWav16(path, 1, 44100, 5000, [](int64_t f, int) { return Sine(f, 500.0, 44100, 0.5); });
    ComPtr<IAbstractClip> clip = OpenClip(path);
    const std::vector<uint8_t> bytes = Serialized(clip.get());
    // Empty, a wrong magic, a newer version, a huge stream count, an unknown kind of the first stream.
    const uint32_t state = Le32(&bytes[10]);
    std::vector<std::vector<uint8_t>> damaged = {{}, bytes, bytes, bytes, bytes};
    damaged[1][0] = 'X';
    damaged[2][4] = 4;
    std::fill_n(damaged[3].begin() + state, 4, 0xFF);
    damaged[4][state + 4] = 9;
    ComPtr<IAbstractClip> target = NewClip();
    for (const std::vector<uint8_t>& case_ : damaged)
        EXPECT_EQ(Restore(target.get(), case_), E_FAIL) << case_.size() << " bytes";
    // A memory container reads zeros behind its end, as a file does: a cut may load as a shorter
    // document or fail, but never harms the clip.
    for (size_t cut = 1; cut < bytes.size(); cut += 5) {
        const HRESULT hr = Restore(target.get(), std::vector<uint8_t>(bytes.begin(), bytes.begin() + cut));
        EXPECT_TRUE(hr == S_OK || hr == E_FAIL) << cut;
        const int64_t length = Length(target.get());
        EXPECT_TRUE(length == 0 || length == 5000) << cut << ": " << length;
    }
}

TEST_F(WaveClipTest, TempoOfAClickTrackAndOfAClipTooShort) {
    const std::string shortPath = PathOf("short_tempo.wav");
    WriteWav16(shortPath, 1, 44100, 30000, [](int64_t f, int) { return Sine(f, 8000.0, 44100, 0.5); });
    ComPtr<IAbstractClip> shortClip = OpenClip(shortPath);
    float bpm = -1.0f;
    ASSERT_EQ(shortClip->GetOriginalTempo(&bpm, 0, 0), S_OK);
    EXPECT_EQ(bpm, 0.0f);

    // 120 beats per minute: a 10 ms burst at 8 kHz every half second.
    const std::string clicks = PathOf("clicks.wav");
    WriteWav16(clicks, 1, 44100, 44100 * 8,
               [](int64_t f, int) { return (f % 22050) < 441 ? Sine(f, 8000.0, 44100, 0.8) : 0.0; });
    ComPtr<IAbstractClip> clip = OpenClip(clicks);
    ASSERT_EQ(clip->GetOriginalTempo(&bpm, 44100, 0), S_OK);
    EXPECT_NEAR(bpm, 120.0f, 3.0f);
    ASSERT_EQ(clip->GetOriginalTempo(&bpm, 0, 1), S_OK);
    EXPECT_NEAR(bpm, 120.0f, 3.0f);
    EXPECT_EQ(clip->GetOriginalTempo(nullptr, 0, 0), E_POINTER);
}

TEST_F(WaveClipTest, FilterTextsForImportAndExport) {
    ComPtr<IAbstractClip> clip = NewClip();
    BSTR text = nullptr;
    ASSERT_EQ(clip->GetFileFilterText(&text, VARIANT_TRUE), S_OK);
    const std::string import = TakeString(text);
    ASSERT_EQ(clip->GetFileFilterText(&text, VARIANT_FALSE), S_OK);
    const std::string exportText = TakeString(text);
    EXPECT_NE(import.find("*.wav"), std::string::npos);
    EXPECT_NE(import.find("All Files (*.*)|*.*|"), std::string::npos);
    EXPECT_NE(exportText.find("*.wav"), std::string::npos);
    EXPECT_EQ(exportText.find("All Files (*.*)"), std::string::npos);
}

} // namespace
