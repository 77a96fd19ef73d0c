#include "view/ApplyDialog.h"

#include "dsp/PresetFile.h"
#include "dsp/TransformPlugin.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "view/ChildView.h"

#include <tidework/com.h>

#include <algorithm>

namespace tw {

namespace {

constexpr const char* kPageFailed = "An error occurred when creating the plug-in settings window.";
constexpr const char* kSameName = "A preset entry with the same name already exists.";
constexpr const char* kFactoryPreset = "This is a factory preset and cannot be removed.";
constexpr const char* kConfirmRemove = "Are you sure you want to delete the preset entry named %s?";

constexpr const char* kChannelTexts[] = {"Front left", "Front right", "Center",    "LFE",
                                         "Back left",  "Back right",  "Aux. left", "Aux. right"};

std::string Key(uint32_t id) {
    return std::to_string(id);
}

CDialogField ButtonField(uint32_t id, const std::string& label, const std::string& icon, bool checkable,
                         bool pressed) {
    CDialogField field;
    field.key = Key(id);
    field.label = label;
    field.kind = CDialogField::Kind::Button;
    field.icon = icon;
    field.checkable = checkable;
    field.value = pressed ? "1" : "0";
    // One line of buttons under the page, with no words before it.
    field.row = " ";
    return field;
}

} // namespace

CApplyDialog::CApplyDialog(CChildView* view, CTransformPlugin* transform, Mode mode)
    : m_view(view), m_transform(transform), m_mode(mode) {
    if (m_view == nullptr || m_transform == nullptr)
        return;
    const CSection& selection = m_view->GetSelection();
    const int64_t length = selection.SectionLength() > 0 ? selection.SectionLength()
                                                         : m_view->GetMedia().GetLength() - selection.m_start;
    m_transform->SetLength(std::max<int64_t>(0, length));
}

CApplyDialog::~CApplyDialog() {
    // A dialog that never ran its end (its thread went first) still leaves the transform unbypassed
    // and its file written.
    if (m_running || !m_finished)
        Finish();
}

std::string CApplyDialog::GetWindowText() const {
    return m_transform != nullptr ? m_transform->GetName() : std::string();
}

std::vector<std::string> CApplyDialog::ChannelNames(int channels) {
    std::vector<std::string> names;
    for (int c = 0; c < channels && c < 8; ++c)
        names.emplace_back(kChannelTexts[c]);
    return names;
}

bool CApplyDialog::IsPreviewing() const {
    return m_view != nullptr && m_view->IsPlaying();
}

void CApplyDialog::OnInitDialog() {
    if (m_transform == nullptr) {
        EndDialog(2);
        return;
    }
    m_channels = m_transform->GetChannels();
    if (m_view != nullptr)
        if (const WAVEFORMATEX* format = m_view->GetMedia().GetFormat())
            m_channels = format->nChannels;
    LoadPresets();
    m_original =
        std::make_unique<CPlugInSettings>(CPlugInSettings::FromTransform(m_transform, kOriginalName));
    m_presetText = kNewPreset;
}

std::vector<CDialogField> CApplyDialog::GetFormFields() const {
    std::vector<CDialogField> fields;
    fields.push_back({"", "Effects", CDialogField::Kind::Header, GetWindowText(), {}, true});

    CDialogField pages;
    pages.key = kPagesKey;
    pages.kind = CDialogField::Kind::PropertyPages;
    if (m_transform != nullptr && m_transform->GetTransform() != nullptr) {
        ITransform* object = m_transform->GetTransform();
        object->AddRef();
        pages.pageObject = std::shared_ptr<IUnknown>(object, [](IUnknown* unknown) { unknown->Release(); });
    }
    fields.push_back(pages);

    const bool previewing = IsPreviewing();
    CDialogField play = ButtonField(kPlay, previewing ? "Stop preview" : "Preview", "", true, previewing);
    // The transport's own images: play, and stop while the preview runs.
    play.icon = previewing ? "media-playback-stop" : "media-playback-start";
    play.enabled = m_view != nullptr;
    fields.push_back(play);
    fields.push_back(
        ButtonField(kBypass, "Bypass", "", true, m_transform != nullptr && m_transform->GetBypass()));
    CDialogField channels = ButtonField(kChannels, "Active channels", "", false, false);
    channels.options = ChannelNames(m_channels);
    for (size_t c = 0; c < channels.options.size(); ++c)
        channels.checks.push_back(((m_channelMask >> c) & 1u) != 0);
    channels.enabled = !channels.options.empty();
    fields.push_back(channels);
    fields.push_back(ButtonField(kOffline, "Process offline", "", true, m_offline));

    CDialogField box;
    box.key = Key(kPresetBox);
    box.kind = CDialogField::Kind::TextChoice;
    box.value = m_presetText;
    box.options = m_names;
    box.pickKey = kPresetPickKey;
    box.row = "Presets:";
    fields.push_back(box);
    CDialogField add = ButtonField(kAddPreset, "Add preset", "list-add", false, false);
    add.row = box.row;
    fields.push_back(add);
    CDialogField remove = ButtonField(kRemovePreset, "Remove preset", "list-remove", false, false);
    remove.row = box.row;
    fields.push_back(remove);
    return fields;
}

void CApplyDialog::SetFormField(const std::string& key, const std::string& value) {
    if (key == Key(kPresetBox)) {
        m_presetText = value;
        return;
    }
    if (key == kPresetPickKey) {
        m_presetText = value;
        SelectPreset(value);
    } else if (key == Key(kPlay)) {
        TogglePreview();
    } else if (key == Key(kBypass)) {
        ToggleBypass();
    } else if (key == Key(kOffline)) {
        ToggleOffline();
    } else if (key == Key(kChannels)) {
        // The menu's entries by position; their command ids, from 7000, are taken as well.
        int index = std::atoi(value.c_str());
        if (index >= static_cast<int>(kFirstChannel))
            index -= static_cast<int>(kFirstChannel);
        ToggleChannel(index);
    } else if (key == Key(kAddPreset)) {
        AddPreset(m_presetText);
    } else if (key == Key(kRemovePreset)) {
        RemovePreset(m_presetText);
    } else if (key == kPagesKey && value == CDialogField::kPagesFailed) {
        ShowMessageBox(kPageFailed, MB_ICONWARNING, GetSafeHandle());
        Finish();
        EndDialog(2);
        return;
    } else {
        return;
    }
    if (m_running)
        Presentation().DialogChanged(*this);
}

// ---- presets ----

void CApplyDialog::LoadPresets() {
    m_names.clear();
    m_userPresets.clear();
    m_factoryCount = m_transform->GetPresetCount();
    for (int32_t i = 0; i < m_factoryCount; ++i)
        m_names.push_back(m_transform->GetPresetName(i));
    CPresetFile file = CPresetFile::Load(CPresetFile::PathFor(*m_transform), m_transform);
    // A new transform opens with the settings it had when it was last used; one that stands in the
    // document keeps its own.
    if (file.hasLast && m_mode == applyMode)
        file.last.Restore();
    for (CPlugInSettings& preset : file.presets) {
        m_names.push_back(preset.GetName());
        m_userPresets.push_back(std::move(preset));
    }
}

void CApplyDialog::WritePresets() {
    CPresetFile file;
    file.hasLast = true;
    file.last = CPlugInSettings::FromTransform(m_transform, CPresetFile::kLastName);
    file.presets = m_userPresets;
    // A folder that cannot be written loses the presets of this run, without a word.
    file.Save(CPresetFile::PathFor(*m_transform));
}

int CApplyDialog::FindUserPreset(const std::string& name) const {
    for (size_t i = 0; i < m_userPresets.size(); ++i)
        if (m_userPresets[i].GetName() == name)
            return static_cast<int>(i);
    return -1;
}

int CApplyDialog::FindFactoryPreset(const std::string& name) const {
    for (int32_t i = 0; i < m_factoryCount && i < static_cast<int32_t>(m_names.size()); ++i)
        if (m_names[static_cast<size_t>(i)] == name)
            return i;
    return -1;
}

void CApplyDialog::SelectPreset(const std::string& name) {
    if (m_transform == nullptr)
        return;
    // A user preset named like a factory one wins.
    if (const int user = FindUserPreset(name); user >= 0)
        m_userPresets[static_cast<size_t>(user)].Restore();
    else if (const int factory = FindFactoryPreset(name); factory >= 0)
        m_transform->SelectPreset(factory);
    else
        return;
    KeepClonesInStep();
}

void CApplyDialog::AddPreset(const std::string& name) {
    if (name.empty() || m_transform == nullptr)
        return;
    if (std::find(m_names.begin(), m_names.end(), name) != m_names.end()) {
        ShowMessageBox(kSameName, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    m_userPresets.insert(m_userPresets.begin(), CPlugInSettings::FromTransform(m_transform, name));
    m_names.push_back(name);
    m_presetText = kNewPreset;
}

void CApplyDialog::RemovePreset(const std::string& name) {
    if (FindFactoryPreset(name) >= 0) {
        ShowMessageBox(kFactoryPreset, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    if (ShowMessageBox(Format(kConfirmRemove, name.c_str()), MB_YESNO | MB_ICONQUESTION, GetSafeHandle()) !=
        IDYES)
        return;
    const int user = FindUserPreset(name);
    if (user < 0)
        return;
    m_userPresets.erase(m_userPresets.begin() + user);
    // The name's place among the user's names (after the factory ones).
    for (auto it = m_names.begin() + std::min<size_t>(m_names.size(), static_cast<size_t>(m_factoryCount));
         it != m_names.end(); ++it)
        if (*it == name) {
            m_names.erase(it);
            break;
        }
    m_presetText = kNewPreset;
}

// ---- preview, channels, bypass, offline ----

void CApplyDialog::TogglePreview() {
    if (m_view == nullptr)
        return;
    if (m_view->IsPlaying()) {
        m_view->StopPlayback();
        StopCloneTimer();
        return;
    }
    const CSection& selection = m_view->GetSelection();
    const CSection section = selection.SectionLength() > 0
                                 ? selection
                                 : CSection(selection.m_start, m_view->GetMedia().GetLength());
    // In re-configure mode the transform already acts in the media; the playback runs clones of it.
    m_view->StartPreview(section, m_mode == applyMode ? m_transform : nullptr, m_channelMask);
    if (m_mode == reconfigureMode && m_view->IsPlaying())
        if (CMessageLoop* loop = CWindow::LoopOf(GetSafeHandle()))
            loop->SetTimer(GetSafeHandle(), kCloneTimerId, kCloneTimerMs);
}

void CApplyDialog::ToggleChannel(int channel) {
    if (channel < 0 || channel >= 32)
        return;
    m_channelMask ^= 1u << channel;
    if (m_view != nullptr)
        m_view->SetChannelMask(m_channelMask);
}

void CApplyDialog::ToggleBypass() {
    if (m_transform == nullptr)
        return;
    m_transform->SetBypass(!m_transform->GetBypass());
    KeepClonesInStep();
}

void CApplyDialog::ToggleOffline() {
    m_offline = !m_offline;
}

void CApplyDialog::StopCloneTimer() {
    if (CMessageLoop* loop = CWindow::LoopOf(GetSafeHandle()))
        loop->KillTimer(GetSafeHandle(), kCloneTimerId);
}

void CApplyDialog::KeepClonesInStep() {
    if (m_mode != reconfigureMode || m_transform == nullptr)
        return;
    const bool bypass = m_transform->GetBypass();
    m_transform->ForEachLiveClone([this, bypass](CTransformPlugin& clone) {
        m_transform->CopyValuesTo(clone);
        clone.SetBypass(bypass);
    });
}

intptr_t CApplyDialog::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    if (message == WM_TIMER && wParam == kCloneTimerId) {
        // The page writes the instance from the GUI thread; the playing clones follow here.
        if (m_view == nullptr || !m_view->IsPlaying()) {
            StopCloneTimer();
            Presentation().DialogChanged(*this);
        } else {
            KeepClonesInStep();
        }
        return 0;
    }
    return CModalDialog::WindowProc(message, wParam, lParam);
}

// ---- the end ----

void CApplyDialog::OnOK() {
    Finish();
    EndDialog(1);
}

void CApplyDialog::OnCancel() {
    if (m_original != nullptr)
        m_original->Restore();
    KeepClonesInStep();
    Finish();
    EndDialog(2);
}

void CApplyDialog::Finish() {
    if (m_finished || m_transform == nullptr)
        return;
    m_finished = true;
    StopCloneTimer();
    // After a Cancel "(last)" is the state the dialog started with.
    WritePresets();
    m_userPresets.clear();
    if (m_view != nullptr && CWindow::IsWindow(m_view->GetSafeHandle()))
        m_view->StopPlayback();
    m_transform->SetBypass(false);
    KeepClonesInStep();
}

} // namespace tw
