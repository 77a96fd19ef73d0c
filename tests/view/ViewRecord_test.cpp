// Recording: the console's fields and buttons as a window would drive them, and the Record command
// of the view with the virtual card: a take into an empty document, inserted into or written over
// a document, the format dialog's cancel, the devices' failures, and a console whose card stops
// answering.
#include "ViewTestSupport.h"

#include "audio/AudioTestSupport.h"
#include "audio/RecordTestSupport.h"

#include "audio/AudioIn.h"
#include "audio/DeviceChain.h"
#include "audio/RecordRequest.h"
#include "audio/VirtualAudioOut.h"
#include "core/PeakData.h"
#include "platform/Event.h"
#include "platform/StringTable.h"
#include "storage/FormatTime.h"
#include "view/EditDialogs.h"
#include "view/RecordDialog.h"
#include "view/UndoEntry.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <thread>
#include <tuple>
#include <utility>

namespace tw::test {
namespace {

constexpr int32_t kDocBlock = 3072; // frames per record block at 44100 Hz

// Runs `then` on this thread's loop once `ready` holds. A thread of its own watches `ready` (which
// must be safe to ask from there), so the dialog's loop goes on with its timer meanwhile; after ten
// seconds it gives up, cancels `dialog` and fails the test.
class Waiters {
public:
    ~Waiters() { JoinAll(); }
    void When(CModalDialog& dialog, std::function<bool()> ready, std::function<void()> then) {
        CMessageLoop* loop = CMessageLoop::Current();
        m_threads.emplace_back([&dialog, loop, ready, then] {
            bool met = false;
            for (int waited = 0; waited < 10000 && !(met = ready()); waited += 5)
                Sleep(5);
            loop->PostCall([&dialog, met, then] {
                if (!dialog.IsRunning())
                    return;
                if (met) {
                    then();
                } else {
                    ADD_FAILURE() << "the console never got there";
                    dialog.OnCancel();
                }
            });
        });
    }
    void JoinAll() {
        for (std::thread& t : m_threads)
            if (t.joinable())
                t.join();
        m_threads.clear();
    }

private:
    std::vector<std::thread> m_threads;
};

class ViewRecordTest : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        if (IsSkipped())
            return;
        SetDeviceChain(card.devices.get());
        PutSettingInt("Audio", "OutputDevice", 0);
    }
    void TearDown() override {
        waiters.JoinAll();
        SetDeviceChain(nullptr);
        ViewTest::TearDown();
    }
    // Scripts the console: (overwrite or insert), press Record, wait for `blocks` blocks, press
    // Record again to pause, then OK (or Cancel).
    void ScriptTake(int blocks, bool overwrite, bool ok = true) {
        presentation->OnDialog("Record", [this, blocks, overwrite, ok](CModalDialog& d) {
            auto& console = static_cast<CRecordDialog&>(d);
            console.SetOverwrite(overwrite);
            console.OnRecordButton();
            recordingFields = console.GetFields();
            const int64_t frames =
                static_cast<int64_t>(blocks) * RecordFramesPerBlock(console.GetFormat().nSamplesPerSec);
            waiters.When(
                d, [&console, frames] { return console.GetFramesRecorded() >= frames; },
                [this, &console, ok] {
                    console.OnRecordButton();
                    console.OnTimer();
                    pausedFields = console.GetFields();
                    if (ok)
                        console.OnOK();
                    else
                        console.OnCancel();
                    takeLength = console.GetRecordedLength();
                });
        });
    }
    // The first frame of the input that channel 0 of the document shows at `at`, checking that
    // `frames` frames from there are the input without a gap.
    static void ExpectInputAt(const std::vector<float>& samples, int64_t at, int64_t frames) {
        ASSERT_GE(static_cast<int64_t>(samples.size()), at + frames);
        int64_t first = -1;
        for (int64_t n = 0; n < 24000 && first < 0; ++n)
            if (InputCode(n, 0) / 32768.0f == samples[static_cast<size_t>(at)] &&
                InputCode(n + 1, 0) / 32768.0f == samples[static_cast<size_t>(at + 1)])
                first = n;
        ASSERT_GE(first, 0) << "no input at " << at;
        for (int64_t i = 0; i < frames; ++i)
            ASSERT_EQ(samples[static_cast<size_t>(at + i)], InputCode(first + i, 0) / 32768.0f) << at + i;
    }

    VirtualCard card;
    Waiters waiters;
    int64_t takeLength = 0;
    RecordConsoleFields recordingFields;
    RecordConsoleFields pausedFields;
};

