#include "view/RecordDialog.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/AudioIn.h"
#include "audio/AudioMixer.h"
#include "audio/AudioOut.h"
#include "audio/DuplexCheck.h"
#include "audio/RecordRequest.h"
#include "audio/RecordThread.h"
#include "platform/Event.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "storage/BasicIO.h"
#include "storage/FormatTime.h"
#include "view/EditDialogs.h"

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr uint32_t kOutputFailed = 142;
constexpr uint32_t kInputFailed = 221;
constexpr uint32_t kRecordTip = 189;
constexpr uint32_t kPauseTip = 283;

// How long closing waits for the record thread. A running input hands over a block every 65 ms
// and the back ends give up a blocked Read or Write after a one-second time-out, so a thread that
// has not ended after three seconds sits on a device that stopped answering. The console then stops
// the devices from here (their Stop makes a waiting call return) and waits two seconds more; a
// thread still not ended is left behind rather than holding the document's thread for ever.
constexpr int kStopWaitMs = 3000;
constexpr int kRescueWaitMs = 2000;
constexpr int kStepMs = 10;

bool WaitForEnd(const RecordRequest& request, int ms) {
    for (int waited = 0; request.threadEnded.load() == 0; waited += kStepMs) {
        if (waited >= ms)
            return false;
        Sleep(kStepMs);
    }
    return true;
}

} // namespace

CRecordDialog::CRecordDialog(IBasicIO* pcm, IBasicIO* peaks, const WAVEFORMATEX* format,
                             CAudioDeviceMgr* devices)
    : m_request(std::make_shared<RecordRequest>()) {
    m_request->pcm = pcm;
    m_request->peaks = peaks;
    m_request->devices = devices;
    if (format != nullptr) {
        m_request->format = *format;
        m_haveFormat = true;
    }
    m_fields.recordTooltip = LoadString(kRecordTip);
}

CRecordDialog::~CRecordDialog() {
    StopThread();
}

const WAVEFORMATEX& CRecordDialog::GetFormat() const {
    return m_request->format;
}

int64_t CRecordDialog::GetFramesRecorded() const {
    return m_request->framesRecorded.load();
}

bool CRecordDialog::Prepare(WindowHandle owner) {
    RecordRequest& r = *m_request;
    if (!m_haveFormat) {
        CFormatDialog ask;
        if (ask.DoModal(owner) != IDOK) {
            m_cancelled = true;
            return true;
        }
        r.format = ask.m_format;
        m_haveFormat = true;
    }
    // A take with the document's own format: integer PCM of the block align its fields give.
    r.format.nBlockAlign = static_cast<uint16_t>(r.format.wBitsPerSample / 8 * r.format.nChannels);
    if (r.pcm != nullptr)
        r.pcm->Seek(0);
    if (r.peaks != nullptr)
        r.peaks->Seek(0);
    r.inputDevice = GetSettingInt("Audio", "InputDevice", 0);
    r.framesPerBlock = RecordFramesPerBlock(static_cast<int32_t>(r.format.nSamplesPerSec));

    const int32_t duplex =
        r.devices != nullptr ? CheckDuplex(*r.devices, r.format, r.inputDevice) : kDuplexOutputFailed;
    if (duplex == kDuplexOk)
        return true;
    ShowMessageBox(LoadString(duplex == kDuplexOutputFailed ? kOutputFailed : kInputFailed), MB_ICONWARNING,
                   owner);
    r.threadEnded.store(1);
    return false;
}

void CRecordDialog::OnInitDialog() {
    RecordRequest& r = *m_request;
    if (m_cancelled || r.threadEnded.load() != 0) {
        EndDialog(IDCANCEL);
        return;
    }
    m_initializing = true;
    // The thread shares the request, so a thread left behind at closing still has it.
    m_thread = std::thread([request = m_request] { RecordThreadProc(request.get()); });

    std::vector<std::string> lines;
    int selected = -1;
    if (r.devices != nullptr) {
        m_mixer = std::make_unique<CAudioMixer>(r.devices->GetMixerId(r.inputDevice), true);
        m_mixer->GetLines(lines);
        for (size_t i = 0; i < lines.size() && selected < 0; ++i)
            if (lines[i].find("Line") != std::string::npos)
                selected = static_cast<int>(i);
        // On a digital (SPDIF) input the analog rule picks the wrong one of the first two entries.
        std::vector<std::string> names;
        r.devices->GetInputNames(names);
        const bool spdif = r.inputDevice >= 0 && r.inputDevice < static_cast<int32_t>(names.size()) &&
                           names[static_cast<size_t>(r.inputDevice)].find("SPDIF") != std::string::npos;
        if (spdif && lines.size() >= 2)
            selected = selected == 0 ? 1 : 0;
    }
    Update([&](RecordConsoleFields& f) {
        f.lines = lines;
        f.selectedLine = selected;
        f.level = 100;
    });
    ApplyLine();
    m_initializing = false;
    if (CMessageLoop* loop = CMessageLoop::Current())
        loop->SetTimer(GetSafeHandle(), kTimerId, kTimerMs);
}

void CRecordDialog::OnOK() {
    StopThread();
    CModalDialog::OnOK();
}

void CRecordDialog::OnCancel() {
    StopThread();
    CModalDialog::OnCancel();
}

intptr_t CRecordDialog::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    if (message == WM_TIMER && wParam == kTimerId) {
        OnTimer();
        return 0;
    }
    return CModalDialog::WindowProc(message, wParam, lParam);
}

