// The writer's save dialog opens on a type it can write: the index a host passes counts from 0 in
// the writer's list, and an index of the editor's project entry, or beyond the list, offers WAV.
#include "clip/ServerTestSupport.h"

#include "platform/FileDialog.h"
#include "platform/Utf.h"

#include <climits>

using namespace tw;
using namespace tw::test;

namespace {

TEST_F(ServerTest, TheWritersSaveDialogNeverOpensOnATypeItCannotWrite) {
    IAudioWriter* writer = Create<IAudioWriter>(CLSID_CAudioWriter, IID_IAudioWriter);
    ASSERT_NE(writer, nullptr);
    const auto name = [&](int32_t index) {
        BSTR text = nullptr;
        EXPECT_EQ(writer->GetFileFilterText(index, &text), S_OK);
        const std::string result = ToUtf8(std::u16string_view(text, SysStringLen(text)));
        SysFreeString(text);
        return result;
    };
    ASSERT_NE(name(0).find("*.vtf"), std::string::npos) << "the project entry leads the list";

    std::string offered;
    m_presentation->OnDialog("FileSave", [&](CModalDialog& dialog) {
        auto& files = static_cast<CFileDialog&>(dialog);
        offered = files.Filters()[files.GetFilterIndex() - 1].name;
        dialog.OnCancel();
    });
    const WAVEFORMATEX format = {WAVE_FORMAT_PCM, 2, 44100, 44100 * 4, 4, 16, 0};
    const struct {
        int32_t index;
        std::string expected;
    } cases[] = {{-1, "WAV(*.wav;*.wave)"},
                 {0, "WAV(*.wav;*.wave)"},
                 {99, "WAV(*.wav;*.wave)"},
                 {INT_MAX, "WAV(*.wav;*.wave)"},
                 {2, name(2)},
                 {7, name(7)}};
    for (const auto& c : cases) {
        offered.clear();
        EXPECT_EQ(writer->DoSaveDialog(&format, 0, c.index), S_OK);
        EXPECT_EQ(offered, c.expected) << "index " << c.index;
    }
    writer->Release();
}

} // namespace
