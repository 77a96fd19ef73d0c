// The dialogs of the document logic as windows, off-screen: each shows its fields with the system's
// texts, what a person types reaches the dialog on its own thread, and what the dialog refuses keeps
// the window open on the dialog's answer. Pictures of every dialog are written to the build folder.
#include "GainPageDouble.h"
#include "OnScreen.h"

#include "gui/DialogWindow.h"
#include "gui/GuiThread.h"
#include "gui/QtPresentation.h"

#include "clip/FilterSettingsDialog.h"
#include "core/EditedMedia.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "platform/FileDialog.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "platform/StringTable.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"
#include "storage/PeakTestSupport.h"
#include "view/ApplyDialog.h"
#include "view/ConvertDialog.h"
#include "view/DefineMarkersDlg.h"
#include "view/EditDialogs.h"
#include "view/PauseDetectionDlg.h"
#include "view/PropertiesDialog.h"
#include "view/SaveDialogs.h"
#include "view/SaveTracksDlg.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace tw {
namespace {

using namespace test;

// A thread with a message loop, as a document's: a dialog made there runs its modal loop there, and
// is read there once it has ended.
class DialogThread {
public:
    DialogThread() {
        std::promise<void> ready;
        std::future<void> started = ready.get_future();
        m_thread = std::thread([this, &ready] {
            CMessageLoop loop;
            m_loop = &loop;
            ready.set_value();
            loop.Run();
            m_loop = nullptr;
        });
        started.get();
    }
    ~DialogThread() { m_loop->Quit(0), m_thread.join(); }
    // Shows what `make` gives; `read` sees it with its result when it has ended, on this thread.
    void Show(std::function<std::unique_ptr<CModalDialog>()> make,
              std::function<std::string(CModalDialog&)> read = nullptr) {
        m_loop->PostCall([this, make, read] {
            std::unique_ptr<CModalDialog> dialog = make();
            const int result = dialog->DoModal();
            m_read = read ? read(*dialog) : std::string();
            m_result = result;
        });
    }
    bool WaitForEnd() {
        return Pump([this] { return m_result.load() != 0; });
    }
    int Result() const { return m_result.load(); }
    const std::string& Read() const { return m_read; }

private:
    std::thread m_thread;
    CMessageLoop* m_loop = nullptr;
    std::atomic<int> m_result{0};
    std::string m_read;
};

// The texts a window shows a person: labels, buttons, group titles, list entries and table cells.
QStringList ShownTexts(QWidget& window) {
    QStringList texts{window.windowTitle()};
    for (QLabel* label : window.findChildren<QLabel*>())
        texts << label->text();
    for (QAbstractButton* button : window.findChildren<QAbstractButton*>())
        texts << button->text().remove('&');
    for (QGroupBox* box : window.findChildren<QGroupBox*>())
        texts << box->title();
    for (QComboBox* combo : window.findChildren<QComboBox*>())
        for (int i = 0; i < combo->count(); ++i)
            texts << combo->itemText(i);
    for (QTableWidget* table : window.findChildren<QTableWidget*>()) {
        for (int c = 0; c < table->columnCount(); ++c)
            texts << table->horizontalHeaderItem(c)->text();
        for (int r = 0; r < table->rowCount(); ++r)
            for (int c = 0; c < table->columnCount(); ++c)
                if (table->item(r, c) != nullptr)
                    texts << table->item(r, c)->text();
    }
    return texts;
}

// Replaces the text of a line edit or number field as a person does: select all, then type.
void Type(QWidget* editor, const QString& text) {
    ASSERT_NE(editor, nullptr);
    editor->setFocus();
    QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
    if (text.isEmpty())
        QTest::keyClick(editor, Qt::Key_Delete);
    else
        QTest::keyClicks(editor, text);
}

QString FieldText(QWidget& window, const char* key) {
    return window.findChild<QAbstractSpinBox*>(key)->text();
}

void ClickRadio(QWidget& window, const QString& text) {
    for (QRadioButton* radio : window.findChildren<QRadioButton*>())
        if (radio->text() == text)
            radio->click();
}

QPushButton* Button(QWidget& window, QDialogButtonBox::StandardButton which) {
    auto* box = window.findChild<QDialogButtonBox*>();
    return box != nullptr ? box->button(which) : nullptr;
}

using Dialogs = OnScreen;
using FileDialogs = OnScreen;

struct FormCase {
    std::string name; // the picture's file name
    std::function<std::unique_ptr<CModalDialog>()> make;
    QStringList texts; // shown by the window, the title first
    bool cancel;       // a Cancel button beside OK
    std::function<void(CDialogWindow&)> answer;
    std::function<std::string(CModalDialog&)> read;
    std::string expected;
};

std::vector<FormCase> FormCases() {
    auto tone = [] {
        auto dialog = std::make_unique<CSignalGeneratorDlg>();
        dialog->m_settings = SignalGeneratorSettings{};
        return dialog;
    };
    return {
        {"SignalGenerator", tone,
         QStringList{"Test Tone Generator", "Signal", "Tones", "Noise", "Waveform:", "Sine", "Saw-tooth",
                     "Square", "Noise color:", "White", "Pink", "Brown",
                     "Start frequency:", "End frequency:", "Duration:", "Amplitude", "Hz", "s", "0 dB"},
         true,
         [](CDialogWindow& window) {
             Type(window.findChild<QAbstractSpinBox*>("startFrequency"), "440");
             Type(window.findChild<QAbstractSpinBox*>("endFrequency"), "880,5");
             Type(window.findChild<QAbstractSpinBox*>("duration"), "2.5");
             window.findChild<QComboBox*>("waveform")->setCurrentIndex(2);
             window.findChild<QSlider*>("amplitude")->setValue(-6);
         },
         [](CModalDialog& d) {
             const SignalGeneratorSettings& s = static_cast<CSignalGeneratorDlg&>(d).m_settings;
             return Format("%d %d %.1f %.1f %.2f %.3f", s.type, s.waveform, s.startFrequency, s.endFrequency,
                           s.duration, s.amplitude);
         },
         "0 2 440.0 880.5 2.50 0.501"},
        // Choosing noise turns the tone fields off; a number out of range keeps the window on its field.
        {"SignalGenerator-noise", tone, QStringList{"Test Tone Generator"}, true,
         [](CDialogWindow& window) {
             EXPECT_FALSE(window.findChild<QComboBox*>("noiseColor")->isEnabled());
             ClickRadio(window, "Noise");
             EXPECT_TRUE(Pump([&] { return window.findChild<QComboBox*>("noiseColor")->isEnabled(); }));
             EXPECT_FALSE(window.findChild<QAbstractSpinBox*>("startFrequency")->isEnabled());
             auto* duration = window.findChild<QAbstractSpinBox*>("duration");
             Type(duration, "ten");
             Button(window, QDialogButtonBox::Ok)->click();
             // The dialog says why, over its own window, and stays.
             QMessageBox* box = FindShown<QMessageBox>();
             ASSERT_NE(box, nullptr);
             EXPECT_EQ(box->text(), "Please enter a number between 0.01 and 21600.00.");
             box->button(QMessageBox::Ok)->click();
             EXPECT_TRUE(Pump([&] { return Button(window, QDialogButtonBox::Ok)->isEnabled(); }));
             EXPECT_TRUE(window.isVisible());
             EXPECT_EQ(window.focusWidget(), duration);
             Type(duration, "12");
         },
         [](CModalDialog& d) {
             return FieldNumberText(static_cast<CSignalGeneratorDlg&>(d).m_settings.duration, 2);
         },
         "12.00"},
        {"PauseDetection", [] { return std::make_unique<CPauseDetectionDlg>(); },
         QStringList{"Pause Detection", "Action", "Insert track splits", "Delete pauses",
                     "Insert track splits and delete pauses", "Threshold", "-50 dB",
                     "Minimal pause length:", "Minimal song length:", "s"},
         true,
         [](CDialogWindow& window) {
             ClickRadio(window, "Delete pauses");
             window.findChild<QSlider*>("threshold")->setValue(-42);
             Type(window.findChild<QAbstractSpinBox*>("minPause"), "0.5");
             // Two steps up from 20.0 by the spin arrows.
             auto* song = window.findChild<QAbstractSpinBox*>("minSong");
             song->stepBy(2);
         },
         [](CModalDialog& d) {
             const PauseDetectionSettings& s = static_cast<CPauseDetectionDlg&>(d).GetSettings();
             return Format("%d %d %.1f %.1f", s.action, s.thresholdDb, s.minPauseSeconds, s.minSongSeconds);
         },
         "1 -42 0.5 20.2"},
        {"DefineMarkers", [] { return std::make_unique<CDefineMarkersDlg>(1000, CSection(1500, 62250)); },
         QStringList{"Define Markers Manually", "Start:", "End:", "h", "min", "s", "ms"}, true,
         [](CDialogWindow& window) {
             EXPECT_EQ(FieldText(window, "startMilliseconds"), "500");
             EXPECT_EQ(FieldText(window, "endMinutes"), "1");
             // Each key is an edit: 1, 10 and 100 are taken, a fourth digit is refused by length, and
             // the field shows the last value taken again.
             Type(window.findChild<QAbstractSpinBox*>("startMilliseconds"), "1000");
             EXPECT_TRUE(Pump([&] { return FieldText(window, "startMilliseconds") == "100"; }));
             // An emptied field becomes 0 and keeps the focus, also when another had it before.
             auto* minutes = window.findChild<QAbstractSpinBox*>("endMinutes");
             Type(minutes, "");
             window.findChild<QAbstractSpinBox*>("endHours")->setFocus();
             EXPECT_TRUE(Pump([&] { return FieldText(window, "endMinutes") == "0"; }));
             EXPECT_EQ(window.focusWidget(), minutes);
             SaveShot(window, "DefineMarkers-refused");
             Type(window.findChild<QAbstractSpinBox*>("startSeconds"), "3");
             Type(window.findChild<QAbstractSpinBox*>("endHours"), "1");
         },
         [](CModalDialog& d) {
             const CSection s = static_cast<CDefineMarkersDlg&>(d).GetSelection(10'000'000);
             return Format("%lld %lld", static_cast<long long>(s.m_start), static_cast<long long>(s.m_end));
         },
         "3100 3602250"},
        {"Statistics",
         [] {
             // An empty document: the statistics of nothing.
             static CEditedMedia media;
             return std::make_unique<CPropertiesDialog>(media, CSection(0, 0));
         },
         QStringList{"Recording Statistics", "Sample format:", "Beats per minute:", "Total recording length:",
                     "-", "00:00:00:000", "OK"},
         false, [](CDialogWindow&) {}, nullptr, ""},
        {"Apply",
         [] {
             RegisterGainPage();
             return std::make_unique<CApplyDialog>(
                 nullptr, CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1), CApplyDialog::applyMode);
         },
         QStringList{"Gain", "Effects", "OK", "Cancel"}, true, [](CDialogWindow&) {},
         [](CModalDialog& d) {
             delete static_cast<CApplyDialog&>(d).GetTransform();
             return std::string();
         },
         ""},
        {"Convert", [] { return std::make_unique<CConvertDialog>(6); },
         QStringList{"Convert Sample Format", "Sample rate:", "44100 Hz (CD)", "16 Bit (CD and DAT)",
                     "Stereo", "Standard downmix", "Medium anti aliasing filter", "OK", "Cancel"},
         true,
         [](CDialogWindow& window) {
             auto* rate = window.findChild<QComboBox*>("rate");
             ASSERT_NE(rate, nullptr);
             rate->setEditText("22 050");
         },
         [](CModalDialog& d) {
             auto& dialog = static_cast<CConvertDialog&>(d);
             return Format("%d %d", dialog.GetRate(), dialog.GetChannels());
         },
         "22050 2"},
        {"FileFilterSettings",
         [] {
             return std::make_unique<CFilterSettingsDialog>(
                 std::vector<std::string>{"WAV|*.wav;*.wave", "FLAC|*.flac", "Vond Tidewright Files|*.vtf"},
                 std::vector<std::string>{"Vond Tidewright Files (*.vtf)", "WAV(*.wav;*.wave)",
                                          "MP3(*.mp3)"});
         },
         QStringList{"Audio File Filters", "Format", "File types", "Opens", "Saves", "WAV", "*.wav, *.wave",
                     "FLAC", "MP3", "*.mp3", "Vond Tidewright Files", "OK"},
         false, [](CDialogWindow&) {}, nullptr, ""},
    };
}