TEST_F(ViewRecordTest, ATakeIntoAnEmptyDocumentUsesTheAskedFormatAndBecomesTheDocument) {
    presentation->OnDialog("Format", [](CModalDialog& d) {
        d.SetFormField("rate", "8000 Hz (Telephone)");
        d.SetFormField("stereo", "0");
        d.OnOK();
    });
    ScriptTake(3, false);
    EXPECT_TRUE(State(CChildView::kRecord).enabled);
    Command(CChildView::kRecord);

    EXPECT_EQ(std::make_pair(recordingFields.recordTooltip, recordingFields.recording),
              std::make_pair(std::string("Pause"), true));
    EXPECT_EQ(std::make_pair(pausedFields.recordTooltip, pausedFields.recording),
              std::make_pair(std::string("Record"), false));
    EXPECT_NE(pausedFields.position, "00:00:00:000");
    EXPECT_EQ(pausedFields.meter0, pausedFields.meter1); // mono shows channel 0 on both

    CEditedMedia& media = view->GetMedia();
    ASSERT_NE(media.GetNativeFormat(), nullptr);
    EXPECT_EQ(
        std::make_pair(media.GetNativeFormat()->nSamplesPerSec, int{media.GetNativeFormat()->nChannels}),
        std::make_pair(8000u, 1));
    const int64_t length = media.GetLength();
    EXPECT_GE(length, 3 * 768);
    EXPECT_EQ(length % 768, 0);
    EXPECT_EQ(pausedFields.position, FormatTime(length, 8000));
    ExpectInputAt(Channel0(media), 0, length);
    EXPECT_EQ(view->GetSelection(), CSection(0, 0));
    EXPECT_EQ(view->GetViewSection(), CSection(0, length));
    ASSERT_EQ(view->GetUndoList().size(), 1u);
    EXPECT_EQ(view->GetUndoList().back()->m_caption, "Record");
    // The peak rows came with the take: the document's peaks are those of its samples.
    std::unique_ptr<CPeakData> peaks(media.ReadPeakBlocks(CSection(0, length), true));
    ASSERT_NE(peaks, nullptr);
    ASSERT_EQ(peaks->GetCount(), length / 256);
    const std::vector<float> samples = Channel0(media);
    for (int32_t row = 0; row < peaks->GetCount(); ++row) {
        const auto from = samples.begin() + row * 256;
        EXPECT_EQ(peaks->Row(row)[0].minimum, *std::min_element(from, from + 256)) << row;
        EXPECT_EQ(peaks->Row(row)[0].maximum, *std::max_element(from, from + 256)) << row;
    }
}

TEST_F(ViewRecordTest, InsertPutsTheTakeAtTheSelectionStart_OverwriteWritesOverWhatFollows) {
    for (const bool overwrite : {false, true}) {
        SCOPED_TRACE(overwrite ? "overwrite" : "insert");
        LoadWav(44100);
        Select(1000, 5000);
        ScriptTake(2, overwrite);
        Command(CChildView::kRecord);

        const std::vector<float> samples = Channel0(view->GetMedia());
        const int64_t take = takeLength;
        ASSERT_GE(take, 2 * kDocBlock);
        EXPECT_EQ(take % kDocBlock, 0);
        EXPECT_EQ(view->GetMedia().GetLength(), overwrite ? 44100 : 44100 + take);
        for (int64_t f = 0; f < 1000; ++f)
            ASSERT_EQ(samples[static_cast<size_t>(f)], Written(f)) << f;
        ExpectInputAt(samples, 1000, take);
        // Insert moves the rest behind the take; overwrite lets it go on where the take ends.
        const int64_t resumes = overwrite ? 1000 + take : 1000;
        for (int64_t f = 1000 + take; f < static_cast<int64_t>(samples.size()); ++f)
            ASSERT_EQ(samples[static_cast<size_t>(f)], Written(f - 1000 - take + resumes)) << f;
        // One stage takes it back.
        view->Step(-1);
        EXPECT_EQ(view->GetMedia().GetLength(), 44100);
        EXPECT_EQ(Channel0(view->GetMedia())[1000], Written(1000));
    }
}

TEST_F(ViewRecordTest, OverwriteNearTheEndKeepsTheLastFrameAndAppendsTheRest) {
    LoadWav(5000);
    Select(4000, 4000);
    ScriptTake(1, true);
    Command(CChildView::kRecord);
    const std::vector<float> samples = Channel0(view->GetMedia());
    const int64_t take = takeLength;
    ASSERT_GE(take, kDocBlock);
    EXPECT_EQ(static_cast<int64_t>(samples.size()), 4000 + take + 1);
    ExpectInputAt(samples, 4000, take);
    EXPECT_EQ(samples.back(), Written(4999));
}

