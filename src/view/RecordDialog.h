// The "Recording Console": a modal dialog that opens the input device and meters it from the moment
// it shows, and on the person's word appends the input's raw PCM and its peak records to two byte
// streams, which then become a document's data. A record thread runs from OnInitDialog until the
// dialog closes; while the record button is up it only meters (and monitors, when asked).
//
// Threads: everything but GetFields runs on the dialog's (the document's) thread, including every
// button, which a presentation calls there by posting. The presentation learns of a change through
// DialogChanged and reads the whole picture with GetFields, from any thread.
//
// Ownership: the streams and the device manager are the caller's and must outlive the dialog; the
// dialog owns the request it shares with its thread and the thread itself, which it has stopped
// by the time DoModal returns (and again, as a backstop, in its destructor).
#pragma once

#include "platform/ModalDialog.h"

#include <tidework/wavefmt.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw {

class CAudioDeviceMgr;
class CAudioMixer;
class IBasicIO;
struct RecordRequest;

// What the console's window shows.
struct RecordConsoleFields {
    std::string position = "00:00:00:000"; // the take's position, hh:mm:ss:mmm
    int meter0 = 0;                        // level meters, 0..100 (-80 dB and below show 0)
    int meter1 = 0;
    std::vector<std::string> lines; // "Audio input line:" box; empty for a device without a mixer
    int selectedLine = -1;          // index into lines, -1 for none
    int level = 100;                // "Input Level (dB)" slider, 0..100
    bool recording = false;         // the record button is down
    bool monitoring = false;        // "Digital monitoring"
    bool overwrite = false;         // "Overwrite existing recording" (else "Insert into recording")
    std::string recordTooltip;      // "Record" while paused, "Pause" while recording
    bool operator==(const RecordConsoleFields&) const = default;
};

class CRecordDialog : public CModalDialog {
public:
    static constexpr uint32_t kTimerId = 100;
    static constexpr uint32_t kTimerMs = 65;

    // `format` may be null: Prepare then asks for one. Nothing is touched before Prepare.
    CRecordDialog(IBasicIO* pcm, IBasicIO* peaks, const WAVEFORMATEX* format, CAudioDeviceMgr* devices);
    ~CRecordDialog() override;

    // Before DoModal, on the dialog's thread. Without a format the format dialog asks first, and
    // its Cancel makes DoModal end at once with 2. Then both streams are rewound, the input comes
    // from Audio / InputDevice (default 0), and the devices are tried in both directions: when the
    // output cannot be opened string 142 is shown, when the input cannot, string 221, both owned by
    // `owner`, and the result is false (the console must not be run).
    bool Prepare(WindowHandle owner);

    std::string DialogName() const override { return "Record"; }
    std::string GetWindowText() const override { return "Recording Console"; }
    // Starts the record thread, fills the line box through the input's mixer and starts timer 100.
    void OnInitDialog() override;
    // Both close the console the same way: the thread is stopped and waited for.
    void OnOK() override;
    void OnCancel() override;
    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

    // ---- the buttons and fields, on the dialog's thread ----
    // The record button: starts writing the take at the streams' position, or pauses it.
    void OnRecordButton();
    // "Go to begin": the take starts again at 0 (what follows is kept until written over). Only
    // while paused; false otherwise.
    bool OnGoToBegin();
    // "Go to end": back to the greatest position reached. Only while paused and when something was
    // recorded; false otherwise.
    bool OnGoToEnd();
    void SetOverwrite(bool overwrite);
    void SetMonitoring(bool monitoring);
    // Chooses an entry of the line box; out of range is ignored.
    void SelectLine(int index);
    // The slider, clamped to 0..100, applied as the line's volume.
    void SetLevel(int percent);
    // Timer 100: position, meters, and the end of a thread that stopped by itself.
    void OnTimer();

    // The picture the window shows; any thread.
    RecordConsoleFields GetFields() const;

    // ---- for the caller, after DoModal ----
    bool WasCancelled() const { return m_cancelled; }
    bool IsOverwrite() const { return m_fields.overwrite; }
    const WAVEFORMATEX& GetFormat() const;
    // The take's length in frames: the greatest position reached.
    int64_t GetRecordedLength() const { return m_greatest; }
    // Frames written at the streams' position now; any thread.
    int64_t GetFramesRecorded() const;
    // True when the thread did not end in time and was left running (a device that stopped
    // answering even to a stop): it may still hold the streams, which must then not be freed.
    bool ThreadAbandoned() const { return m_abandoned; }

    // 100 - trunc(dB * -1.25), dB = 20 log10(peak) or -144 for silence: 100 at full scale, 0 at
    // -80 dB, and below 0 (which the meter shows as 0) for quieter input.
    static int MeterPosition(float peak);

private:
    void StopThread();
    void ApplyLine();
    // Takes `change` into the fields under the lock and tells the presentation when they changed.
    template <class Change> void Update(Change change);
    void SeekStreams(int64_t frame);

    std::shared_ptr<RecordRequest> m_request;
    std::thread m_thread;
    std::unique_ptr<CAudioMixer> m_mixer;
    bool m_haveFormat = false;
    bool m_cancelled = false;
    bool m_abandoned = false;
    bool m_initializing = false;
    int64_t m_lastShown = 0;
    int64_t m_greatest = 0;
    mutable std::mutex m_fieldLock;
    RecordConsoleFields m_fields;
};

} // namespace tw
