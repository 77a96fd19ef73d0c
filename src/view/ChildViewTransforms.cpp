// CChildView: effects applied from the menus, the effect tag's context menu and what the view
// offers to the transforms it applies (IHostInterface).
#include "view/ChildView.h"

#include "core/MediaData.h"
#include "core/ObjectPool.h"
#include "core/ReadCursor.h"
#include "dsp/TempoEstimate.h"
#include "dsp/TransformCommandState.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"
#include "platform/Messages.h"
#include "platform/ProgressDialog.h"
#include "platform/StringTable.h"
#include "storage/PCMAudio.h"
#include "view/ApplyDialog.h"
#include "view/SaveThread.h"
#include "view/TemporaryTake.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>

namespace tw {

namespace {

constexpr const char* kApplyToAll =
    "You have not selected any region. Do you want to apply this tool to the complete recording?";
constexpr int64_t kPeakBlockFrames = 65535;
constexpr const char* kApplyingOffline = "Applying %s offline.";
constexpr const char* kProcessingError = "An error occured during processing.";

bool SameIid(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

// The view's services to a plug-in. Its life is the view's; the count only answers the protocol.
class CViewHostInterface final : public IHostInterface {
public:
    explicit CViewHostInterface(CChildView& view) : m_view(view) {}

    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        if (SameIid(iid, IID_IUnknown) || SameIid(iid, IID_IHostInterface)) {
            *out = static_cast<IHostInterface*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++m_count; }
    uint32_t Release() override { return m_count > 0 ? --m_count : 0; }
    HRESULT GetTempoAtSelection(float* bpm) override {
        if (bpm == nullptr)
            return E_POINTER;
        *bpm = m_view.TempoAtSelection();
        return S_OK;
    }
    HRESULT GetSelectionPeak(float* peak) override {
        if (peak == nullptr)
            return E_POINTER;
        *peak = m_view.SelectionPeak();
        return S_OK;
    }

private:
    CChildView& m_view;
    std::atomic<uint32_t> m_count{1};
};

} // namespace

IHostInterface* CChildView::GetHostInterface() {
    if (!m_hostInterface)
        m_hostInterface = std::unique_ptr<IHostInterface, void (*)(IHostInterface*)>(
            new CViewHostInterface(*this),
            [](IHostInterface* host) { delete static_cast<CViewHostInterface*>(host); });
    return m_hostInterface.get();
}

float CChildView::TempoAtSelection() {
    return EstimateTempo(m_media, (m_selection.m_start + m_selection.m_end) / 2, false);
}

float CChildView::SelectionPeak() {
    const WAVEFORMATEX* format = m_media.GetFormat();
    if (format == nullptr || m_selection.SectionLength() <= 0)
        return 0.0f;
    const int32_t channels = format->nChannels;
    ReadCursor* cursor = m_media.MakeCursor();
    m_media.Seek(*cursor, m_selection.m_start);
    CMediaData block(kPeakBlockFrames, channels * static_cast<int32_t>(sizeof(float)));
    float peak = 0.0f;
    for (int64_t done = 0; done < m_selection.SectionLength();) {
        const int64_t n = std::min(kPeakBlockFrames, m_selection.SectionLength() - done);
        block.Resize(n, false);
        m_media.ReadSamples(*cursor, block);
        const float* samples = block.GetFloats();
        for (int64_t i = 0; i < n * channels; ++i)
            peak = std::max(peak, std::fabs(samples[i]));
        done += n;
    }
    m_media.FreeCursor(cursor);
    return peak;
}

void CChildView::ChooseTransform(uint32_t id) {
    CTransformPlugin* transform = TransformManager().CreateById(static_cast<int32_t>(id));
    if (transform == nullptr)
        return;
    if (m_selection.SectionLength() <= 0) {
        if (ShowMessageBox(kApplyToAll, MB_YESNO | MB_ICONQUESTION, GetSafeHandle()) != IDYES) {
            delete transform;
            return;
        }
        m_selection = CSection(0, m_media.GetLength());
    }
    ApplyTransform(transform);
}

void CChildView::ApplyTransform(CTransformPlugin* transform) {
    if (transform == nullptr)
        return;
    if (m_media.IsEmpty()) {
        delete transform;
        return;
    }
    StopPlayback();
    const WAVEFORMATEX* format = m_media.GetFormat();
    if (format == nullptr || !transform->SetHost(GetHostInterface()) ||
        !transform->SetFormat(static_cast<int32_t>(format->nSamplesPerSec), format->nChannels)) {
        delete transform;
        return;
    }
    bool offline = false;
    if (transform->GetHasPages()) {
        CApplyDialog dialog(this, transform, CApplyDialog::applyMode);
        if (dialog.DoModal(GetSafeHandle()) != IDOK) {
            delete transform;
            return;
        }
        offline = dialog.IsOffline();
    }
    // The dialog may have changed the selection.
    if (m_selection.SectionLength() <= 0) {
        delete transform;
        return;
    }
    if (offline) {
        ApplyOffline(m_selection, transform);
        return;
    }
    PushUndo(transform->GetName(), transform);
    const int64_t length = m_selection.SectionLength();
    m_media.ApplyTransform(m_selection, transform);
    // Transforms may stretch time: the selection follows the new length, rounded toward zero.
    m_selection.m_end =
        m_selection.m_start + static_cast<int64_t>(static_cast<double>(length) * transform->GetTimeRatio());
    DocumentChanged();
}

void CChildView::ApplyOffline(const CSection& section, CTransformPlugin* transform) {
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (transform == nullptr || format == nullptr) {
        delete transform;
        return;
    }
    auto rendered = std::make_unique<CEditedMedia>();
    m_media.CopyTo(*rendered, section);
    PushUndo(transform->GetName(), nullptr);
    const std::string name = transform->GetName();
    rendered->ApplyTransform(CSection(0, rendered->GetLength()), transform);

    CTemporaryTake take;
    if (!take.Open(*format)) {
        ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    rendered->PrepareTransforms();
    CSaveThread task(*rendered, take.Sink(), CSection(0, rendered->GetLength()));
    task.SetTitle(Format(kApplyingOffline, name.c_str()));
    CProgressDialog progress(task);
    const int result = progress.DoModal(GetSafeHandle());
    if (result != IDOK || !task.m_writeResult) {
        // A cancelled render leaves the document as it was; only a failed one is told.
        if (!task.m_writeResult)
            ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    CPCMAudio* stream = take.Take();
    if (stream == nullptr) {
        ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    rendered->Clear();
    ObjectPool().AddRef(stream);
    rendered->AddMedia(stream, 0);
    ObjectPool().Release(stream);
    m_media.DeleteSection(section, false);
    m_media.InsertMedia(*rendered, section.m_start, false);
    DocumentChanged();
}

void CChildView::OnEffectContextMenu(int x, int y) {
    if (m_contextEffect == nullptr)
        return;
    std::vector<CMenuItem> menu;
    if (int32_t presets = m_contextEffect->GetPresetCount(); presets > 0) {
        CMenuItem popup;
        popup.text = "Presets";
        for (int32_t i = 0; i < presets; ++i) {
            CMenuItem item;
            item.id = kFirstPreset + static_cast<uint32_t>(i);
            item.text = m_contextEffect->GetPresetName(i);
            popup.popup.push_back(item);
        }
        menu.push_back(popup);
    }
    auto row = [this](uint32_t id, const std::string& text) {
        CMenuItem item;
        item.id = id;
        item.text = text;
        CCmdUI ui(id);
        OnUpdateCmd(ui);
        item.enabled = ui.State().enabled;
        item.checked = ui.State().check != 0;
        return item;
    };
    menu.push_back(row(kRemoveEffect, "Remove Effect"));
    menu.push_back(row(kBypassEffect, "Bypass Effect"));
    CMenuItem separator;
    separator.separator = true;
    menu.push_back(separator);
    CMenuItem properties = row(kEffectProperties, "Properties");
    properties.isDefault = true;
    menu.push_back(properties);
    const uint32_t chosen = Presentation().TrackPopupMenu(GetSafeHandle(), menu, x, y);
    // Preset ids lie above the transform range: no row takes them, so choosing one does nothing.
    if (chosen != 0)
        OnCmdMsg(chosen);
}

void CChildView::OnRemoveEffect() {
    if (m_contextEffect == nullptr || IsPlaying())
        return;
    CTransformPlugin* transform = m_contextEffect;
    PushUndo(Format("Removed %s", transform->GetName().c_str()), nullptr);
    m_media.RemoveTransform(transform);
    m_contextEffect = nullptr;
    DocumentChanged();
}

void CChildView::OnBypassEffect() {
    if (m_contextEffect == nullptr)
        return;
    m_contextEffect->SetBypass(!m_contextEffect->GetBypass());
    HistoryChanged();
    if (m_visualizer != nullptr)
        m_visualizer->Refresh();
    Invalidate();
    RequestStateSave();
}

void CChildView::OnEffectProperties() {
    if (m_contextEffect == nullptr || !m_contextEffect->GetHasPages())
        return;
    CApplyDialog dialog(this, m_contextEffect, CApplyDialog::reconfigureMode);
    if (dialog.DoModal(GetSafeHandle()) == IDOK)
        DocumentChanged();
}

void CChildView::AddTransformCommands(CCommandTable& table) {
    table.AddCommand(kFirstTransform, kLastTransform, [this](uint32_t id) { ChooseTransform(id); });
    table.AddUpdate(kFirstTransform, kLastTransform, [this](CCmdUI& ui) {
        const std::optional<CPluginInfo> entry =
            TransformManager().FindById(static_cast<int32_t>(ui.GetId()));
        const WAVEFORMATEX* format = m_media.GetFormat();
        const CommandState state =
            TransformCommandState(entry ? &*entry : nullptr, format != nullptr ? format->nChannels : 0,
                                  m_media.IsEmpty(), IsPlaying());
        if (state != CommandState::unchanged)
            ui.Enable(state == CommandState::enabled);
    });
    table.AddCommand(kRemoveEffect, [this](uint32_t) { OnRemoveEffect(); });
    table.AddUpdate(kRemoveEffect, [this](CCmdUI& ui) { ui.Enable(Idle()); });
    table.AddCommand(kBypassEffect, [this](uint32_t) { OnBypassEffect(); });
    table.AddUpdate(kBypassEffect, [this](CCmdUI& ui) {
        ui.SetCheck(m_contextEffect != nullptr && m_contextEffect->GetBypass() ? 1 : 0);
    });
    table.AddCommand(kEffectProperties, [this](uint32_t) { OnEffectProperties(); });
    table.AddUpdate(kEffectProperties, [this](CCmdUI& ui) {
        ui.Enable(m_contextEffect != nullptr && m_contextEffect->GetHasPages());
    });
}

} // namespace tw
