// The body and container fuzz case run over generated inputs in the default suite: a container in
// memory with streams of all kinds the memory can hold (samples inside it and a generator), a
// transform, cuts and labels, then that container cut short at every length, changed at random
// places, and random bytes.
#include "../../fuzz/BodyFuzzBody.h"
#include "storage/PeakTestSupport.h"

#include "dsp/MediaMakers.h"
#include "dsp/SignalGenerator.h"
#include "platform/Presentation.h"
#include "storage/PCMAudio.h"
#include "storage/RaffIO.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <tuple>

namespace tw {
namespace {

class BodyFuzzRegression : public ::testing::Test {
protected:
    void SetUp() override {
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        RegisterMediaMakers();
        fuzz::RegisterFuzzTransformMaker();
        container = MakeContainer();
        ASSERT_GT(container.size(), 200u);
    }
    void TearDown() override { RegisterTransformMaker(nullptr); }

    std::string MakeContainer() {
        CMemFileIO file;
        CRaffParser parser;
        parser.AttachContainer(&file);
        CEditedMedia media;

        const WAVEFORMATEX format = test::PcmFormat(2, 8000, 16);
        std::vector<int16_t> samples(2 * 1024);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<int16_t>(i * 37);
        CMemFileIO data(reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * 2);
        data.Format = format;
        std::vector<uint8_t> rows(1024 / 256 * 2 * 8);
        CMemFileIO peaks(rows.data(), rows.size());
        auto* inside = new CPCMAudio;
        if (!inside->Attach(parser.ImportStream(data), parser.ImportStream(peaks))) {
            delete inside;
            return {};
        }
        auto add = [&](CMediaStream* stream, int64_t at) {
            ObjectPool().AddRef(stream);
            media.AddMedia(stream, at);
            ObjectPool().Release(stream);
        };
        add(inside, 0);
        add(new CSignalGenerator(&format, 3000, CSignalGenerator::pinkNoise, 100.0f, 200.0f, 0.7f), 500);

        auto* effect = new fuzz::FuzzTransform;
        effect->SetState({1, 2, 3});
        effect->SetBypass(true);
        media.ApplyTransform(CSection(100, 2000), effect);
        media.DeleteSection(CSection(50, 60), true);
        media.GetEventAt(1)->SetCrossFade(20);
        media.GetLabels().Add(10, 0, "a", "b");
        media.GetLabels().Add(900, 0, "", "");
        parser.SaveState(media, nullptr, CSection(0, 4000), CSection(5, 6));
        media.Clear();
        const std::vector<uint8_t> bytes = file.Detach();
        return std::string(bytes.begin(), bytes.end());
    }

    void Expect(const std::string& bytes) {
        const fuzz::BodyFuzzOutcome outcome = fuzz::RunBodyFuzzCase(bytes);
        ASSERT_TRUE(outcome.consistent) << outcome.problem << " (input of " << bytes.size() << " bytes)";
    }

    test::ScratchHome home;
    std::string container;
};

TEST_F(BodyFuzzRegression, TheGeneratedContainer_LoadsAndStoresAlike) {
    Expect(container);
    // The case really reads it as a document: the same bytes load outside the case too.
    CMemFileIO file(reinterpret_cast<const uint8_t*>(container.data()), container.size());
    CRaffParser parser;
    parser.AttachContainer(&file);
    CEditedMedia media;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadState(media, nullptr, view, selection, false));
    EXPECT_EQ(std::tuple(media.GetSourceCount(), media.GetTransformCount(), media.GetLength()),
              std::tuple(2, 1, int64_t{1024 - 10 + 3000}));
    media.Clear();
}

TEST_F(BodyFuzzRegression, CutShortChangedOrRandom_FailsWithoutHarmOrLoadsConsistently) {
    for (size_t length = 0; length < container.size(); ++length)
        Expect(container.substr(0, length));
    std::mt19937 random(20261122);
    for (int round = 0; round < 300; ++round) {
        std::string changed = container;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits; ++e)
            changed[random() % changed.size()] = static_cast<char>(random());
        Expect(changed);

        std::string bytes(random() % 200, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random() % 4 == 0 ? random() : random() % 3);
        Expect(bytes);
    }
}

} // namespace
} // namespace tw
