// Recording on a desktop, as a person does it: in a new, empty document Ctrl+R asks for the format,
// the console opens, its record button is pressed with the mouse while a tone plays into the
// private sound server's sink (whose monitor is the default input), pressed again about a second
// later, and Enter ends the console with OK. The document then holds the take: saved with Ctrl+S,
// it is as long as the button was down and carries the tone at its level.
#include "Desktop.h"

#include <alsa/asoundlib.h>

#include <atomic>
#include <cmath>

namespace tw::test {
namespace {

constexpr double kTone = 997.0;
constexpr float kAmplitude = 0.3f; // -10.5 dB: the meters stay out of their red

// The number the editor gives ALSA's `default` among its inputs: ALSA's devices come first, in the
// order ALSA lists them (`default` itself left out), and `default` follows them.
int AlsaDefaultInput() {
    void** hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0 || hints == nullptr)
        return -1;
    int inputs = 0;
    for (void** h = hints; *h != nullptr; ++h) {
        char* name = snd_device_name_get_hint(*h, "NAME");
        char* io = snd_device_name_get_hint(*h, "IOID");
        if (name != nullptr && std::strcmp(name, "default") != 0 &&
            (io == nullptr || std::strcmp(io, "Input") == 0))
            ++inputs;
        std::free(name);
        std::free(io);
    }
    snd_device_name_free_hint(hints);
    return inputs;
}

// A steady tone into the default sink, from construction to destruction.
class TonePlayer {
public:
    TonePlayer() {
        pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, 2};
        // A short queue, so that the sink carries the tone soon after it starts.
        pa_buffer_attr attr{};
        attr.maxlength = static_cast<uint32_t>(-1);
        attr.tlength = kRate / 10 * 2 * 4;
        attr.prebuf = static_cast<uint32_t>(-1);
        attr.minreq = static_cast<uint32_t>(-1);
        int error = 0;
        m_stream = pa_simple_new(nullptr, "tw-e2e-tone", PA_STREAM_PLAYBACK, nullptr, "tone", &spec, nullptr,
                                 &attr, &error);
        if (m_stream != nullptr)
            m_thread = std::thread([this] { Loop(); });
    }
    ~TonePlayer() {
        m_run = false;
        if (m_thread.joinable())
            m_thread.join();
        if (m_stream != nullptr)
            pa_simple_free(m_stream);
    }
    bool Playing() const { return m_stream != nullptr; }

private:
    static constexpr uint32_t kRate = 48000;
    void Loop() {
        std::vector<float> chunk(kRate / 100 * 2);
        int64_t frame = 0;
        while (m_run) {
            for (size_t i = 0; i < chunk.size() / 2; ++i, ++frame)
                chunk[2 * i] = chunk[2 * i + 1] =
                    kAmplitude * static_cast<float>(std::sin(2.0 * M_PI * kTone * frame / kRate));
            int error = 0;
            if (pa_simple_write(m_stream, chunk.data(), chunk.size() * 4, &error) < 0)
                return;
        }
    }
    pa_simple* m_stream = nullptr;
    std::thread m_thread;
    std::atomic<bool> m_run{true};
};

// The centre of the strong red in the upper third of `area` on the screen, where the console has
// its buttons: the record button's symbol.
QPoint RedCentre(const QImage& screen, const QRect& area) {
    return ColourCentre(
        screen, QRect(area.topLeft(), QSize(area.width(), area.height() / 3 + 1)),
        [](QColor c) { return c.red() > 200 && c.green() < 110 && c.blue() < 110; }, 20);
}

// Lit segments of the console's meters: their green, counted in `area` of the screen.
int LitMeterPixels(const QImage& screen, const QRect& area) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = screen.pixelColor(x, y);
            count += c.green() > 180 && c.red() < 100 && c.blue() < 160 ? 1 : 0;
        }
    return count;
}

using DesktopRecord = DesktopTest;

