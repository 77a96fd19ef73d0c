// The dialogs of the document as forms: what each takes from its fields by its own rule, what it
// refuses, and what a document does when nobody is there to answer them.
#include "view/ViewTestSupport.h"

#include "storage/FileFilterManager.h"
#include "view/EditDialogs.h"
#include "view/SaveDialogs.h"

#include <filesystem>
#include <tuple>

namespace tw::test {
namespace {

class ViewDialogsTest : public ViewTest {
protected:
    static std::string FieldValue(const CModalDialog& dialog, const std::string& key) {
        for (const CDialogField& field : dialog.GetFormFields())
            if (field.key == key || (field.key.empty() && field.label == key))
                return field.value;
        return "(none)";
    }
    static bool FieldEnabled(const CModalDialog& dialog, const std::string& key) {
        for (const CDialogField& field : dialog.GetFormFields())
            if (field.key == key)
                return field.enabled;
        return false;
    }
};

TEST(FieldNumbers, EitherDecimalMarkIsTakenAndWhatIsNoNumberIsRefused) {
    struct Case {
        const char* text;
        bool taken;
        double value;
    };
    const Case cases[] = {{"2.5", true, 2.5},   {" 2,5 ", true, 2.5}, {"+3", true, 3},
                          {"-0.1", true, -0.1}, {"", false, 0},       {"two", false, 0},
                          {"1e3", false, 0},    {"2.5s", false, 0},   {"nan", false, 0},
                          {"1.2.3", false, 0},  {"44 100", false, 0}, {"inf", false, 0}};
    for (const Case& c : cases) {
        double value = -99;
        EXPECT_EQ(ParseFieldNumber(c.text, value), c.taken) << c.text;
        if (c.taken)
            EXPECT_DOUBLE_EQ(value, c.value) << c.text;
    }
    EXPECT_EQ(FieldNumberText(20.25, 1), "20.2"); // '.' whatever the locale; binary 20.25 rounds to even
    EXPECT_EQ(FieldNumberText(1000, 1), "1000.0");
}

TEST_F(ViewDialogsTest, TheToneGeneratorTakesItsFieldsAndRefusesANumberOutOfRange) {
    CSignalGeneratorDlg dialog;
    dialog.m_settings = SignalGeneratorSettings{};
    dialog.m_settings.amplitude = 0.7f; // -3.1 dB: between two steps of the slider
    EXPECT_EQ(FieldValue(dialog, "amplitude"), "-3");
    EXPECT_FALSE(FieldEnabled(dialog, "noiseColor"));
    dialog.SetFormField("type", "1");
    EXPECT_TRUE(FieldEnabled(dialog, "noiseColor"));
    EXPECT_FALSE(FieldEnabled(dialog, "startFrequency"));
    // The slider left where it was keeps the amplitude; moved, it sets the decibels.
    dialog.SetFormField("amplitude", "-3");
    EXPECT_FLOAT_EQ(dialog.m_settings.amplitude, 0.7f);
    dialog.SetFormField("amplitude", "-20");
    EXPECT_FLOAT_EQ(dialog.m_settings.amplitude, 0.1f);
    // A frequency of 0 stands as typed; a negative one and a duration of nothing are refused.
    dialog.SetFormField("startFrequency", "0");
    EXPECT_EQ(dialog.m_settings.startFrequency, 0.0f);
    dialog.SetFormField("endFrequency", "-5");
    EXPECT_EQ(dialog.m_settings.endFrequency, 1000.0f);
    EXPECT_EQ(dialog.GetFocusField(), "endFrequency");
    dialog.SetFormField("endFrequency", "5000");
    EXPECT_EQ(dialog.GetFocusField(), "");
    dialog.SetFormField("duration", "0");
    EXPECT_EQ(dialog.m_settings.duration, 10.0);

    presentation->OnDialog("SignalGenerator", [](CModalDialog& d) {
        d.OnOK(); // refused: the duration typed was no length
        if (d.IsRunning()) {
            d.SetFormField("duration", "0.5");
            d.OnOK();
        }
    });
    EXPECT_EQ(dialog.DoModal(view->GetSafeHandle()), IDOK);
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"Please enter a number between 0.01 and 21600.00."});
    // What OK took is what the next dialog starts from.
    const SignalGeneratorSettings stored = SignalGeneratorSettings::Load();
    EXPECT_EQ(stored.type, SignalGeneratorSettings::noise);
    EXPECT_DOUBLE_EQ(stored.duration, 0.5);
    EXPECT_FLOAT_EQ(stored.endFrequency, 5000.0f);
}