TEST_F(ViewRecordTest, CancelOfTheConsoleOrOfItsFormatDialogChangesNothing) {
    bool consoleScripted = false;
    presentation->OnDialog("Format", [](CModalDialog& d) { d.OnCancel(); });
    presentation->OnDialog("Record", [&](CModalDialog& d) {
        consoleScripted = true;
        d.OnOK();
    });
    Command(CChildView::kRecord);
    EXPECT_FALSE(consoleScripted); // the console ended before anyone could press a button
    EXPECT_TRUE(view->GetMedia().IsEmpty());
    EXPECT_TRUE(view->GetUndoList().empty());
    EXPECT_TRUE(presentation->Boxes().empty());

    LoadWav(44100);
    ScriptTake(1, false, false);
    Command(CChildView::kRecord);
    EXPECT_EQ(view->GetMedia().GetLength(), 44100);
    EXPECT_TRUE(view->GetUndoList().empty());
}

TEST_F(ViewRecordTest, AnOutputOrInputThatCannotOpenGivesItsMessageAndNoConsole) {
    struct Case {
        bool speakers;
        bool line;
        uint32_t message;
    };
    LoadWav(44100);
    for (const Case c : {Case{false, true, 142}, Case{true, false, 221}, Case{false, false, 142}}) {
        card.speakers->SetPresent(c.speakers);
        card.line->SetPresent(c.line);
        presentation->Clear();
        Command(CChildView::kRecord);
        EXPECT_EQ(presentation->Boxes(), std::vector<std::string>{LoadString(c.message)}) << c.message;
        for (const auto& shown : presentation->History())
            EXPECT_FALSE(shown.kind == "dialog" && shown.text == "Record");
        EXPECT_TRUE(view->GetUndoList().empty());
    }
}

TEST_F(ViewRecordTest, ACardPulledOutWhileRecordingEndsTheConsoleWithTheTakeSoFar) {
    LoadWav(44100);
    Select(0, 0);
    presentation->OnDialog("Record", [this](CModalDialog& d) {
        auto& console = static_cast<CRecordDialog&>(d);
        console.OnRecordButton();
        waiters.When(
            d, [&console] { return console.GetFramesRecorded() >= 2 * kDocBlock; },
            [this] { card.line->SetPresent(false); });
    });
    Command(CChildView::kRecord);
    const int64_t take = view->GetMedia().GetLength() - 44100;
    EXPECT_GE(take, 2 * kDocBlock);
    ExpectInputAt(Channel0(view->GetMedia()), 0, take);
}

// ---- the console itself ----

class RecordConsoleTest : public ViewRecordTest {
protected:
    WAVEFORMATEX Mono8k() const { return PcmFormat(1, 8000, 16); }
    TakeIO pcm;
    TakeIO peaks;
};

TEST_F(RecordConsoleTest, MeterPositionsFollowTheDecibelRule) {
    // 0, -6.02, -20 and -80 dB; silence is -144 dB, which the meter shows as 0.
    EXPECT_EQ(std::vector<int>({CRecordDialog::MeterPosition(1.0f), CRecordDialog::MeterPosition(0.5f),
                                CRecordDialog::MeterPosition(0.1f), CRecordDialog::MeterPosition(0.0001f),
                                CRecordDialog::MeterPosition(0.0f)}),
              std::vector<int>({100, 93, 75, 0, -80}));
}

TEST_F(RecordConsoleTest, GoToBeginRecordsOverTheStartAndGoToEndContinuesAtTheGreatestPosition) {
    const WAVEFORMATEX format = Mono8k();
    CRecordDialog console(&pcm, &peaks, &format, card.devices.get());
    ASSERT_TRUE(console.Prepare(view->GetSafeHandle()));
    int64_t first = 0;
    int64_t second = 0;
    bool refusedWhileRecording = false;
    presentation->OnDialog("Record", [&](CModalDialog& d) {
        console.OnRecordButton();
        refusedWhileRecording = !console.OnGoToBegin() && !console.OnGoToEnd();
        waiters.When(
            d, [&] { return console.GetFramesRecorded() >= 3 * 768; },
            [&] {
                console.OnRecordButton();
                first = console.GetFramesRecorded();
                EXPECT_TRUE(console.OnGoToBegin());
                EXPECT_EQ(console.GetFields().position, "00:00:00:000");
                console.OnRecordButton();
                waiters.When(
                    d, [&] { return console.GetFramesRecorded() >= 768; },
                    [&] {
                        console.OnRecordButton();
                        second = console.GetFramesRecorded();
                        EXPECT_TRUE(console.OnGoToEnd());
                        EXPECT_EQ(console.GetFramesRecorded(), first);
                        EXPECT_EQ(console.GetFields().position, FormatTime(first, 8000));
                        console.OnOK();
                    });
            });
    });
    EXPECT_EQ(console.DoModal(view->GetSafeHandle()), IDOK);
    EXPECT_TRUE(refusedWhileRecording);
    ASSERT_LT(second, first);
    EXPECT_EQ(console.GetRecordedLength(), first);
    // The take keeps its length; its start is the second run, the rest the first.
    const std::vector<uint8_t> take = pcm.Bytes();
    ASSERT_EQ(static_cast<int64_t>(take.size()), first * 2);
    const std::vector<int16_t> s = Samples16(take);
    // Each run is the input without a gap; where the second ends the first goes on, with a jump.
    auto follows = [&](int64_t i) {
        return (s[static_cast<size_t>(i)] + 12000 + 13) % 24000 - 12000 == s[static_cast<size_t>(i + 1)];
    };
    for (int64_t i = 0; i + 1 < first; ++i)
        if (i != second - 1)
            ASSERT_TRUE(follows(i)) << i;
    EXPECT_FALSE(follows(second - 1));
    EXPECT_EQ(AsFloats(peaks.Bytes()), ScanPeaks16(take, 1));
}

