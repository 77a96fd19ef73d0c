// A long recording on a busy machine: does the record thread keep up with the input, and are the
// peak records it writes on the way the same as a peak scan of the take would give?
//
// Writes a stereo 16-bit 48 kHz WAV of a 997 Hz tone a minute longer than the take (a tone whose
// every sample follows from the two before it, so that a block lost anywhere breaks the recurrence)
// and plays it into the private server's null sink with `paplay`. A document view on its own
// thread is kept busy all the while: a one-minute document repainted at ever other zooms, with a
// Delete and its Undo every so often (the history and the working container written as they go).
// The record thread (RecordThreadProc, as the recording console starts it) records the sink's
// monitor through ALSA's default input, the chain's "ALSA: (default device)", stereo 16-bit
// 48 kHz, into a PCM file and a peak file; it starts paused, as the console does, and records
// from the moment the tone is heard for the given time (default ten minutes). Beside it, in the
// same run and on the same input, `arecord -D default` records the same monitor.
//
// Counted afterwards:
//   lost blocks (clock)  frames recorded against the wall clock between the start and the stop of
//                        the take, in blocks of the thread (3,328 frames), less one block for the
//                        edges (the block under way when the take starts or stops)
//   breaks (PCM)         places where the tone's recurrence x[n+1] = 2cos(w) x[n] - x[n-1] fails
//                        by more than 30 steps of 16 bits on either channel; a lost block or a
//                        stretch of silence shows as one or two
//   peaks                the peak file written by the record thread against the rows CScanThread
//                        builds from the PCM file (the system's own peak scan), byte for byte
// Budget: no lost block and no break in ours, and the two peak files equal. The peer's breaks are
// printed beside ours: a break that both show lies in the player or the server, not in us, and
// makes the run inconclusive.
//
// Usage: record_soak [seconds of recording, default 600]
#include "SoundBench.h"

#include "BenchDocument.h"
#include "audio/AudioIn.h"
#include "audio/RecordRequest.h"
#include "audio/RecordThread.h"
#include "dsp/MediaMakers.h"
#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"
#include "storage/FileIO.h"
#include "storage/PCMAudio.h"
#include "storage/ScanThread.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int32_t kRate = 48000;
constexpr int kChannels = 2;
constexpr double kToneHz = 997.0;
constexpr double kAmplitude = 0.5;
constexpr double kBreakThreshold = 30.0 / 32768.0;

// Breaks of the tone's recurrence in a raw 16-bit file of `channels` channels; a run of failing
// frames closer than 64 frames to each other counts once. With `fromFirstSound` the silence before
// the tone is first heard is not a break (a recorder that starts before its stream delivers).
// Also gives the frame count.
int64_t CountBreaks(const std::string& path, int channels, bool fromFirstSound, int64_t& frames) {
    frames = 0;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return -1;
    const double k = 2.0 * std::cos(2.0 * M_PI * kToneHz / kRate);
    std::vector<int16_t> chunk(static_cast<size_t>(65536 * channels));
    std::vector<double> prev1(static_cast<size_t>(channels)), prev2(static_cast<size_t>(channels));
    int64_t breaks = 0;
    int64_t lastFail = -1000;
    int64_t heardAt = fromFirstSound ? -1 : 0;
    size_t got;
    while ((got = std::fread(chunk.data(), 2, chunk.size(), file)) > 0) {
        const int64_t n = static_cast<int64_t>(got) / channels;
        for (int64_t i = 0; i < n; ++i, ++frames) {
            bool fail = false;
            for (int c = 0; c < channels; ++c) {
                const double x = chunk[static_cast<size_t>(i * channels + c)] / 32768.0;
                if (heardAt < 0 && c == 0 && std::fabs(x) > kAmplitude * 0.2)
                    heardAt = frames;
                if (heardAt >= 0 && frames >= heardAt + 2 &&
                    std::fabs(x - (k * prev1[c] - prev2[c])) > kBreakThreshold)
                    fail = true;
                prev2[c] = prev1[c];
                prev1[c] = x;
            }
            if (fail) {
                if (frames - lastFail > 64)
                    ++breaks;
                lastFail = frames;
            }
        }
    }
    std::fclose(file);
    return breaks;
}

