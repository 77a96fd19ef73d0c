// CChildView: the transport. Play section, play all, looped play, stop and the pause button; the
// start and the stop handshake around the play thread; the 25 ms timer that moves the play cursor,
// feeds the level meters and the spectrum analyzer every third tick, turns the page and tells the
// position; and the end of a playback, which the timer finds by the device pointer the play thread
// cleared.
#include "view/ChildView.h"

#include "audio/AudioOut.h"
#include "audio/DeviceChain.h"
#include "audio/MeterFrames.h"
#include "audio/PlayRequest.h"
#include "dsp/FrequencyAnalyzer.h"
#include "dsp/TransformPlugin.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "storage/FormatTime.h"

#include <cmath>

namespace tw {

namespace {

constexpr uint32_t kStringIdle = 57345;
constexpr uint32_t kStringOutputFailed = 142;
constexpr uint32_t kMeterTicks = 3;
constexpr int32_t kViewPriority = 32;
constexpr int32_t kPreviewPriority = 6;

// -80 dB and below rest at 0, 0 dB is 100.
int MeterValue(float peak) {
    const double dB = peak > 0.0f ? 20.0 * std::log10(peak) : -144.0;
    const int value = static_cast<int>((dB + 80.0) * 1.25);
    return value < 0 ? 0 : value;
}

} // namespace

void CChildView::AddTransportCommands(CCommandTable& table) {
    table.AddCommand(kPlaySection, [this](uint32_t) { OnPlaySection(); });
    table.AddUpdate(kPlaySection, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    table.AddCommand(kPlayAll, [this](uint32_t) { OnPlayAll(); });
    table.AddUpdate(kPlayAll, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    // The flag is read when a playback starts: a running one keeps its own.
    table.AddCommand(kPlayLooped, [this](uint32_t) { m_looped = m_looped != 0 ? 0 : 1; });
    table.AddUpdate(kPlayLooped, [this](CCmdUI& ui) {
        ui.Enable(true);
        ui.SetCheck(m_looped != 0 ? 1 : 0);
    });
    table.AddCommand(kStop, [this](uint32_t) { StopPlayback(); });
    table.AddUpdate(kStop, [this](CCmdUI& ui) { ui.Enable(IsPlaying()); });
    table.AddCommand(kPauseButton, [this](uint32_t) { OnPauseButton(); });
    table.AddUpdate(kPauseButton, [](CCmdUI& ui) { ui.Enable(true); });
    table.AddCommand(kRecord, [this](uint32_t) { OnRecord(); });
    table.AddUpdate(kRecord, [this](CCmdUI& ui) { ui.Enable(Idle()); });
}

void CChildView::OnPlaySection() {
    PlayCommand(false);
}

void CChildView::OnPlayAll() {
    PlayCommand(true);
}

void CChildView::PlayCommand(bool isAll) {
    if (IsPlaying()) {
        m_gate.LockRead();
        CAudioOut* output = m_output.load();
        if (output != nullptr && output->IsPaused()) {
            // A paused playback goes on where it stood; it is not started again.
            output->Resume();
            m_gate.UnlockRead();
            SetPlayButtons(true, true);
            return;
        }
        m_gate.UnlockRead();
        if (output != nullptr)
            StopPlayback();
    }
    m_playRequest->traceDisplay = GetSettingInt("View", "Trace Playback", 1);
    m_playRequest->priority = kViewPriority;
    CSection section(0, m_media.GetLength());
    if (!isAll)
        section = m_selection.SectionLength() > 0 ? m_selection
                                                  : CSection(m_selection.m_start, m_media.GetLength());
    StartPlayback(section, nullptr, m_looped != 0);
    if (IsPlaying())
        SetPlayButtons(isAll, true);
}

bool CChildView::StartPlayback(CSection section, CTransformPlugin* transform, bool loop) {
    if (m_media.IsEmpty() || IsPlaying())
        return false;
    // A playback that ended without its tick seen yet: its thread has let go of everything.
    if (m_playThread.joinable())
        m_playThread.join();
    CAudioDeviceMgr* devices = DeviceChain();
    if (devices == nullptr) {
        ShowMessageBox(LoadString(kStringOutputFailed), MB_ICONWARNING, GetSafeHandle());
        return false;
    }
    PlayRequest& request = *m_playRequest;
    request.media = &m_media;
    request.section = section;
    request.window = GetSafeHandle();
    request.preview = transform;
    request.device = &m_output;
    request.loop = loop;
    request.gate = &m_gate;
    m_tick = 0;
    return tw::StartPlayback(request, *devices, m_playThread);
}

bool CChildView::StartPreview(CSection section, CTransformPlugin* transform, uint32_t channelMask) {
    if (IsPlaying())
        return false;
    m_playRequest->traceDisplay = GetSettingInt("View", "Trace Playback", 1);
    m_playRequest->priority = kPreviewPriority;
    if (!StartPlayback(section, transform, true))
        return false;
    m_playRequest->channelMask.store(channelMask);
    SetPlayButtons(false, true);
    return true;
}

void CChildView::StopPlayback() {
    if (!IsPlaying() && !m_playThread.joinable())
        return;
    // The play thread may sit in a device wait: the stop is repeated until it has let go.
    while (IsPlaying()) {
        Sleep(10);
        m_gate.LockRead();
        m_media.RequestStop();
        if (CAudioOut* output = m_output.load())
            output->Stop();
        m_gate.UnlockRead();
    }
    PlaybackEnded();
}

void CChildView::PlaybackEnded() {
    if (m_playThread.joinable())
        m_playThread.join();
    if (m_frame != 0) {
        SetStatus(LoadString(kStringIdle));
        Presentation().MeterReset(m_frame);
    }
    if (m_playRequest->lastCursorX >= 0)
        Presentation().PlayCursor(GetSafeHandle(), -1, m_plot.top, m_plot.bottom);
    m_playRequest->lastCursorX = -1;
    Invalidate();
    if (m_loop != nullptr)
        m_loop->KillTimer(GetSafeHandle(), kPlayTimerId);
    m_gate.LockWrite();
    CAudioOut* left = m_output.exchange(nullptr);
    m_gate.UnlockWrite();
    delete left;
    SetPlayButtons(false, false);
    // The analyzer showed what played; at rest it shows the cursor again.
    ShowSpectrumAt(m_selection.m_start);
}

void CChildView::ShowSpectrumAt(int64_t s) {
    // A playback's reads run the document's transforms on the play thread: the spectrum then
    // comes from the device instead (OnPlayTimer).
    if (m_spectrum != nullptr && !IsPlaying())
        m_spectrum->ShowSpectrumAt(m_media, s);
}

void CChildView::OnPauseButton() {
    m_gate.LockRead();
    CAudioOut* output = m_output.load();
    if (output == nullptr) {
        m_gate.UnlockRead();
        return;
    }
    const bool wasPaused = output->IsPaused();
    if (wasPaused)
        output->Resume();
    else
        output->Pause();
    m_gate.UnlockRead();
    SetPlayButtons(false, wasPaused);
}

void CChildView::SetPlayButtons(bool isAll, bool playing) {
    m_transportBar.SetPlayButtons(isAll, playing, m_frame);
}

void CChildView::SetChannelMask(uint32_t mask) {
    m_playRequest->channelMask.store(mask);
}

uint32_t CChildView::GetChannelMask() const {
    return m_playRequest->channelMask.load();
}

int64_t CChildView::PlayPosition() {
    const PlayRequest& request = *m_playRequest;
    int64_t position = 0;
    m_gate.LockRead();
    if (CAudioOut* output = m_output.load()) {
        // The device counts 32-bit frames since it opened; a loop starts over at the section's
        // length.
        int64_t played = static_cast<int32_t>(output->GetPosition());
        const int64_t length = request.section.SectionLength();
        if (request.loop && length > 0)
            played %= length;
        position = played + request.section.m_start;
    }
    m_gate.UnlockRead();
    return position;
}

void CChildView::OnPlayTimer() {
    if (!IsPlaying()) {
        PlaybackEnded();
        return;
    }
    PlayRequest& request = *m_playRequest;
    const int64_t position = PlayPosition();
    if (request.traceDisplay != 0) {
        const int x = XFromSample(position);
        if (x != request.lastCursorX) {
            Presentation().PlayCursor(GetSafeHandle(), x, m_plot.top, m_plot.bottom);
            request.lastCursorX = x;
        }
    }
    ++m_tick;
    if (m_tick % kMeterTicks != 0)
        return;

    const WAVEFORMATEX* format = m_media.GetFormat();
    int32_t channels = format != nullptr ? format->nChannels : 0;
    if (request.surroundMode > 0 && channels > 1)
        channels = 2;
    std::vector<int> levels;
    bool spectrum = false;
    m_gate.LockRead();
    if (CAudioOut* output = m_output.load()) {
        for (int32_t c = 0; c < channels; ++c)
            levels.push_back(MeterValue(output->GetPeak(c)));
        // The meter buffer is the device's: it is read while the gate holds the device.
        if (m_spectrum != nullptr && m_spectrum->IsVisible())
            if (const float* frames = output->GetMeterBuffer()) {
                WAVEFORMATEX deviceFormat{};
                output->GetFormat(&deviceFormat);
                const int32_t block = output->GetMeterBlock();
                const std::vector<float> copy =
                    CopyMeterFrames(frames, static_cast<size_t>(block) * deviceFormat.nChannels);
                spectrum = m_spectrum->Analyse(copy.data(), block, deviceFormat);
            }
    }
    m_gate.UnlockRead();
    // Published outside the gate: the presentation may take its time.
    if (!levels.empty() && m_frame != 0)
        Presentation().MeterLevels(m_frame, levels);
    if (spectrum)
        m_spectrum->Publish();

    if (request.traceDisplay == 0)
        return;
    const int64_t rate = format != nullptr ? format->nSamplesPerSec : 0;
    const int64_t viewLength = m_viewSection.SectionLength();
    // A page turn, not a smooth scroll, and only for a wave plot long enough to read it.
    if (viewLength > rate / 5 && m_visualizer != nullptr && m_visualizer->GetType() == 1 &&
        request.tracePlayback != 0 && (position < m_viewSection.m_start || position > m_viewSection.m_end)) {
        m_viewSection = CSection(position, position + viewLength);
        UpdateScrollBar();
        Invalidate();
    }
    SetStatus("Playing - " + FormatTime(position, rate));
}

} // namespace tw