TEST_F(Dialogs, EachFormShowsItsTextsAndWhatIsTypedReachesTheDialog) {
    for (const FormCase& c : FormCases()) {
        SCOPED_TRACE(c.name);
        DialogThread thread;
        thread.Show(c.make, c.read);
        CDialogWindow* window = Find<CDialogWindow>();
        ASSERT_NE(window, nullptr);
        Settle(0.1); // laid out, as a person sees it
        SaveShot(*window, c.name);
        EXPECT_EQ(window->windowTitle(), c.texts.front());
        const QStringList shown = ShownTexts(*window);
        for (const QString& text : c.texts)
            EXPECT_TRUE(shown.contains(text)) << text.toStdString();
        EXPECT_EQ(Button(*window, QDialogButtonBox::Cancel) != nullptr, c.cancel);
        c.answer(*window);
        Settle(0.1); // live edits answered
        Button(*window, QDialogButtonBox::Ok)->click();
        ASSERT_TRUE(thread.WaitForEnd());
        EXPECT_EQ(thread.Result(), IDOK);
        EXPECT_EQ(thread.Read(), c.expected);
        EXPECT_TRUE(Pump([] { return QApplication::activeModalWidget() == nullptr; }));
    }
}

TEST_F(FileDialogs, TheSaveDialogShowsWhatTheChosenTypeWritesAndTakesTheTexts) {
    const WAVEFORMATEX format = PcmFormat(2, 48000, 32);
    const std::string save = filters.GetSaveFilter();
    const int wav = filters.FindFilter("wav", false);
    const int flac = filters.FindFilter("flac", false);
    ASSERT_GE(wav, 0);
    ASSERT_GE(flac, 0);
    int wavPosition = 0, flacPosition = 0;
    for (int position = 1; position <= 32; ++position) {
        if (filters.PluginOfSavePosition(position) == wav && wavPosition == 0)
            wavPosition = position;
        if (filters.PluginOfSavePosition(position) == flac)
            flacPosition = position;
    }
    ASSERT_GT(flacPosition, 0);
    const std::string folder = home.root + "/music";
    QDir().mkpath(QString::fromStdString(folder));

    DialogThread thread;
    thread.Show(
        [&] {
            auto dialog = std::make_unique<CExtFileDialog>(save, format, CSection(0, 96000));
            dialog->SelectType(wavPosition);
            dialog->SetInitialFolder(folder);
            return dialog;
        },
        [](CModalDialog& d) {
            auto& dialog = static_cast<CExtFileDialog&>(d);
            std::unique_ptr<CFilteredOutput> filter(dialog.TakeFilter());
            return dialog.GetPathName() + " " + std::to_string(dialog.GetFilterId()) + " " +
                   dialog.GetTexts().at("title") + " " + (filter ? "filter" : "none");
        });
    CDialogWindow* window = Find<CDialogWindow>();
    ASSERT_NE(window, nullptr);
    QFileDialog* chooser = window->Chooser();
    ASSERT_NE(chooser, nullptr);
    EXPECT_EQ(window->windowTitle(), "Save As");
    EXPECT_EQ(QDir(chooser->directory()).absolutePath(), QDir(QString::fromStdString(folder)).absolutePath());
    QStringList shown = ShownTexts(*window);
    for (const char* text : {"Format:", "48.0 kHz, 32 bits, stereo", "Length:", "00:00:02:000",
                             "Title:", "Artist:", "Album:", "Genre:", "Year:", "Track number:", "Comment:"})
        EXPECT_TRUE(shown.contains(text)) << text;

    // Picking FLAC, as a person does in the type box: FLAC keeps 24 of the 32 bits.
    auto* types = chooser->findChild<QComboBox*>("fileTypeCombo");
    ASSERT_NE(types, nullptr);
    while (types->currentIndex() < flacPosition - 1)
        QTest::keyClick(types, Qt::Key_Down);
    EXPECT_TRUE(Pump([&] { return ShownTexts(*window).contains("48.0 kHz, 24 bits, stereo"); }));
    Type(window->findChild<QLineEdit*>("title"), "Evening");
    Settle(0.1);
    SaveShot(*window, "FileSave");

    auto* name = chooser->findChild<QLineEdit*>("fileNameEdit");
    ASSERT_NE(name, nullptr);
    name->setText("take");
    static_cast<QDialog*>(chooser)->accept();
    ASSERT_TRUE(thread.WaitForEnd());
    EXPECT_EQ(thread.Result(), IDOK);
    EXPECT_EQ(thread.Read(), folder + "/take.flac " + std::to_string(flac) + " Evening filter");
}