// The peak rows the system's scan builds for a raw 16-bit PCM file; empty on failure.
std::vector<uint8_t> ScanPeaks(const std::string& path) {
    auto* file = new tw::CFileIO(path, tw::CFile::modeRead | tw::CFile::shareDenyNone, 0);
    file->Format = WAVEFORMATEX{1, kChannels, kRate, kRate * kChannels * 2, kChannels * 2, 16, 0};
    file->SetLimit(file->GetLength());
    tw::CPCMAudio stream;
    stream.SetFileName(path);
    tw::CScanThread* scan = nullptr;
    if (!stream.AttachBackground(file, nullptr, scan))
        return {};
    const bool built = scan == nullptr || scan->Execute() == 0;
    delete scan;
    tw::IBasicIO* peak = stream.GetPeakSource();
    if (!built || peak == nullptr)
        return {};
    std::vector<uint8_t> rows(static_cast<size_t>(peak->GetLength()));
    peak->Seek(0);
    if (!rows.empty() && !peak->Read(rows.data(), static_cast<uint32_t>(rows.size())))
        return {};
    return rows;
}

std::vector<uint8_t> ReadAll(const std::string& path) {
    std::vector<uint8_t> bytes;
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
        uint8_t buffer[65536];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
            bytes.insert(bytes.end(), buffer, buffer + n);
        std::fclose(file);
    }
    return bytes;
}

// Keeps a document thread busy until `run` clears: each step repaints the view at another zoom,
// and every 50th deletes a piece and undoes it. Each step is its own posted call, so the thread's
// timers and messages go on between them as they would under a user.
class BusyDocument {
public:
    explicit BusyDocument(bench::DocumentThread& document) : m_document(document) {}
    void Start() {
        m_run = true;
        Post();
    }
    void Stop() {
        m_run = false;
        m_document.Call([] {}, 30.0);
    }
    int64_t Steps() const { return m_steps.load(); }
    // Deletes that were made and undone.
    int64_t Edits() const { return m_edits.load(); }

private:
    void Post() {
        m_document.Call(
            [this] {
                if (!m_run)
                    return;
                Step();
                if (m_run)
                    Post();
            },
            0.0);
    }
    void Step() {
        tw::CChildView& view = m_document.View();
        const int64_t length = view.GetMedia().GetLength();
        if (length < 1000)
            return;
        const int64_t span =
            std::max<int64_t>(1000, std::uniform_int_distribution<int64_t>(1000, length)(m_random));
        const int64_t at = std::uniform_int_distribution<int64_t>(0, length - span)(m_random);
        view.SetViewSection(tw::CSection(at, at + span));
        const int64_t n = m_steps.fetch_add(1) + 1;
        if (n % 50 == 0) {
            view.SetSelection(tw::CSection(at, at + std::min<int64_t>(span, 4410)));
            view.OnCmdMsg(tw::CChildView::kDelete);
            view.OnCmdMsg(tw::CChildView::kUndo);
            if (!view.GetRedoList().empty())
                m_edits.fetch_add(1);
        }
        view.Invalidate();
        view.Paint();
    }