TEST_F(RecordConsoleTest, TheLineBoxLevelMonitoringAndRadioArePublishedAsTheyChange) {
    const WAVEFORMATEX format = Mono8k();
    CRecordDialog console(&pcm, &peaks, &format, card.devices.get());
    ASSERT_TRUE(console.Prepare(view->GetSafeHandle()));
    RecordConsoleFields shown;
    int changes = 0;
    presentation->OnDialog("Record", [&](CModalDialog& d) {
        const RecordConsoleFields first = console.GetFields();
        EXPECT_EQ(std::make_tuple(first.level, first.recordTooltip, first.overwrite),
                  std::make_tuple(100, std::string("Record"), false));
        for (const auto& h : presentation->History())
            changes += h.kind == "changed";
        console.SetLevel(140);
        console.SetMonitoring(true);
        console.SetOverwrite(true);
        console.SelectLine(static_cast<int>(first.lines.size())); // no such entry
        waiters.When(
            d, [&] { return card.speakers->GetCaptured().size() >= 4 * 768 * 2; },
            [&] {
                shown = console.GetFields();
                console.OnCancel();
            });
    });
    EXPECT_EQ(console.DoModal(view->GetSafeHandle()), IDCANCEL);
    EXPECT_EQ(changes, 0); // nothing was told before the window opened
    EXPECT_EQ(std::make_tuple(shown.level, shown.monitoring, shown.overwrite),
              std::make_tuple(100, true, true));
    EXPECT_GT(shown.meter0, 50); // the input swings to about -8.7 dB
    EXPECT_EQ(pcm.Writes(), 0);
    int changed = 0;
    for (const auto& h : presentation->History())
        changed += h.kind == "changed" && h.text == "Recording Console";
    EXPECT_GE(changed, 3);
}

// An input whose Read blocks until Stop, whatever happens: a card that stopped answering.
class StuckIn : public CAudioIn {
public:
    bool Open(int32_t, int32_t, int32_t, int32_t, intptr_t) override { return true; }
    bool Start() override { return true; }
    void Stop() override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
        m_cond.notify_all();
    }
    bool Read(void*) override {
        reading = true;
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cond.wait(lock, [this] { return m_stopped; });
        return false;
    }
    // Raised once the record thread is inside Read: only then is the card stuck.
    static inline std::atomic<bool> reading{false};

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_stopped = false;
};

class StuckCard : public CAudioDeviceMgr {
public:
    explicit StuckCard(std::shared_ptr<CVirtualDevice> speakers) : m_speakers(std::move(speakers)) {
        SetCounts(1, 1);
    }

protected:
    void AppendInputNames(std::vector<std::string>& names) override { names.push_back("stuck"); }
    void AppendOutputNames(std::vector<std::string>& names) override { names.push_back("speakers"); }
    CAudioIn* CreateLocalInput(int32_t) override { return new StuckIn; }
    CAudioOut* CreateLocalOutput(int32_t) override { return new CVirtualAudioOut(m_speakers); }
    int32_t GetLocalMixerId(int32_t index) override { return index; }

private:
    std::shared_ptr<CVirtualDevice> m_speakers;
};

TEST_F(RecordConsoleTest, ClosingOverACardThatStoppedAnsweringStopsItAfterTheBoundAndReturns) {
    StuckCard stuck(card.speakers);
    const WAVEFORMATEX format = Mono8k();
    CRecordDialog console(&pcm, &peaks, &format, &stuck);
    ASSERT_TRUE(console.Prepare(view->GetSafeHandle()));
    StuckIn::reading = false;
    presentation->OnDialog("Record", [](CModalDialog& d) {
        // Closed only once the record thread hangs in the card, however late it got there.
        for (int i = 0; i < 2000 && !StuckIn::reading; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        d.OnOK();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(console.DoModal(view->GetSafeHandle()), IDOK);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_FALSE(console.ThreadAbandoned()); // the device's Stop freed its Read
    EXPECT_GE(seconds, 2.9);
    EXPECT_LT(seconds, 5.5);
    EXPECT_EQ(console.GetRecordedLength(), 0);
}

} // namespace
} // namespace tw::test
