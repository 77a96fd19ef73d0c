// Saving tracks on a desktop: a file with two cue points opens with two track splits, File > Save
// Tracks as Files opens its dialog, Enter takes it with the playlist on, and the folder then holds
// one file per track, each with the audio between its split and the next (the last to the end), and
// a playlist that lists them. The audio ahead of the first split is in none of them.
#include "Desktop.h"

#include <cmath>

namespace tw::test {
namespace {

constexpr uint32_t kRate = 44100;
// Each second of the file has its own level, so that a track tells which second it holds.
constexpr double kLevels[] = {0.1, 0.3, 0.6};

void WriteSections(const std::string& path) {
    WriteStereoWav16(path, 3 * kRate,
                     [](uint32_t f, int) {
                         return static_cast<int16_t>(32767 * kLevels[f / kRate] *
                                                     std::sin(2 * M_PI * 440.0 * f / kRate));
                     },
                     {kRate, 2 * kRate});
}

using DesktopSaveTracks = DesktopTest;

TEST_F(DesktopSaveTracks, TheDialogWritesATrackFilePerSplitAndThePlaylist) {
    const fs::path folder = root / "tracks";
    fs::create_directories(folder);
    const std::string wav = (root / "sections.wav").string();
    WriteSections(wav);
    // The folder of the last run, with the playlist on and WAV chosen: tideclip lists the formats
    // as the format box does, from 0.
    const std::string formats = Tideclip("filters");
    const size_t wavEntry = formats.find(": WAV(");
    ASSERT_NE(wavEntry, std::string::npos) << formats;
    const int wavIndex = std::atoi(formats.c_str() + formats.rfind('\n', wavEntry) + 1);
    WriteSettings("[Directories]\nUseMyMusicFolder=0\n[SaveTracks]\nLastPlaylist=" + folder.string() +
                  "\nCreatePlaylist=1\nLastFormat=" + std::to_string(wavIndex) + "\n");
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    const auto editor = Editor(x, {wav});
    const QRect main = x.FindWindow("sections.wav");
    ASSERT_FALSE(main.isEmpty()) << "no window";
    Wait(800);

    // File, the first title of the menu bar, then the item's mnemonic.
    x.Click(main.topLeft() + QPoint(20, 9));
    Wait(400);
    x.Key("t");
    const QRect dialog = x.FindWindow("^Save Tracks as Files$", 10);
    ASSERT_FALSE(dialog.isEmpty()) << "no dialog";
    Wait(300);
    Shot(x, dialog, "e2e-save-tracks");
    x.PointAt(dialog.center());
    x.Key("Return");

    const fs::path first = folder / "Track1.wav";
    const fs::path second = folder / "Track2.wav";
    const fs::path playlist = folder / "MyPlaylist.m3u";
    ASSERT_TRUE(WaitFor(
        [&] {
            return ReadWav(second.string()).Frames() == kRate &&
                   ReadText(playlist).find("Track2") != std::string::npos;
        },
        20))
        << "the tracks were not written";
    EXPECT_EQ(ReadText(playlist), first.string() + "\n" + second.string() + "\n");
    EXPECT_EQ(ReadWav(first.string()).Frames(), kRate);
    const fs::path tracks[] = {first, second};
    for (int track = 0; track < 2; ++track) {
        const std::vector<float> samples = ReadWav(tracks[track].string()).samples;
        EXPECT_NEAR(Rms(samples, 2, 0, 0, kRate), kLevels[track + 1] / std::sqrt(2.0), 0.01) << track;
    }
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder))
        ++files;
    EXPECT_EQ(files, 3u);

    // The document did not change: the editor ends when asked, with nothing to save.
    x.PointAt(main.center());
    EXPECT_TRUE(editor->Quit());
}

} // namespace
} // namespace tw::test