void CRecordDialog::OnRecordButton() {
    RecordRequest& r = *m_request;
    const bool recording = r.paused.load() != 0;
    r.paused.store(recording ? 0 : 1);
    Update([&](RecordConsoleFields& f) {
        f.recording = recording;
        f.recordTooltip = LoadString(recording ? kPauseTip : kRecordTip);
    });
}

void CRecordDialog::SeekStreams(int64_t frame) {
    RecordRequest& r = *m_request;
    const int64_t channels = r.format.nChannels;
    // The thread tests the paused flag under these locks before each write, so once they are held
    // no block is on its way to the old position.
    if (r.pcm == nullptr || r.peaks == nullptr)
        return;
    CBasicIOLock pcmLock(*r.pcm);
    CBasicIOLock peakLock(*r.peaks);
    r.pcm->Seek(frame * r.format.nBlockAlign);
    r.peaks->Seek(frame / 256 * channels * 8);
    r.framesRecorded.store(frame);
}

bool CRecordDialog::OnGoToBegin() {
    if (m_request->paused.load() == 0)
        return false;
    m_greatest = std::max(m_greatest, m_request->framesRecorded.load());
    SeekStreams(0);
    OnTimer();
    return true;
}

bool CRecordDialog::OnGoToEnd() {
    if (m_request->paused.load() == 0)
        return false;
    m_greatest = std::max(m_greatest, m_request->framesRecorded.load());
    if (m_greatest == 0)
        return false;
    SeekStreams(m_greatest);
    OnTimer();
    return true;
}

void CRecordDialog::SetOverwrite(bool overwrite) {
    Update([&](RecordConsoleFields& f) { f.overwrite = overwrite; });
}

void CRecordDialog::SetMonitoring(bool monitoring) {
    m_request->monitoring.store(monitoring ? 1 : 0);
    Update([&](RecordConsoleFields& f) { f.monitoring = monitoring; });
}

void CRecordDialog::SelectLine(int index) {
    if (index < 0 || index >= static_cast<int>(m_fields.lines.size()))
        return;
    Update([&](RecordConsoleFields& f) { f.selectedLine = index; });
    ApplyLine();
}

void CRecordDialog::SetLevel(int percent) {
    Update([&](RecordConsoleFields& f) { f.level = std::clamp(percent, 0, 100); });
    ApplyLine();
}

void CRecordDialog::ApplyLine() {
    const int index = m_fields.selectedLine;
    if (!m_mixer || index < 0 || index >= static_cast<int>(m_fields.lines.size()))
        return;
    m_mixer->SelectLine(m_fields.lines[static_cast<size_t>(index)]);
    m_mixer->SetLineVolume(index, m_fields.level / 100.0);
}

int CRecordDialog::MeterPosition(float peak) {
    const double dB = peak > 0.0f ? 20.0 * std::log10(peak) : -144.0;
    return 100 - static_cast<int>(dB * -1.25);
}

void CRecordDialog::OnTimer() {
    RecordRequest& r = *m_request;
    const int64_t frames = r.framesRecorded.load();
    std::string position;
    if (frames != m_lastShown) {
        m_lastShown = frames;
        m_greatest = std::max(m_greatest, frames);
        position = FormatTime(frames, r.format.nSamplesPerSec);
    }
    const float peak0 = r.peak0.load();
    const float second = r.format.nChannels == 2 ? r.peak1.load() : peak0;
    Update([&](RecordConsoleFields& f) {
        if (!position.empty())
            f.position = position;
        f.meter0 = std::clamp(MeterPosition(peak0), 0, 100);
        f.meter1 = std::clamp(MeterPosition(second), 0, 100);
    });
    // A thread that ended by itself (the input gone, a full disk) ends the console; what was
    // recorded until then is kept.
    if (m_thread.joinable() && r.threadEnded.load() != 0 && IsRunning())
        OnOK();
}

RecordConsoleFields CRecordDialog::GetFields() const {
    std::lock_guard<std::mutex> lock(m_fieldLock);
    return m_fields;
}

template <class Change> void CRecordDialog::Update(Change change) {
    bool changed;
    {
        std::lock_guard<std::mutex> lock(m_fieldLock);
        RecordConsoleFields next = m_fields;
        change(next);
        changed = !(next == m_fields);
        m_fields = std::move(next);
    }
    // While it is being set up the window reads the fields when it opens; after closing nobody shows
    // them.
    if (changed && GetSafeHandle() != 0 && !m_initializing)
        Presentation().DialogChanged(*this);
}

void CRecordDialog::StopThread() {
    if (CMessageLoop* loop = GetSafeHandle() != 0 ? CWindow::LoopOf(GetSafeHandle()) : nullptr)
        loop->KillTimer(GetSafeHandle(), kTimerId);
    if (!m_thread.joinable())
        return;
    RecordRequest& r = *m_request;
    // Paused first: a thread that sees the stop must not write one more block.
    r.paused.store(1);
    r.stop.store(1);
    bool ended = WaitForEnd(r, kStopWaitMs);
    if (!ended) {
        {
            std::lock_guard<std::mutex> lock(r.deviceLock);
            if (r.input != nullptr)
                r.input->Stop();
            if (r.output != nullptr)
                r.output->Stop();
        }
        ended = WaitForEnd(r, kRescueWaitMs);
    }
    if (ended) {
        m_thread.join();
    } else {
        m_thread.detach();
        m_abandoned = true;
    }
    m_greatest = std::max(m_greatest, r.framesRecorded.load());
    Update([&](RecordConsoleFields& f) {
        f.recording = false;
        f.recordTooltip = LoadString(kRecordTip);
    });
}

} // namespace tw
