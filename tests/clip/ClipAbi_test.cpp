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

    using QueryModeFn = HRESULT (*)(void*, uint32_t*);
    uint32_t mode = 0;
    EXPECT_EQ(Slot<QueryModeFn>(clip.get(), 5)(clip.get(), &mode), S_OK);
    EXPECT_EQ(mode, 1u);
    using SetRenderFn = HRESULT (*)(void*, int32_t, int16_t);
    EXPECT_EQ(Slot<SetRenderFn>(clip.get(), 6)(clip.get(), 44100, 1), S_OK);
    using LengthFn = HRESULT (*)(void*, int64_t*);
    int64_t length = 0;
    EXPECT_EQ(Slot<LengthFn>(clip.get(), 8)(clip.get(), &length), S_OK);
    EXPECT_EQ(length, 8820);
    using ChannelsFn = HRESULT (*)(void*, int16_t*);
    int16_t channels = 0;
    EXPECT_EQ(Slot<ChannelsFn>(clip.get(), 11)(clip.get(), &channels), S_OK);
    EXPECT_EQ(channels, 2);
    EXPECT_EQ(Slot<LengthFn>(clip.get(), 14)(clip.get(), &length), S_OK); // GetLoopedLength
    EXPECT_EQ(length, 8820);
    using NoArgFn = HRESULT (*)(void*);
    EXPECT_EQ(Slot<NoArgFn>(clip.get(), 4)(clip.get()), E_NOTIMPL);  // Create
    EXPECT_EQ(Slot<NoArgFn>(clip.get(), 15)(clip.get()), E_NOTIMPL); // ShowEditor

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
    EXPECT_EQ(position, 100);
    EXPECT_EQ(TakeString(title), "one");
    EXPECT_EQ(TakeString(artist), "two");

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
    int64_t frames = 0;
    ASSERT_EQ(clip->GetOriginalLength(&frames), S_OK);
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
