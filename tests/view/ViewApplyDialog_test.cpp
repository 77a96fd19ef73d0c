// The effect dialog on a document: its preset file across runs, the boxes of its preset buttons, a
// damaged preset file, and the preview as the virtual card hears it (channels muted, a value
// changed while it plays, re-configure mode through the playing clones), and offline processing.
#include "TransportTestSupport.h"

#include "dsp/PresetFile.h"
#include "view/ApplyDialog.h"

#include "platform/Paths.h"

#include <cmath>
#include <filesystem>
#include <fstream>

namespace tw::test {
namespace {

float Gain(CTransformPlugin& transform) {
    const std::vector<uint8_t> state = transform.GetState();
    float gain = 0;
    if (state.size() == sizeof(float))
        std::memcpy(&gain, state.data(), sizeof(float));
    return gain;
}

std::unique_ptr<CTransformPlugin> NewGain(float gain) {
    doubles::RegisterTransforms();
    std::unique_ptr<CTransformPlugin> transform(CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1));
    transform->SetFormat(44100, 2);
    transform->SetValue(0, gain);
    return transform;
}

class ApplyDialogTest : public TransportTest {
protected:
    // Long enough for a change to come through the device's second of queued sound, the blocks the
    // play thread renders ahead of it and, in re-configure mode, the dialog's timer.
    static constexpr int kHeard = 1900;

    void SetUp() override {
        TransportTest::SetUp();
        doubles::RegisterTransforms();
    }

    // A dialog as DoModal would start it, without the nested loop: the test presses its controls.
    std::unique_ptr<CApplyDialog> Open(CTransformPlugin& transform, CApplyDialog::Mode mode) {
        auto dialog = std::make_unique<CApplyDialog>(view.get(), &transform, mode);
        dialog->Create(view->GetSafeHandle());
        dialog->OnInitDialog();
        return dialog;
    }
    std::string PresetPath(CTransformPlugin& transform) { return CPresetFile::PathFor(transform); }