TEST_F(ViewDialogsTest, TheFormatDialogTakesARateFrom101To512000HzHoweverItIsWritten) {
    struct Case {
        const char* text;
        uint32_t rate; // 0: refused
    };
    const Case cases[] = {{"44100 Hz (CD)", 44100},
                          {"44 100", 44100},
                          {"44\xC2\xA0"
                           "100",
                           44100},
                          {" 4 8 0 0 0 Hz", 48000},
                          {"100", 0},
                          {"101", 101},
                          {"512000", 512000},
                          {"512001", 0},
                          {"+8000", 8000},
                          {"-48000", 0},
                          {"99999999999", 0}, // read as the largest integer, not wrapped round
                          {"\t22050", 22050},
                          {"Hz 44100", 0},
                          {"", 0},
                          {"44.1 kHz", 0}};
    for (const Case& c : cases) {
        bool asked = false;
        presentation->OnDialog("Format", [&](CModalDialog& d) {
            d.SetFormField("rate", c.text);
            d.OnOK();
            asked = d.IsRunning() && d.GetFocusField() == "rate";
            if (asked)
                d.OnCancel();
        });
        const size_t boxes = presentation->Boxes().size();
        CFormatDialog dialog;
        const int result = dialog.DoModal(view->GetSafeHandle());
        EXPECT_EQ(result, c.rate != 0 ? IDOK : IDCANCEL) << c.text;
        if (c.rate != 0) {
            EXPECT_EQ(dialog.m_format.nSamplesPerSec, c.rate) << c.text;
            EXPECT_EQ(dialog.m_format.nAvgBytesPerSec, c.rate * 4) << c.text;
        } else {
            // Refused with the system's words, and the dialog stayed with the focus on the rate.
            ASSERT_EQ(presentation->Boxes().size(), boxes + 1) << c.text;
            EXPECT_EQ(presentation->Boxes().back(), "The sample rate is not supported.");
            EXPECT_TRUE(asked) << c.text;
        }
    }
}

TEST_F(ViewDialogsTest, TheFormatDialogsRecordFollowsItsEntries_AndItsPresetsAreCdQuality) {
    // With nobody to ask, the presets stand.
    CFormatDialog preset;
    ASSERT_EQ(preset.DoModal(view->GetSafeHandle()), IDOK);
    EXPECT_TRUE(SameFormat(preset.m_format, PcmFormat(2, 44100, 16)));

    // The bits are the leading number of the entry; a mono 24-bit record packs three bytes.
    presentation->OnDialog("Format", [](CModalDialog& d) {
        d.SetFormField("rate", "96000 Hz (DVD Audio)");
        d.SetFormField("bits", "2");
        d.SetFormField("stereo", "0");
        d.OnOK();
    });
    CFormatDialog dialog;
    ASSERT_EQ(dialog.DoModal(view->GetSafeHandle()), IDOK);
    const WAVEFORMATEX& f = dialog.m_format;
    EXPECT_EQ(
        std::make_tuple(f.wFormatTag, f.nChannels, f.nSamplesPerSec, f.wBitsPerSample, f.nBlockAlign,
                        f.nAvgBytesPerSec, f.cbSize),
        std::make_tuple(uint16_t{1}, uint16_t{1}, 96000u, uint16_t{24}, uint16_t{3}, 288000u, uint16_t{0}));
}

TEST_F(ViewDialogsTest, TheSaveDialogShowsWhatTheChosenTypeWritesAndTakesTextsOnlyForAFilter) {
    WAVEFORMATEX format = PcmFormat(2, 44100, 32);
    // The project type comes first, and no filter writes it.
    filters->SetPreferred("vtf", "Vond Tidewright Files");
    const std::string save = filters->GetSaveFilter();
    const int project = 1;
    ASSERT_LT(filters->PluginOfSavePosition(project), 0);
    int flac = 0;
    for (int position = 1; position <= static_cast<int>(CFileDialog::ParseFilter(save).size()); ++position)
        if (filters->PluginOfSavePosition(position) == filters->FindFilter("flac", false))
            flac = position;
    ASSERT_GT(flac, 0);
    CExtFileDialog dialog(save, format, CSection(0, 44100 * 3));
    EXPECT_EQ(FieldValue(dialog, "Length:"), "00:00:03:000");
    dialog.ChangeType(flac);
    EXPECT_EQ(FieldValue(dialog, "Format:"), "44.1 kHz, 24 bits, stereo");
    EXPECT_TRUE(FieldEnabled(dialog, "title"));
    dialog.SetFormField("title", "Dusk");
    dialog.SetFormField("artist", "");
    dialog.SetFormField("unknown", "x");
    EXPECT_EQ(dialog.GetTexts(), (std::map<std::string, std::string>{{"title", "Dusk"}, {"artist", ""}}));
    dialog.ChangeType(project);
    EXPECT_EQ(FieldValue(dialog, "Format:"), "44.1 kHz, 32 bits, stereo");
    EXPECT_FALSE(FieldEnabled(dialog, "title"));
    EXPECT_EQ(FieldValue(dialog, "title"), "Dusk"); // kept for a type that takes it again
}

TEST_F(ViewDialogsTest, NobodyToAnswer_TheDocumentGoesOnAsEnterWouldButAFileNameIsNeverInvented) {
    LoadWav(4000);
    Select(100, 200);
    // The generator's stored values, as a person pressing Enter takes them: ten seconds of tone.
    Command(CChildView::kInsertTestSignal);
    EXPECT_EQ(view->GetMedia().GetLength(), 4000 + 441000);
    ASSERT_EQ(view->GetUndoList().size(), 1u);

    // The save prompt's default is Save: the changed file is written where it is.
    const std::string path = view->GetFileName();
    const auto before = std::filesystem::file_size(path);
    Command(CChildView::kClose);
    EXPECT_TRUE(view->GetMedia().IsEmpty());
    EXPECT_GT(std::filesystem::file_size(path), before);

    // Save As needs a name that nobody types: nothing is written.
    LoadWav(1000, 2, "second.wav");
    const auto second = std::filesystem::file_size(view->GetFileName());
    EXPECT_FALSE(view->SaveAs());
    EXPECT_EQ(std::filesystem::file_size(view->GetFileName()), second);
}

} // namespace
} // namespace tw::test
