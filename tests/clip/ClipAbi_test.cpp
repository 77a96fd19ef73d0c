// The clip's interfaces as a plain host meets them: methods at their slot numbers behind IUnknown's
// three, called through the table alone, and readers on several host threads at once.
#include "clip/ClipTestSupport.h"

#include <thread>

using namespace tw;
using namespace tw::test;

namespace {

// The function at `slot` of the interface's table, as a plain host would call it.
template <class Fn> Fn Slot(void* object, int slot) {
    return reinterpret_cast<Fn>((*static_cast<void***>(object))[slot]);
}

class ClipAbiTest : public ClipTest {};

TEST_F(ClipAbiTest, MethodsSitAtTheirListedSlots) {
    const std::string path = PathOf("slots.wav");
    WriteWav16(path, 2, 22050, 4410, [](int64_t f, int c) { return c ? 0.5 : -0.25; });
    AppendCues(path, {{100, "one", "two"}});
    ComPtr<IAbstractClip> clip = OpenClip(path);

    // QueryCreationMode, SetRenderFormat, GetOriginalLength, GetSourceChannels, GetLoopedLength,
    // Create and ShowEditor.
    uint32_t mode = 0;
    int64_t length = 0, looped = 0;
    int16_t channels = 0;
    void* c = clip.get();
    EXPECT_EQ((std::vector<HRESULT>{Slot<HRESULT (*)(void*, uint32_t*)>(c, 5)(c, &mode),
                                    Slot<HRESULT (*)(void*, int32_t, int16_t)>(c, 6)(c, 44100, 1),
                                    Slot<HRESULT (*)(void*, int64_t*)>(c, 8)(c, &length),
                                    Slot<HRESULT (*)(void*, int16_t*)>(c, 11)(c, &channels),
                                    Slot<HRESULT (*)(void*, int64_t*)>(c, 14)(c, &looped),
                                    Slot<HRESULT (*)(void*)>(c, 4)(c), Slot<HRESULT (*)(void*)>(c, 15)(c)}),
              (std::vector<HRESULT>{S_OK, S_OK, S_OK, S_OK, S_OK, E_NOTIMPL, E_NOTIMPL}));
    EXPECT_EQ(std::tuple(mode, length, channels, looped),
              std::tuple(1u, int64_t{8820}, int16_t{2}, int64_t{8820}));

    ComPtr<IAudioReader> reader = Query<IAudioReader>(clip.get(), IID_IAudioReader);
    uint64_t handle = 0;
    using OpenFn = HRESULT (*)(void*, uint64_t*);
    ASSERT_EQ(Slot<OpenFn>(reader.get(), 3)(reader.get(), &handle), S_OK);
    using ReadFn = HRESULT (*)(void*, uint64_t, SAFEARRAY**);
    SAFEARRAY* samples = SafeArrayCreateVector(VT_R4, 0, 4);
    EXPECT_EQ(Slot<ReadFn>(reader.get(), 5)(reader.get(), handle, &samples), S_OK);
    EXPECT_EQ(static_cast<float*>(samples->pvData)[0], -0.25f) << "a mono render takes the left channel";
    SafeArrayDestroy(samples);
    using CloseFn = HRESULT (*)(void*, uint64_t);
    EXPECT_EQ(Slot<CloseFn>(reader.get(), 6)(reader.get(), handle), S_OK);

    ComPtr<IVisualReader> visual = Query<IVisualReader>(clip.get(), IID_IVisualReader);
    using ProgressFn = HRESULT (*)(void*, int16_t*);
    int16_t progress = 0;
    EXPECT_EQ(Slot<ProgressFn>(visual.get(), 6)(visual.get(), &progress), S_OK);
    EXPECT_EQ(progress, 100);

    ComPtr<IIndexContainer> indexes = Query<IIndexContainer>(clip.get(), IID_IIndexContainer);
    using IndexFn = HRESULT (*)(void*, int32_t, int32_t*, int16_t*, BSTR*, BSTR*);
    int32_t position = 0;
    int16_t type = 0;
    BSTR title = nullptr;
    BSTR artist = nullptr;
    EXPECT_EQ(Slot<IndexFn>(indexes.get(), 4)(indexes.get(), 0, &position, &type, &title, &artist), S_OK);
    EXPECT_EQ(std::tuple(position, TakeString(title), TakeString(artist)), std::tuple(100, "one", "two"));

    ComPtr<ITrackSplitting> tracks = Query<ITrackSplitting>(clip.get(), IID_ITrackSplitting);
    using TrackFn = HRESULT (*)(void*, int32_t, int32_t*, int32_t*);
    int32_t begin = 0;
    int32_t end = 0;
    EXPECT_EQ(Slot<TrackFn>(tracks.get(), 5)(tracks.get(), 0, &begin, &end), E_FAIL);
}

TEST_F(ClipAbiTest, ReadersOnSeveralThreadsGiveWhatOneThreadGives) {
    const std::string path = PathOf("threads.wav");
    WriteWav16(path, 2, 44100, 44100 * 3,
               [](int64_t f, int c) { return std::sin(0.001 * static_cast<double>(f) * (c + 1)) * 0.7; });
    ComPtr<IAbstractClip> clip = OpenClip(path);
    ASSERT_EQ(clip->SetRenderFormat(48000, 2), S_OK);
    const int64_t frames = Length(clip.get());
    const std::vector<float> reference = ReadAll(clip.get(), frames, 2, 512);

    std::vector<std::vector<float>> results(4);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < results.size(); ++t)
        threads.emplace_back([&, t] { results[t] = ReadAll(clip.get(), frames, 2, 512); });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::vector<float>& result : results)
        EXPECT_EQ(result, reference);
}

} // namespace