    // The mean absolute level of each channel in the last `frames` frames the card was given.
    std::vector<double> RecentLevels(int64_t frames) {
        const std::vector<uint8_t> bytes = card->GetCaptured();
        const int64_t total = static_cast<int64_t>(bytes.size()) / 4;
        std::vector<double> level(2, 0.0);
        const int64_t from = std::max<int64_t>(0, total - frames);
        for (int64_t f = from; f < total; ++f)
            for (int c = 0; c < 2; ++c) {
                int16_t v;
                std::memcpy(&v, bytes.data() + f * 4 + c * 2, 2);
                level[c] += std::abs(v);
            }
        for (double& l : level)
            l /= static_cast<double>(std::max<int64_t>(1, total - from));
        return level;
    }
};

TEST_F(ApplyDialogTest, PresetsOutliveTheDialogAndANewTransformStartsWithTheLastSettings) {
    LoadWav(44100);
    auto first = NewGain(0.7f);
    {
        auto dialog = Open(*first, CApplyDialog::applyMode);
        EXPECT_EQ(dialog->GetPresetNames(), (std::vector<std::string>{"Soft", "Loud"}));
        dialog->AddPreset("Warm");
        first->SetValue(0, 0.3f);
        dialog->OnOK();
    }
    const CPresetFile stored = CPresetFile::Load(PresetPath(*first), first.get());
    ASSERT_TRUE(stored.hasLast);
    ASSERT_EQ(stored.presets.size(), 1u);
    EXPECT_EQ(stored.presets[0].GetName(), "Warm");

    // A new instance opens as the last one ended; a user preset wins over the factory's.
    auto second = NewGain(1.0f);
    {
        auto dialog = Open(*second, CApplyDialog::applyMode);
        EXPECT_FLOAT_EQ(Gain(*second), 0.3f);
        EXPECT_EQ(dialog->GetPresetNames(), (std::vector<std::string>{"Soft", "Loud", "Warm"}));
        dialog->SetFormField(CApplyDialog::kPresetPickKey, "Warm");
        EXPECT_FLOAT_EQ(Gain(*second), 0.7f);
        dialog->SetFormField(CApplyDialog::kPresetPickKey, "Soft");
        EXPECT_FLOAT_EQ(Gain(*second), 0.5f);
        // Cancel puts back the state of the start, and that is what the next run starts with.
        dialog->OnCancel();
    }
    EXPECT_FLOAT_EQ(Gain(*second), 0.3f);
    auto third = NewGain(1.0f);
    Open(*third, CApplyDialog::applyMode)->OnCancel();
    EXPECT_FLOAT_EQ(Gain(*third), 0.3f);

    // An effect already in the document keeps its own settings, and Cancel leaves them.
    auto standing = NewGain(0.9f);
    {
        auto dialog = Open(*standing, CApplyDialog::reconfigureMode);
        EXPECT_FLOAT_EQ(Gain(*standing), 0.9f);
        dialog->SetFormField(CApplyDialog::kPresetPickKey, "Loud");
        dialog->OnCancel();
    }
    EXPECT_FLOAT_EQ(Gain(*standing), 0.9f);
}

TEST_F(ApplyDialogTest, PresetButtonsAskAndRefuseAsTheyShould) {
    LoadWav(44100);
    auto gain = NewGain(0.8f);
    Open(*gain, CApplyDialog::applyMode)->AddPreset("Warm"); // the destructor writes the file
    struct Case {
        const char* name;
        bool add;
        std::string preset;
        int answer; // to a question; 0 when none is expected
        std::string box;
        std::vector<std::string> names;
    };
    const std::vector<std::string> all{"Soft", "Loud", "Warm"};
    const Case cases[] = {
        {"a factory name", true, "Soft", 0, "A preset entry with the same name already exists.", all},
        {"a user name", true, "Warm", 0, "A preset entry with the same name already exists.", all},
        {"no name", true, "", 0, "", all},
        {"a factory preset", false, "Loud", 0, "This is a factory preset and cannot be removed.", all},
        {"the box's new entry", false, "(new)", IDYES,
         "Are you sure you want to delete the preset entry named (new)?", all},
        {"a user preset, No", false, "Warm", IDNO,
         "Are you sure you want to delete the preset entry named Warm?", all},
        {"a user preset, Yes",
         false,
         "Warm",
         IDYES,
         "Are you sure you want to delete the preset entry named Warm?",
         {"Soft", "Loud"}},
        {"a new name", true, "Bright", 0, "", {"Soft", "Loud", "Bright"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto dialog = Open(*gain, CApplyDialog::applyMode);
        presentation->Clear();
        if (c.answer != 0)
            presentation->QueueBoxAnswer(c.answer);
        dialog->SetFormField(std::to_string(CApplyDialog::kPresetBox), c.preset);
        dialog->SetFormField(std::to_string(c.add ? CApplyDialog::kAddPreset : CApplyDialog::kRemovePreset),
                             "");
        const std::vector<std::string> boxes = presentation->Boxes();
        EXPECT_EQ(boxes.empty() ? std::string() : boxes.back(), c.box);
        EXPECT_EQ(dialog->GetPresetNames(), c.names);
        dialog->OnCancel();
        // What the person left stands in the file, for the next case.
        EXPECT_EQ(CPresetFile::Load(PresetPath(*gain), gain.get()).presets.size(), c.names.size() - 2);
    }
}

TEST_F(ApplyDialogTest, ADamagedPresetFileKeepsWhatIsWholeAndIsWrittenAnew) {
    LoadWav(44100);
    auto gain = NewGain(0.6f);
    {
        auto dialog = Open(*gain, CApplyDialog::applyMode);
        dialog->AddPreset("One");
        dialog->AddPreset("Two");
        dialog->OnOK();
    }
    std::ifstream in(PresetPath(*gain), std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    constexpr size_t kRecord = 260 + 4 + 4;
    ASSERT_EQ(whole.size(), kRecord + 4 + 2 * kRecord);
    const struct {
        const char* name;
        std::string bytes;
        std::vector<std::string> names;
    } cases[] = {
        {"cut inside the second preset", whole.substr(0, whole.size() - 3), {"Soft", "Loud", "Two"}},
        {"cut inside the count", whole.substr(0, kRecord + 2), {"Soft", "Loud"}},
        {"a size beyond the file",
         whole.substr(0, 260) + std::string("\xff\xff\xff\x7f", 4),
         {"Soft", "Loud"}},
        {"garbage", std::string(37, '\x5a'), {"Soft", "Loud"}},
        {"empty", std::string(), {"Soft", "Loud"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        WriteBytes(PresetPath(*gain), c.bytes);
        auto dialog = Open(*gain, CApplyDialog::applyMode);
        EXPECT_EQ(dialog->GetPresetNames(), c.names);
        dialog->OnOK();
        // Written whole again: it reads back as it was left.
        EXPECT_EQ(CPresetFile::Load(PresetPath(*gain), gain.get()).presets.size(), c.names.size() - 2);
    }
}

TEST_F(ApplyDialogTest, APresetFolderThatCannotBeMadeLosesTheRunsPresetsInSilence) {
    LoadWav(44100);
    // A file stands where the folder of the preset files would go.
    const std::string blocker = XdgDataHome() + "/Onset";
    std::filesystem::create_directories(XdgDataHome());
    WriteBytes(blocker, "not a folder");
    auto gain = NewGain(0.6f);
    {
        auto dialog = Open(*gain, CApplyDialog::applyMode);
        dialog->AddPreset("Kept nowhere");
        presentation->Clear();
        dialog->OnOK();
        EXPECT_TRUE(presentation->Boxes().empty());
    }
    EXPECT_FALSE(std::filesystem::exists(PresetPath(*gain)));
    EXPECT_EQ(Open(*gain, CApplyDialog::applyMode)->GetPresetNames(),
              (std::vector<std::string>{"Soft", "Loud"}));
    EXPECT_FLOAT_EQ(Gain(*gain), 0.6f);
    std::filesystem::remove(blocker);
}

TEST(ApplyDialogChannels, TheMenuNamesEachChannelOfTheMedia) {
    const struct {
        int channels;
        std::vector<std::string> names;
    } cases[] = {
        {1, {"Front left"}},
        {2, {"Front left", "Front right"}},
        {6, {"Front left", "Front right", "Center", "LFE", "Back left", "Back right"}},
        {7, {"Front left", "Front right", "Center", "LFE", "Back left", "Back right", "Aux. left"}},
        {8,
         {"Front left", "Front right", "Center", "LFE", "Back left", "Back right", "Aux. left",
          "Aux. right"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CApplyDialog::ChannelNames(c.channels), c.names) << c.channels;
}

TEST_F(ApplyDialogTest, ThePreviewLoopsThroughTheTransformAndHearsEveryChangeAtOnce) {
    LoadWav(44100);
    Select(0, 22050);
    auto gain = NewGain(1.0f);
    auto dialog = Open(*gain, CApplyDialog::applyMode);
    dialog->SetFormField(std::to_string(CApplyDialog::kPlay), "");
    ASSERT_TRUE(view->IsPlaying());
    Run(700); // beyond the section: it loops
    EXPECT_TRUE(view->IsPlaying());
    std::vector<double> level = RecentLevels(4410);
    EXPECT_GT(level[0], 1000);
    EXPECT_GT(level[1], 1000);

    // The second channel is muted at once and the data are left alone.
    dialog->SetFormField(std::to_string(CApplyDialog::kChannels), "7001");
    EXPECT_EQ(view->GetChannelMask() & 3u, 1u);
    Run(kHeard);
    level = RecentLevels(4410);
    EXPECT_GT(level[0], 1000);
    EXPECT_EQ(level[1], 0);
    EXPECT_EQ(Channel0(view->GetMedia())[100], Written(100));

    // A value the page writes reaches the playing instance.
    gain->SetValue(0, 0.0f);
    Run(kHeard);
    EXPECT_EQ(RecentLevels(4410)[0], 0);
    gain->SetValue(0, 1.0f);
    Run(kHeard);
    EXPECT_GT(RecentLevels(4410)[0], 1000);
    dialog->ToggleBypass();
    EXPECT_TRUE(gain->GetBypass());

    dialog->SetFormField(std::to_string(CApplyDialog::kPlay), "");
    EXPECT_FALSE(view->IsPlaying());
    dialog->OnOK();
    EXPECT_FALSE(gain->GetBypass());
}

TEST_F(ApplyDialogTest, InReconfigureModeThePlayingClonesFollowValuesAndBypass) {
    LoadWav(44100);
    CTransformPlugin* applied = ApplyEffect(doubles::kGainClass, 0, 44100); // halves the level
    ASSERT_NE(applied, nullptr);
    Select(0, 22050);
    auto dialog = Open(*applied, CApplyDialog::reconfigureMode);
    dialog->TogglePreview();
    ASSERT_TRUE(view->IsPlaying());
    Run(kHeard);
    const double halved = RecentLevels(4410)[0];
    EXPECT_GT(halved, 500);

    applied->SetValue(0, 0.0f);
    Run(kHeard);
    EXPECT_EQ(RecentLevels(4410)[0], 0);

    dialog->ToggleBypass();
    Run(kHeard);
    EXPECT_NEAR(RecentLevels(4410)[0], 2 * halved, halved * 0.3);
    dialog->OnCancel();
    EXPECT_FALSE(view->IsPlaying());
    EXPECT_FALSE(applied->GetBypass());
    EXPECT_FLOAT_EQ(Gain(*applied), 0.5f);
}

TEST_F(ApplyDialogTest, OfflineProcessingBakesTheEffectInWithoutATag) {
    LoadWav(20000);
    auto* gain = CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1);
    ASSERT_NE(gain, nullptr);
    presentation->OnDialog("Apply", [](CModalDialog& d) {
        auto& dialog = static_cast<CApplyDialog&>(d);
        dialog.GetTransform()->SetValue(0, 0.5f);
        dialog.SetFormField(std::to_string(CApplyDialog::kOffline), "");
        dialog.OnOK();
    });
    Select(1000, 3000);
    view->ApplyTransform(gain);
    const std::vector<float> samples = Channel0(view->GetMedia());
    ASSERT_EQ(samples.size(), 20000u);
    EXPECT_EQ(samples[999], Written(999));
    EXPECT_NEAR(samples[1000], Written(1000) * 0.5f, 1.0f / 32768);
    EXPECT_NEAR(samples[2999], Written(2999) * 0.5f, 1.0f / 32768);
    EXPECT_EQ(samples[3000], Written(3000));
    EXPECT_EQ(view->GetMedia().GetTransformCount(), 0);
    bool progressTitled = false;
    for (const auto& shown : presentation->History())
        progressTitled |= shown.text.find("Applying Gain offline.") != std::string::npos;
    EXPECT_TRUE(progressTitled);
    EXPECT_EQ(State(CChildView::kUndo).text, "Undo Gain\tCtrl+Z");
    Command(CChildView::kUndo);
    EXPECT_EQ(Channel0(view->GetMedia())[2000], Written(2000));
}

} // namespace
} // namespace tw::test
