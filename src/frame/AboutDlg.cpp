#include "frame/AboutDlg.h"

#include "platform/StringTable.h"

#include <QtGlobal>

namespace tw {

namespace {

constexpr uint32_t kProductName = 128;

CDialogField Field(const std::string& key, CDialogField::Kind kind, const std::string& label,
                   const std::string& value) {
    CDialogField field;
    field.key = key;
    field.kind = kind;
    field.label = label;
    field.value = value;
    return field;
}

} // namespace

std::string CAboutDlg::VersionText() {
    return TW_VERSION_TEXT;
}

std::string CAboutDlg::GetWindowText() const {
    return "About " + LoadString(kProductName);
}

std::vector<CDialogField> CAboutDlg::GetFormFields() const {
    std::vector<CDialogField> fields;
    fields.push_back(Field("product", CDialogField::Kind::Header, "", LoadString(kProductName)));
    fields.push_back(Field("version", CDialogField::Kind::Label, "Version:", VersionText()));
    fields.push_back(Field("description", CDialogField::Kind::Label, "",
                           "An audio editor that never changes your recordings while you work: cuts, "
                           "effects and fades are kept in an edit history, where any stage can be "
                           "bypassed, re-configured or deleted later."));
    CDialogField libraries = Field("libraries", CDialogField::Kind::Table, "Built with:", "");
    libraries.columns = {"Library", "Used for"};
    libraries.rows = {
        {std::string("Qt ") + qVersion(), "windows, menus and drawing"},
        {"libsndfile", "reading and writing audio files"},
        {"FFTW 3", "spectrum, spectrogram and filters"},
        {"ALSA", "playback, recording and the mixer"},
        {"PulseAudio", "playback through the sound server"},
        {"TagLib", "titles and other tags of audio files"},
        {"Rubber Band", "time stretching and pitch shifting"},
        {"lilv (LV2) and LADSPA", "plug-in effects"},
    };
    fields.push_back(libraries);
    return fields;
}

} // namespace tw
