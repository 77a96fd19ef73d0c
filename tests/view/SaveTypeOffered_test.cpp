// The type a save dialog of the document offers first is one it can write: Save As may offer the
// project it saves itself, a copy of the selection and Save Tracks, which write audio only, offer
// WAV instead of the project entry, and a stored type the list no longer has gives way to WAV.
#include "ViewTestSupport.h"

#include "platform/FileDialog.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"
#include "view/SaveTracksDlg.h"

namespace tw::test {
namespace {

class SaveTypeOfferedTest : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        if (IsSkipped())
            return;
        filters->SetPreferred("vtf", "Vond Tidewright Files");
        LoadWav(3000);
        Select(0, 1000);
        presentation->OnDialog("FileSave", [this](CModalDialog& d) {
            offered = static_cast<CFileDialog&>(d).GetFilterIndex();
            d.OnCancel();
        });
    }
    int WavPosition() const {
        for (int position = 1; position <= 64; ++position)
            if (filters->PluginOfSavePosition(position) == filters->FindFilter("wav", false))
                return position;
        return -1;
    }
    int offered = 0;
};

TEST_F(SaveTypeOfferedTest, CopyAndTracksOfferWavWhereTheProjectWasLastAndSaveAsKeepsIt) {
    ASSERT_LT(filters->PluginOfSavePosition(1), 0) << "the project entry leads the list";
    const int wav = WavPosition();
    const struct {
        int stored;
        uint32_t command;
        int expected;
    } cases[] = {
        {1, CChildView::kCopyToFile, wav},  {1, 0, 1}, // 0: Save As
        {99, CChildView::kCopyToFile, wav}, {99, 0, wav}, {wav + 1, CChildView::kCopyToFile, wav + 1},
    };
    for (const auto& c : cases) {
        PutSettingInt("General", "LastSaveFilter", c.stored);
        offered = 0;
        if (c.command != 0)
            Command(c.command);
        else
            EXPECT_FALSE(view->SaveAs());
        EXPECT_EQ(offered, c.expected) << "stored " << c.stored << ", command " << c.command;
    }

    PutSettingInt("SaveTracks", "LastFormat", 0); // the project entry, as on a first run
    CSaveTracksDlg tracks(2, PcmFormat(2, 44100, 16));
    tracks.OnInitDialog();
    EXPECT_EQ(tracks.GetFormFields()[1].value, std::to_string(wav - 1));
}

} // namespace
} // namespace tw::test