TEST_F(FileDialogs, OpenStartsInItsFolderAndTakesSeveralFiles_AndAFolderDialogAFolder) {
    const std::string folder = home.root + "/takes";
    QDir().mkpath(QString::fromStdString(folder));
    for (const char* file : {"/one.wav", "/two.wav"})
        std::ofstream(folder + file) << "RIFF";
    {
        DialogThread thread;
        thread.Show(
            [&] {
                auto dialog =
                    std::make_unique<CFileDialog>(true, "", "Wave files (*.wav)|*.wav|All Files (*.*)|*.*|");
                dialog->SetMultipleSelection(true);
                dialog->SetInitialFolder(folder);
                return dialog;
            },
            [](CModalDialog& d) {
                std::string paths;
                for (const std::string& path : static_cast<CFileDialog&>(d).GetPathNames())
                    paths += path.substr(path.find_last_of('/') + 1) + " ";
                return paths;
            });
        QFileDialog* chooser = Find<QFileDialog>();
        ASSERT_NE(chooser, nullptr);
        EXPECT_EQ(chooser->windowTitle(), "Open");
        EXPECT_EQ(chooser->fileMode(), QFileDialog::ExistingFiles);
        EXPECT_EQ(QDir(chooser->directory()).absolutePath(),
                  QDir(QString::fromStdString(folder)).absolutePath());
        // The entry for every file reads as this platform words it.
        EXPECT_EQ(chooser->nameFilters(), QStringList({"Wave files (*.wav)", "All Files (*)"}));
        SaveShot(*chooser, "FileOpen");
        chooser->findChild<QLineEdit*>("fileNameEdit")->setText("\"one.wav\" \"two.wav\"");
        static_cast<QDialog*>(chooser)->accept();
        ASSERT_TRUE(thread.WaitForEnd());
        EXPECT_EQ(thread.Read(), "one.wav two.wav ");
    }
    {
        DialogThread thread;
        thread.Show(
            [&] { return std::make_unique<CFolderDialog>("Choose the folder for the tracks", home.root); },
            [](CModalDialog& d) { return static_cast<CFileDialog&>(d).GetPathName(); });
        QFileDialog* chooser = Find<QFileDialog>();
        ASSERT_NE(chooser, nullptr);
        EXPECT_EQ(chooser->windowTitle(), "Choose the folder for the tracks");
        EXPECT_EQ(chooser->fileMode(), QFileDialog::Directory);
        SaveShot(*chooser, "Folder");
        // Into the folder, then Choose.
        chooser->setDirectory(QString::fromStdString(folder));
        static_cast<QDialog*>(chooser)->accept();
        ASSERT_TRUE(thread.WaitForEnd());
        EXPECT_EQ(QDir(QString::fromStdString(thread.Read())).absolutePath(),
                  QDir(QString::fromStdString(folder)).absolutePath());
    }
}

