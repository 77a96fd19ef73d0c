// Shared pieces of the document-body and container tests: transforms made by class id whose state
// bytes carry a gain and a time ratio, a registered maker for them, generated WAV sources opened
// through the real filters, and comparison of two documents event by event.
#pragma once

#include "PeakTestSupport.h"

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaEvent.h"
#include "core/ObjectPool.h"
#include "core/Transform.h"
#include "platform/Presentation.h"
#include "storage/Archive.h"
#include "storage/BodyRecords.h"
#include "storage/FileFilterManager.h"
#include "storage/PCMAudio.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace tw::test {

// {5A1E0001-...}: a gain; its sub id is kept as made. Any other first id is "gone".
constexpr GUID kScaleClass = {0x5A1E0001, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kGoneClass = {0xDEAD0001, 0x1111, 0x2222, {1, 2, 3, 4, 5, 6, 7, 8}};

// State: gain (float) and time ratio (float), 8 bytes; any other size is refused.
class ScaleTransform : public CTransformBase {
public:
    explicit ScaleTransform(const GUID& subId) : m_subId(subId) {}
    CTransformBase* CreateReadInstance() override { return nullptr; }
    CMediaData* Process(CMediaData* input) override { return input; }
    double GetTimeRatio() override { return m_ratio; }
    std::string GetName() override { return "Scale"; }
    GUID GetClassId() const override { return kScaleClass; }
    GUID GetSubId() const override { return m_subId; }
    std::vector<uint8_t> GetState() override {
        std::vector<uint8_t> state(8);
        std::memcpy(state.data(), &m_gain, 4);
        std::memcpy(state.data() + 4, &m_ratio, 4);
        return state;
    }
    bool SetState(const std::vector<uint8_t>& state) override {
        if (state.size() != 8)
            return false;
        std::memcpy(&m_gain, state.data(), 4);
        std::memcpy(&m_ratio, state.data() + 4, 4);
        return m_ratio > 0.0f;
    }
    bool SetFormat(int32_t rate, int32_t channels) override {
        m_rate = rate;
        m_channels = channels;
        return true;
    }
    bool GetBypass() const override { return m_bypass; }
    void SetBypass(bool bypass) override { m_bypass = bypass; }

    GUID m_subId;
    float m_gain = 1.0f;
    float m_ratio = 1.0f;
    bool m_bypass = false;
    int32_t m_rate = 0;
    int32_t m_channels = 0;
};

inline CTransformBase* MakeScale(const GUID& classId, const GUID& subId) {
    if (std::memcmp(&classId, &kScaleClass, sizeof(GUID)) != 0)
        return nullptr;
    return new ScaleTransform(subId);
}

// The scale's class id as a transform record stores it.
inline void WriteScaleClassId(CArchive& out) {
    out.WriteU32(kScaleClass.Data1);
    out.WriteU16(kScaleClass.Data2);
    out.WriteU16(kScaleClass.Data3);
    out.WriteBytes(kScaleClass.Data4, 8);
}

inline bool SameGuid(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

// A test of bodies: private folders, the real filters, a scripted presentation and the scale
// maker; the previous maker comes back afterwards.
class BodyTest : public ::testing::Test {
protected:
    void SetUp() override {
        filters = std::make_unique<CFileFilterManager>();
        filters->Initialise(std::string(TW_OUTPUT_DIR) + "/FormatHost/libformathost.so");
        if (!filters->IsLoaded() || CFileFilterManager::Instance() != filters.get())
            GTEST_SKIP() << "the format library is not built";
        SetPresentation(presentation);
        RegisterTransformMaker(&MakeScale);
        poolBefore = ObjectPool().GetCount();
    }
    void TearDown() override {
        RegisterTransformMaker(nullptr);
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        filters.reset();
    }

    // A stereo 16-bit WAV whose samples tell frame and channel apart.
    std::string Wav(const std::string& name, int64_t frames, int channels = 2) {
        const std::string path = home.root + "/" + name;
        WriteWav(path, PcmFormat(channels, 44100, 16), frames,
                 [](int64_t f, int c) { return (f * 7 + c * 1000) % 30000 - 15000; });
        return path;
    }
    // Opened and pooled; the caller's reference is handed to `media` (which takes its own).
    CPCMAudio* AddFile(CEditedMedia& media, const std::string& path) {
        CPCMAudio* stream = CPCMAudio::OpenShared(path);
        EXPECT_NE(stream, nullptr);
        if (stream) {
            media.AddMedia(stream, media.GetLength());
            ObjectPool().Release(stream);
        }
        return stream;
    }
    ScaleTransform* NewScale(float gain, float ratio, bool bypass) {
        auto* t = new ScaleTransform(GUID{7, 8, 9, {9, 9, 9, 9, 9, 9, 9, 9}});
        t->m_gain = gain;
        t->m_ratio = ratio;
        t->m_bypass = bypass;
        return t;
    }

    ScratchHome home;
    std::unique_ptr<CFileFilterManager> filters;
    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
    int32_t poolBefore = 0;
};

// Equal by what a body keeps: source positions, ranges, fades, flags, chains by position, label
// positions.
inline void ExpectSameBody(const CEditedMedia& a, const CEditedMedia& b) {
    ASSERT_EQ(a.GetEventCount(), b.GetEventCount());
    auto sourceIndex = [](const CEditedMedia& m, const CMediaStream* s) {
        for (int32_t i = 0; i < m.GetSourceCount(); ++i)
            if (m.GetSourceAt(i) == s)
                return i;
        return -1;
    };
    auto transformIndex = [](const CEditedMedia& m, const CTransformBase* t) {
        for (int32_t i = 0; i < m.GetTransformCount(); ++i)
            if (m.GetTransformAt(i) == t)
                return i;
        return -1;
    };
    for (int32_t i = 0; i < a.GetEventCount(); ++i) {
        const CMediaEvent* x = a.GetEventAt(i);
        const CMediaEvent* y = b.GetEventAt(i);
        EXPECT_EQ(sourceIndex(a, x->GetStream()), sourceIndex(b, y->GetStream())) << "event " << i;
        EXPECT_EQ(x->GetSourceSection(), y->GetSourceSection()) << "event " << i;
        EXPECT_EQ(x->GetTimelineSection(), y->GetTimelineSection()) << "event " << i;
        EXPECT_EQ(x->GetCrossFadeOut(), y->GetCrossFadeOut()) << "event " << i;
        EXPECT_EQ(x->m_spliceFlag, y->m_spliceFlag) << "event " << i;
        EXPECT_EQ(x->m_pastedFlag, y->m_pastedFlag) << "event " << i;
        ASSERT_EQ(x->GetChain().GetCount(), y->GetChain().GetCount()) << "event " << i;
        for (int32_t t = 0; t < x->GetChain().GetCount(); ++t)
            EXPECT_EQ(transformIndex(a, x->GetChain().GetAt(t)), transformIndex(b, y->GetChain().GetAt(t)));
    }
    EXPECT_EQ(a.GetLength(), b.GetLength());
}

} // namespace tw::test
