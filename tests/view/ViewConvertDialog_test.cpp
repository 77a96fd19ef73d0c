// The Convert dialog's own rules: which typed rates it takes, when the down-mix counts, what it
// keeps for the next conversion.
#include "view/ViewTestSupport.h"

#include "platform/Settings.h"
#include "view/ConvertDialog.h"

namespace tw::test {
namespace {

class ConvertDialogTest : public ViewTest {
protected:
    static bool Enabled(const CModalDialog& dialog, const std::string& key) {
        for (const CDialogField& field : dialog.GetFormFields())
            if (field.key == key)
                return field.enabled;
        return false;
    }
};

TEST_F(ConvertDialogTest, OnlyARateFrom101To512000IsTakenAndItsNumberIsWhatIsKept) {
    const struct {
        const char* text;
        int32_t rate; // 0: refused
    } cases[] = {{"100", 0},
                 {"101", 101},
                 {"512000", 512000},
                 {"512001", 0},
                 {"44 100", 44100},
                 {"44\xC2\xA0"
                  "100",
                  44100},
                 {"48000 Hz (DAT)", 48000},
                 {"", 0},
                 {"Hz", 0},
                 {"-44100", 0},
                 {" 22050", 22050}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        CConvertDialog dialog(2);
        presentation->Clear();
        dialog.SetFormField("rate", c.text);
        dialog.OnOK();
        if (c.rate == 0) {
            ASSERT_FALSE(presentation->Boxes().empty());
            EXPECT_EQ(presentation->Boxes().back(), "The sample rate is not supported.");
            EXPECT_EQ(dialog.GetFocusField(), "rate");
        } else {
            EXPECT_TRUE(presentation->Boxes().empty());
            EXPECT_EQ(dialog.GetRate(), c.rate);
            EXPECT_EQ(GetSettingString("FormatConversion", "SampleRate", ""), std::to_string(c.rate));
        }
    }
}

TEST_F(ConvertDialogTest, TheDownMixCountsOnlyForSurroundFoldedToStereo) {
    const struct {
        int documentChannels;
        const char* channelCode;
        int channels;
        bool downMix;
    } cases[] = {{6, "1", 2, true},  {8, "1", 2, true},  {6, "0", 1, false}, {6, "2", 6, false},
                 {2, "1", 2, false}, {1, "3", 8, false}, {3, "1", 2, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.documentChannels) + " -> code " + c.channelCode);
        CConvertDialog dialog(c.documentChannels);
        dialog.SetFormField("channels", c.channelCode);
        dialog.SetFormField("downMix", "2");
        EXPECT_EQ(dialog.GetChannels(), c.channels);
        EXPECT_EQ(Enabled(dialog, "downMix"), c.downMix);
        dialog.SetFormField("rate", "44100");
        dialog.OnOK();
        // A down-mix that does not count is kept as the standard one.
        EXPECT_EQ(GetSettingInt("FormatConversion", "DownMixMode", -1), c.downMix ? 2 : 0);
        EXPECT_EQ(dialog.GetDownMixMode(), c.downMix ? 2 : 0);
    }
}

TEST_F(ConvertDialogTest, TheChoicesOfOneConversionAreTheStartOfTheNext) {
    {
        CConvertDialog fresh(2);
        EXPECT_EQ(fresh.GetHalfWidth(), 30); // "Medium" with nothing stored
        EXPECT_EQ(fresh.GetBits(), 16);
        fresh.SetFormField("filter", "2");
        fresh.SetFormField("bits", "2");
        fresh.SetFormField("channels", "0");
        fresh.SetFormField("rate", "96000 Hz (DVD Audio)");
        fresh.SetFormField("bits", "9"); // out of range: ignored
        fresh.OnOK();
    }
    EXPECT_EQ(GetSettingString("FormatConversion", "Resolution", ""), "24");
    CConvertDialog next(2);
    EXPECT_EQ(next.GetHalfWidth(), 50);
    EXPECT_EQ(next.GetBits(), 24);
    EXPECT_EQ(next.GetChannels(), 1);
    next.OnOK();
    EXPECT_EQ(next.GetRate(), 96000);
    const int halfWidths[] = {10, 30, 50};
    for (int filter = 0; filter < 3; ++filter) {
        CConvertDialog dialog(2);
        dialog.SetFormField("filter", std::to_string(filter));
        EXPECT_EQ(dialog.GetHalfWidth(), halfWidths[filter]);
    }
}

} // namespace
} // namespace tw::test