// Renames a row of a table as a person does: the cell's editor, the new text, Enter.
void EditCell(QTableWidget& table, int row, const QString& text) {
    table.setFocus();
    table.setCurrentCell(row, 0);
    table.editItem(table.item(row, 0));
    QWidget* editor = QApplication::focusWidget();
    ASSERT_NE(editor, nullptr);
    Type(editor, text);
    QTest::keyClick(editor, Qt::Key_Return);
}

TEST_F(FileDialogs, SaveTracksRenamesInItsListRefusesADuplicateAndTakesThePlaylistChoice) {
    const std::string folder = home.root + "/tracks";
    QDir().mkpath(QString::fromStdString(folder));
    PutSettingString("SaveTracks", "LastPlaylist", folder);
    PutSettingInt("SaveTracks", "CreatePlaylist", 0);
    const int wav = filters.FindFilter("wav", false);
    for (int position = 1; position <= 32; ++position)
        if (filters.PluginOfSavePosition(position) == wav) {
            PutSettingInt("SaveTracks", "LastFormat", position - 1);
            break;
        }
    DialogThread thread;
    thread.Show([] { return std::make_unique<CSaveTracksDlg>(4, PcmFormat(2, 44100, 16)); },
                [](CModalDialog& d) {
                    auto& dialog = static_cast<CSaveTracksDlg&>(d);
                    std::unique_ptr<CFilteredOutput> filter(dialog.TakeFilter());
                    std::string read = filter ? "filter" : "none";
                    for (const std::string& path : dialog.GetFileList())
                        read += " " + path;
                    return read + " " + (dialog.GetCreatePlaylist() ? dialog.GetPlaylistPath() : "-");
                });
    CDialogWindow* window = Find<CDialogWindow>();
    ASSERT_NE(window, nullptr);
    const QStringList shown = ShownTexts(*window);
    for (const char* text : {"Save Tracks as Files", "Track file name", "Track1", "Track4",
                             "Format:", "Folder:", "Create a playlist", "Playlist name:", "Browse..."})
        EXPECT_TRUE(shown.contains(text)) << text;
    auto* table = window->findChild<QTableWidget*>("tracks");
    ASSERT_NE(table, nullptr);
    EXPECT_GE(table->columnWidth(0), 390);
    auto* name = window->findChild<QLineEdit*>("playlistName");
    EXPECT_EQ(name->text(), "MyPlaylist.m3u");
    EXPECT_FALSE(name->isEnabled());

    EditCell(*table, 0, "Overture");
    EXPECT_TRUE(Pump([&] { return table->item(0, 0)->text() == "Overture"; }));
    // A name another row has, in other letters: the box says why and the cell goes back.
    EditCell(*table, 1, "OVERTURE");
    QMessageBox* box = nullptr;
    ASSERT_TRUE(Pump([&] { return (box = Find<QMessageBox>()) != nullptr; }));
    EXPECT_EQ(box->text(), CSaveTracksDlg::kDuplicateName);
    box->button(QMessageBox::Ok)->click();
    EXPECT_TRUE(Pump([&] { return table->item(1, 0)->text() == "Track2"; }));

    // The folder chosen in the chooser goes into the field.
    const std::string chosen = home.root + "/chosen";
    QDir().mkpath(QString::fromStdString(chosen));
    QString seen;
    QTimer::singleShot(0, [&] {
        QFileDialog* chooser = FindShown<QFileDialog>();
        ASSERT_NE(chooser, nullptr);
        seen = chooser->windowTitle();
        chooser->setDirectory(QString::fromStdString(chosen));
        static_cast<QDialog*>(chooser)->accept(); // as its Choose button does
    });
    for (QPushButton* button : window->findChildren<QPushButton*>())
        if (button->text() == "&Browse...")
            button->click();
    EXPECT_EQ(seen, "Select Folder");
    EXPECT_EQ(window->findChild<QLineEdit*>("directory")->text().toStdString(), chosen);
    Type(window->findChild<QLineEdit*>("directory"), QString::fromStdString(folder));

    window->findChild<QCheckBox*>("createPlaylist")->click();
    EXPECT_TRUE(Pump([&] { return name->isEnabled(); }));
    Type(name, "Evening.m3u");
    Settle(0.1);
    SaveShot(*window, "SaveTracks");
    Button(*window, QDialogButtonBox::Ok)->click();
    ASSERT_TRUE(thread.WaitForEnd());
    EXPECT_EQ(thread.Result(), IDOK);
    EXPECT_EQ(thread.Read(), "filter " + folder + "/Overture.wav " + folder + "/Track2.wav " + folder +
                                 "/Track3.wav " + folder + "/Track4.wav " + folder + "/Evening.m3u");
}

} // namespace
} // namespace tw