    bench::DocumentThread& m_document;
    std::atomic<bool> m_run{false};
    std::atomic<int64_t> m_steps{0};
    std::atomic<int64_t> m_edits{0};
    std::mt19937_64 m_random{7};
};

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(10, argc > 1 ? std::atoll(argv[1]) : 600);
    if (!bench::SoundServerAnswers("record_soak"))
        return 1;
    for (const char* tool : {"paplay", "arecord"})
        if (!bench::HasTool(tool)) {
            std::fprintf(stderr, "record_soak: %s is needed (scripts/setup installs it)\n", tool);
            return 1;
        }
    bench::TempFolder folder("tw-recordsoak");
    if (!folder.Ok()) {
        std::fprintf(stderr, "record_soak: no temporary folder\n");
        return 1;
    }
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!filters.IsLoaded()) {
        std::fprintf(stderr,
                     "record_soak: the format library (FormatHost/ beside this program) is missing\n");
        return 1;
    }
    tw::RegisterMediaMakers();
    std::unique_ptr<tw::CAudioDeviceMgr> chain(bench::MakeDeviceChain());
    tw::SetDeviceChain(chain.get());
    const int32_t input = bench::FindDevice(false, "ALSA: ", "(default device)");
    if (input < 0) {
        std::fprintf(stderr, "record_soak: the chain has no ALSA default input (inputs: %s)\n",
                     bench::DeviceNames(false).c_str());
        tw::SetDeviceChain(nullptr);
        return 1;
    }

    std::vector<std::string> inputs;
    chain->GetInputNames(inputs);
    const std::string inputName = inputs[static_cast<size_t>(input)];
    const std::string tone = folder.Path() + "/tone.wav";
    const std::string busyWav = folder.Path() + "/busy.wav";
    const std::string pcmPath = folder.Path() + "/take.pcm";
    const std::string peakPath = folder.Path() + "/take.peaks";
    const std::string peerPath = folder.Path() + "/peer.pcm";
    const double w = 2.0 * M_PI * kToneHz / kRate;
    if (!bench::WriteWav16(tone, kRate, kChannels, (seconds + 60) * kRate,
                           [w](int64_t f, int c) {
                               return kAmplitude *
                                      std::sin(w * static_cast<double>(f) + (c != 0 ? 1.0 : 0.0));
                           }) ||
        !bench::WriteTestWav(busyWav, 60LL * bench::kRate)) {
        std::fprintf(stderr, "record_soak: cannot write the test audio\n");
        tw::SetDeviceChain(nullptr);
        return 1;
    }

    int status = 0;
    {
        bench::DocumentThread document;
        bool loaded = false;
        if (document.Ok())
            document.Call([&] {
                loaded = document.View().LoadFile(busyWav);
                document.View().ViewAll();
            });
        if (!loaded) {
            std::fprintf(stderr, "record_soak: the busy document did not open\n");
            tw::SetDeviceChain(nullptr);
            return 1;
        }
        BusyDocument busy(document);

        auto pcm = std::make_unique<tw::CFileIO>(
            pcmPath, tw::CFile::modeCreate | tw::CFile::modeReadWrite | tw::CFile::shareDenyNone, 0);
        auto peaks = std::make_unique<tw::CFileIO>(
            peakPath, tw::CFile::modeCreate | tw::CFile::modeReadWrite | tw::CFile::shareDenyNone, 0);
        tw::RecordRequest request;
        request.framesPerBlock = tw::RecordFramesPerBlock(kRate);
        request.pcm = pcm.get();
        request.peaks = peaks.get();
        request.format = WAVEFORMATEX{1, kChannels, kRate, kRate * kChannels * 2, kChannels * 2, 16, 0};
        request.inputDevice = input;
        request.devices = chain.get();

        bench::Child player({"paplay", tone});
        busy.Start();
        std::thread recorder(tw::RecordThreadProc, &request);
        // Paused until the tone is heard, as a console meters before its Record button is pressed.
        int loud = 0;
        const auto waitStart = bench::SoundClock::now();
        while (loud < 5 && request.threadEnded.load() == 0 &&
               bench::Seconds(bench::SoundClock::now() - waitStart) < 15.0) {
            loud = request.peak0.load() > kAmplitude * 0.8 ? loud + 1 : 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(70));
        }
        bool started = loud >= 5;
        double wall = 0.0;
        std::unique_ptr<bench::Child> peer;
        if (started) {
            peer = std::make_unique<bench::Child>(std::vector<std::string>{"arecord", "-q", "-D", "default",
                                                                           "-f", "S16_LE", "-r", "48000",
                                                                           "-c", "2", "-t", "raw", peerPath});
            const auto t1 = bench::SoundClock::now();
            request.paused.store(0);
            while (request.threadEnded.load() == 0 && bench::Seconds(bench::SoundClock::now() - t1) < seconds)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            request.paused.store(1);
            request.stop.store(1);
            wall = bench::Seconds(bench::SoundClock::now() - t1);
            peer->Kill();
        }
        request.paused.store(1);
        request.stop.store(1);
        // The thread sees the flag after its Read returns; an input that stopped delivering is
        // stopped from here, as the console does when the thread does not answer.
        for (int i = 0; i < 500 && request.threadEnded.load() == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (request.threadEnded.load() == 0) {
            std::lock_guard<std::mutex> lock(request.deviceLock);
            if (request.input != nullptr)
                request.input->Stop();
        }
        recorder.join();
        const int64_t steps = busy.Steps();
        const int64_t edits = busy.Edits();
        busy.Stop();
        player.Kill();
        pcm.reset();
        peaks.reset();
        if (!started) {
            std::fprintf(stderr, "record_soak: the record thread %s\n",
                         request.threadEnded.load() != 0 && wall == 0.0
                             ? "did not start (the input did not open)"
                             : "never heard the tone");
            tw::SetDeviceChain(nullptr);
            return 1;
        }

        const int64_t block = request.framesPerBlock;
        const int64_t recorded = request.framesRecorded.load();
        const double expected = wall * kRate;
        const double deficit = expected - static_cast<double>(recorded);
        const int64_t lostByClock =
            std::max<int64_t>(0, std::llround(deficit / static_cast<double>(block)) - 1);
        int64_t pcmFrames = 0, peerFrames = 0;
        const int64_t breaks = CountBreaks(pcmPath, kChannels, false, pcmFrames);
        const int64_t peerBreaks = CountBreaks(peerPath, kChannels, true, peerFrames);
        const std::vector<uint8_t> written = ReadAll(peakPath);
        const std::vector<uint8_t> scanned = ScanPeaks(pcmPath);
        const bool peaksEqual = !written.empty() && written == scanned;
        size_t firstDifference = 0;
        while (firstDifference < std::min(written.size(), scanned.size()) &&
               written[firstDifference] == scanned[firstDifference])
            ++firstDifference;

        std::printf(
            "record_soak: %.1f s of stereo 16-bit 48 kHz from \"%s\" (the null sink's monitor, a 997 Hz "
            "tone), blocks of %lld frames; the document thread meanwhile: %lld repaints, %lld deletes "
            "undone\n",
            wall, inputName.c_str(), static_cast<long long>(block), static_cast<long long>(steps),
            static_cast<long long>(edits));
        std::printf("%-34s %12s %12s %8s\n", "", "frames", "expected", "breaks");
        std::printf("%-34s %12lld %12.0f %8lld\n", "ours (record thread)", static_cast<long long>(recorded),
                    expected, static_cast<long long>(breaks));
        std::printf("%-34s %12lld %12s %8lld\n", "arecord -D default (same input)",
                    static_cast<long long>(peerFrames), "", static_cast<long long>(peerBreaks));
        std::printf("lost blocks by the clock: %lld (frames short of the wall clock: %.0f, %.2f blocks)\n",
                    static_cast<long long>(lostByClock), deficit, deficit / static_cast<double>(block));
        std::printf("PCM file: %lld frames, the record thread counted %lld\n",
                    static_cast<long long>(pcmFrames), static_cast<long long>(recorded));
        std::printf("peaks: written %zu bytes, scanned %zu bytes: %s", written.size(), scanned.size(),
                    peaksEqual ? "equal" : "DIFFERENT");
        if (!peaksEqual)
            std::printf(" (first difference at byte %zu)", firstDifference);
        std::printf("\n");
        const bool held = lostByClock == 0 && breaks == 0 && pcmFrames == recorded && peaksEqual;
        std::printf(
            "budget: 0 lost blocks, 0 breaks, equal peaks: %s%s\n", held ? "PASS" : "FAIL",
            !held && peerBreaks > 0 ? " (the peer heard breaks too: the source had gaps; inconclusive)" : "");
        status = held ? 0 : 2;
    }
    tw::SetDeviceChain(nullptr);
    return status;
}
