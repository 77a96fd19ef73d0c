#include "frame/ViewPage.h"

#include "display/Appearance.h"
#include "platform/Settings.h"
#include "view/DocumentHost.h"

namespace tw {

namespace {
constexpr const char* kSection = "View";

CDialogField Check(const char* key, const char* label, bool checked) {
    return CDialogField{key, label, CDialogField::Kind::Check, checked ? "1" : "0", {}, true};
}
} // namespace

CViewPage::CViewPage()
    : m_showAxis(GetSettingInt(kSection, "Show Axis", 1) != 0),
      m_showRuler(GetSettingInt(kSection, "Show Ruler", 1) != 0),
      m_tracePlayback(GetSettingInt(kSection, "Trace Playback", 1) != 0),
      // The page alone defaults to the normal colour set; everywhere else a missing value is the
      // global one.
      m_greenOnBlack(GetSettingInt(kSection, "Appearance", 1) == 0) {}

std::vector<CDialogField> CViewPage::GetFields() const {
    return {Check("showAxis", "Show axis to the left of the audio visualization", m_showAxis),
            Check("showRuler", "Show time rules above the audio visualization", m_showRuler),
            Check("tracePlayback", "Trace playback position line while playing", m_tracePlayback),
            Check("greenOnBlack", "Use green on black color set", m_greenOnBlack)};
}

bool CViewPage::SetField(const std::string& key, const std::string& value) {
    bool* target = key == "showAxis"        ? &m_showAxis
                   : key == "showRuler"     ? &m_showRuler
                   : key == "tracePlayback" ? &m_tracePlayback
                   : key == "greenOnBlack"  ? &m_greenOnBlack
                                            : nullptr;
    if (target == nullptr)
        return false;
    *target = value == "1";
    return true;
}

void CViewPage::OnOK(WindowHandle) {
    PutSettingInt(kSection, "Show Axis", m_showAxis ? 1 : 0);
    PutSettingInt(kSection, "Show Ruler", m_showRuler ? 1 : 0);
    PutSettingInt(kSection, "Trace Playback", m_tracePlayback ? 1 : 0);
    const int32_t appearance = m_greenOnBlack ? 0 : 1;
    PutSettingInt(kSection, "Appearance", appearance);
    SetGlobalAppearance(appearance);
    if (IDocumentHost* host = DocumentHost())
        host->SettingsChanged();
}

} // namespace tw
