// The effect dialog: the one dialog in which a transform with an editor is set up, whether it is
// about to be applied (apply mode) or already stands in the document (re-configure mode). The
// transform's own pages sit inside it; the dialog adds what every effect shares: a looped preview
// through the transport, the channels that sound in it, bypass, offline processing, and presets,
// factory ones from the transform and the user's own in a file per transform.
//
// The settings live in the transform instance itself, which the page writes from the GUI thread
// while a preview plays it: in apply mode the play thread runs that very instance, so a change is
// heard at once; in re-configure mode the playback runs clones of it, which the dialog keeps in step
// on a short timer.
#pragma once

#include "dsp/PlugInSettings.h"
#include "platform/ModalDialog.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tw {

class CChildView;
class CTransformPlugin;

class CApplyDialog : public CModalDialog {
public:
    enum Mode { applyMode = 0, reconfigureMode = 1 };
    // Controls, by the ids the keys of the form use.
    static constexpr uint32_t kPlay = 6133;
    static constexpr uint32_t kBypass = 6019;
    static constexpr uint32_t kChannels = 6134;
    static constexpr uint32_t kOffline = 6021;
    static constexpr uint32_t kAddPreset = 1054;
    static constexpr uint32_t kRemovePreset = 1055;
    static constexpr uint32_t kPresetBox = 547;
    static constexpr uint32_t kFirstChannel = 7000;
    static constexpr const char* kPagesKey = "pages";
    // The key under which a preset picked from the box's list arrives.
    static constexpr const char* kPresetPickKey = "547.pick";
    static constexpr const char* kNewPreset = "(new)";
    static constexpr const char* kOriginalName = "(original)";
    static constexpr int32_t kPreviewPriority = 6;
    static constexpr uint32_t kCloneTimerId = 1;
    static constexpr uint32_t kCloneTimerMs = 40;

    // `view` may be null (no preview then). Gives the transform the length it is to work on: the
    // selection's, or from the selection's start to the end of the media when it has none.
    CApplyDialog(CChildView* view, CTransformPlugin* transform, Mode mode);
    ~CApplyDialog() override;

    std::string DialogName() const override { return "Apply"; }
    std::string GetWindowText() const override;
    std::vector<CDialogField> GetFormFields() const override;
    void SetFormField(const std::string& key, const std::string& value) override;
    void OnInitDialog() override;
    void OnOK() override;
    void OnCancel() override;
    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

    // The commands of the dialog's controls, on its thread.
    void TogglePreview();
    void ToggleChannel(int channel);
    void ToggleBypass();
    void ToggleOffline();
    void AddPreset(const std::string& name);
    void RemovePreset(const std::string& name);
    void SelectPreset(const std::string& name);

    CTransformPlugin* GetTransform() const { return m_transform; }
    Mode GetMode() const { return m_mode; }
    // "Process offline", read by the view after OK.
    bool IsOffline() const { return m_offline; }
    bool IsPreviewing() const;
    uint32_t GetChannelMask() const { return m_channelMask; }
    // Factory names first, then the user's.
    const std::vector<std::string>& GetPresetNames() const { return m_names; }
    // The entries of the channel menu for a media of `channels` channels.
    static std::vector<std::string> ChannelNames(int channels);

private:
    void LoadPresets();
    void WritePresets();
    // What OK and Cancel share, as the window goes: the preset file, the preview, the bypass flag.
    void Finish();
    // Re-configure mode: the clones a playback runs take the instance's values and bypass flag.
    void KeepClonesInStep();
    void StopCloneTimer();
    int FindUserPreset(const std::string& name) const;
    int FindFactoryPreset(const std::string& name) const;

    CChildView* m_view;
    CTransformPlugin* m_transform;
    Mode m_mode;
    bool m_offline = false;
    std::vector<CPlugInSettings> m_userPresets;
    std::vector<std::string> m_names;
    int32_t m_factoryCount = 0;
    std::unique_ptr<CPlugInSettings> m_original;
    uint32_t m_channelMask = ~0u;
    int m_channels = 0;
    std::string m_presetText = kNewPreset;
    bool m_finished = false;
};

} // namespace tw