TEST_F(DesktopRecord, ATakeOfATonePlayedIntoTheSinkBecomesTheNewDocument) {
    const int input = AlsaDefaultInput();
    ASSERT_GE(input, 0) << "ALSA lists no devices";
    WriteSettings("[Audio]\nInputDevice=" + std::to_string(input) + "\n");
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    const auto editor = Editor(x, {});
    const QRect main = x.FindWindow("^Vond Tidewright$");
    ASSERT_FALSE(main.isEmpty()) << "no window";
    Wait(500);

    // Ctrl+R: an empty document has no format yet, so it is asked for first; Enter takes the
    // defaults (44,100 Hz, 16 bits, stereo).
    x.PointAt(main.center());
    x.Key("ctrl+r");
    const QRect format = x.FindWindow("^Sample Format Settings$", 10);
    ASSERT_FALSE(format.isEmpty()) << "no format dialog";
    EXPECT_FALSE(x.Shows("^Recording Console$"));
    Wait(300);
    Shot(x, format, "e2e-record-format");
    x.PointAt(format.center());
    x.Key("Return");

    const QRect console = Await(x, "^Recording Console$", "e2e-record-failed");
    ASSERT_FALSE(console.isEmpty()) << "no console";
    // As a person does, the button is pressed once the meters show that the tone comes in.
    TonePlayer tone;
    ASSERT_TRUE(tone.Playing());
    ASSERT_TRUE(WaitFor([&] { return LitMeterPixels(x.Screen(), console) > 200; }, 10))
        << "the meters stay dark";
    const QPoint record = RedCentre(x.Screen(), console);
    ASSERT_FALSE(record.isNull()) << "no record button";

    x.Click(record);
    const auto pressed = std::chrono::steady_clock::now();
    Wait(800);
    Shot(x, console, "e2e-record-console");
    // The red symbol gave way to the pause symbol.
    EXPECT_TRUE(RedCentre(x.Screen(), console).isNull());
    Wait(200);
    x.Xdo("click 1");
    const double held = std::chrono::duration<double>(std::chrono::steady_clock::now() - pressed).count();
    ASSERT_TRUE(WaitFor([&] { return !RedCentre(x.Screen(), console).isNull(); }, 3)) << "no pause";
    x.Key("Return");
    ASSERT_TRUE(x.WindowGone("^Recording Console$")) << "the console stays";
    Wait(800);
    Shot(x, main, "e2e-record-document");

    // Ctrl+S asks where a new document goes, offering WAV; the path is typed into its name box.
    const fs::path saved = root / "take.wav";
    x.PointAt(main.center());
    x.Key("ctrl+s");
    const QRect saveAs = Await(x, "^Save As$", "e2e-record-failed");
    ASSERT_FALSE(saveAs.isEmpty()) << "no Save As";
    Wait(500);
    x.PointAt(saveAs.center());
    x.Xdo("type --delay 5 '" + saved.string() + "'");
    x.Key("Return");
    ASSERT_TRUE(x.WindowGone("^Save As$")) << "Save As stays";
    // Once written, the document is read again from the file and named after it.
    ASSERT_FALSE(x.FindWindow("^take.wav", 20).isEmpty()) << "nothing saved";
    const std::vector<float> take = ReadWav(saved.string()).samples;
    ASSERT_FALSE(take.empty());
    const double seconds = static_cast<double>(take.size() / 2) / 44100.0;
    EXPECT_NEAR(seconds, held, 0.25) << "the button was down for " << held << " s";
    const int64_t frames = static_cast<int64_t>(take.size() / 2);
    const int64_t from = frames / 5;
    const int64_t to = frames - frames / 5;
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_NEAR(Rms(take, 2, channel, from, to), kAmplitude / std::sqrt(2.0), 0.04) << channel;
        EXPECT_NEAR(ToneFrequency(take, 2, channel, from, to, 44100), kTone, 2.0) << channel;
    }
    // Saved, the document ends without a question.
    EXPECT_TRUE(editor->Quit());
}

} // namespace
} // namespace tw::test
