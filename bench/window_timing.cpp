// The editor's window as a person feels it: how soon a scroll or a zoom shows, how soon an opened
// document shows, and how close the moving play cursor stays to what the device has played.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour) with its peak file,
// makes a project of it with 1,000 events (cuts all through it, cross-fades at each), and puts the
// editor's own windows on screen: a QApplication on this thread, the Qt presentation, and each
// document on a thread of its own with its frame, as the library runs them. Qt draws off-screen
// unless a display is set, so the figures include painting and the window's flush, not a monitor's
// refresh.
//   open    a new document thread opens the project; from the start of the thread to the end of
//           the first paint that shows the loaded plot (peaks present; the first round, which
//           warms the caches, is not counted)
//   scroll  the window at 1920x1080, one minute in view: the scroll bar moved as a person drags
//           it, from the move to the end of the paint of the new picture
//   zoom    a wheel notch on the plot, in and out in turn, to the end of the paint
//   cursor  a ten-second document plays into the sound server; at each paint that draws the play
//           cursor, the cursor's place against the frame the device reports at that moment
// Beside them, ffmpeg's waveform picture (showwavespic) of the whole recording and of one minute
// of it, at 1920x1080: what a script would wait for to see the same.
// Prints median and 99th percentile of each, the ratio to its budget (scroll and zoom 16 ms at the
// 99th percentile, open 150 ms, cursor one timer period of 25 ms) and to ffmpeg.
//
// Usage: window_timing [seconds of audio, default 3600] [rounds, default 100]
#include "BenchDocument.h"
#include "BenchStats.h"
#include "BenchView.h"
#include "audio/AudioDeviceMgr.h"
#include "audio/DeviceChain.h"
#include "dsp/MediaMakers.h"
#include "frame/MainFrame.h"
#include "gui/FrameWindow.h"
#include "gui/GuiThread.h"
#include "gui/QtPresentation.h"
#include "gui/ViewWidget.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "platform/Paths.h"
#include "storage/FileFilterManager.h"
#include "view/ChildView.h"

#include <QApplication>
#include <QScrollBar>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using Clock = std::chrono::steady_clock;
using tw::WindowHandle;

namespace {

double Ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

// Runs Qt's events on this (the GUI) thread until `done`; false after `seconds`. It sleeps between
// events as a GUI thread does, so the document's thread has the processor to itself meanwhile; a
// millisecond timer wakes it to look at the clock.
bool Pump(const std::function<bool()>& done, double seconds) {
    const auto end = Clock::now() + std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
    QTimer tick;
    tick.start(1);
    while (!done()) {
        if (Clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// A document as the library runs it: frame and view on a thread with a message loop.
class Document {
public:
    explicit Document(const std::string& path) {
        std::promise<WindowHandle> made;
        std::future<WindowHandle> frame = made.get_future();
        m_thread = std::thread([this, path, &made] {
            tw::CMessageLoop loop;
            m_loop = &loop;
            auto window = std::make_unique<tw::CMainFrame>();
            m_frame = window.get();
            const bool created = window->LoadFrame();
            made.set_value(created ? window->GetSafeHandle() : 0);
            m_loaded = created && window->GetView().LoadFile(path);
            if (created)
                loop.Run();
            if (window->GetSafeHandle() != 0)
                window->DestroyWindow();
            window.reset();
            m_loop = nullptr;
        });
        m_handle = frame.get();
    }
    ~Document() {
        if (tw::CMessageLoop* loop = m_loop.load())
            loop->Quit(0);
        m_thread.join();
    }
    WindowHandle Frame() const { return m_handle; }
    bool Loaded() const { return m_loaded.load(); }
    // Runs `work` on the document's thread and waits, keeping the GUI going.
    void Call(std::function<void(tw::CMainFrame&)> work) {
        std::atomic<bool> done{false};
        m_loop.load()->PostCall([&] {
            work(*m_frame);
            done = true;
        });
        Pump([&] { return done.load(); }, 60);
    }

private:
    std::thread m_thread;
    std::atomic<tw::CMessageLoop*> m_loop{nullptr};
    tw::CMainFrame* m_frame = nullptr;
    WindowHandle m_handle = 0;
    std::atomic<bool> m_loaded{false};
};

// Whether a picture shows a plot: along its middle rows, a second colour (the trace, on the plot's
// or the selection's ground) covers a good part, which an empty document's ground alone does not.
bool ShowsPlot(const tw::CViewImage* image) {
    if (image == nullptr || image->width < 100 || image->height < 50)
        return false;
    std::map<uint32_t, int> colours;
    int samples = 0;
    for (int y = image->height / 4; y < image->height * 3 / 4; y += 7)
        for (int x = image->width / 10; x < image->width; x += 5, ++samples)
            ++colours[image->pixels[static_cast<size_t>(y) * image->width + x]];
    std::vector<int> counts;
    for (const auto& entry : colours)
        counts.push_back(entry.second);
    std::sort(counts.rbegin(), counts.rend());
    return counts.size() > 1 && counts[1] * 20 > samples;
}

// The Qt presentation, noting when each picture leaves the document's thread: the time an input
// takes splits into the document's part (dispatch and paint) and the window's (hand-over, paint).
class TimedPresentation : public tw::CQtPresentation {
public:
    void ViewImage(WindowHandle view, std::shared_ptr<const tw::CViewImage> image) override {
        published.store(Clock::now().time_since_epoch().count());
        tw::CQtPresentation::ViewImage(view, std::move(image));
    }
    std::atomic<Clock::rep> published{0};
};

struct Figures {
    std::vector<double> values;
    double Median() const { return Percentile(values, 0.5); }
    double P99() const { return Percentile(values, 0.99); }
};

void Print(const char* name, const Figures& f, double budget, bool atP99, double peer) {
    const double judged = atP99 ? f.P99() : f.Median();
    std::printf("%-8s %5zu  median %8.2f ms  p99 %8.2f ms  / budget %.0f ms: %.2f", name, f.values.size(),
                f.Median(), f.P99(), budget, judged / budget);
    if (peer > 0)
        std::printf("  / ffmpeg %.3f", f.Median() / peer);
    std::printf("  %s\n", judged <= budget ? "PASS" : "FAIL");
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(120, argc > 1 ? std::atoll(argv[1]) : 3600);
    const int rounds = std::max(10, argc > 2 ? std::atoi(argv[2]) : 100);
    constexpr int kEvents = 1000;
    if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr &&
        std::getenv("QT_QPA_PLATFORM") == nullptr)
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);

    bench::TempFolder folder("window_timing");
    if (!folder.Ok()) {
        std::fprintf(stderr, "window_timing: no temporary folder\n");
        return 1;
    }
    ::setenv("XDG_CONFIG_HOME", (folder.Path() + "/config").c_str(), 1);
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!filters.IsLoaded()) {
        std::fprintf(stderr,
                     "window_timing: the format library (FormatHost/ beside this program) is missing\n");
        return 1;
    }
    tw::RegisterMediaMakers();
    const std::string wav = folder.Path() + "/hour.wav";
    const std::string shortWav = folder.Path() + "/ten.wav";
    if (!bench::WriteTestWav(wav, seconds * bench::kRate) ||
        !bench::WriteTestWav(shortWav, 10 * bench::kRate)) {
        std::fprintf(stderr, "window_timing: cannot write the recordings\n");
        return 1;
    }
    const std::string project = folder.Path() + "/hour.vtf";
    {
        tw::CMessageLoop loop;
        if (!bench::MakeCutProject(wav, project, kEvents, 0)) {
            std::fprintf(stderr, "window_timing: the project was not made\n");
            return 1;
        }
    }

    // The documents play through the device chain the library would build at its start.
    std::unique_ptr<tw::CAudioDeviceMgr> devices(tw::CreateDeviceChain());
    tw::SetDeviceChain(devices.get());

    QApplication application(argc, argv);
    if (!tw::CGuiThread::Start()) {
        std::fprintf(stderr, "window_timing: Qt did not start\n");
        return 1;
    }
    auto presentation = std::make_shared<TimedPresentation>();
    tw::SetPresentation(presentation);

    // Open: from the document thread's start to the first paint of the loaded plot.
    Figures open;
    for (int r = 0; r < 6; ++r) {
        std::atomic<bool> shown{false};
        Clock::time_point shownAt;
        const auto start = Clock::now();
        auto document = std::make_unique<Document>(project);
        tw::CViewWidget* widget = nullptr;
        Pump(
            [&] {
                if (widget == nullptr) {
                    tw::CFrameWindow* window = presentation->FindFrame(document->Frame());
                    if (window != nullptr && window->View() != nullptr) {
                        widget = window->View();
                        widget->SetPaintObserver([&](const tw::CViewImage* image, int) {
                            if (!shown && ShowsPlot(image)) {
                                shownAt = Clock::now();
                                shown = true;
                            }
                        });
                        widget->Canvas()->update();
                    }
                }
                return shown.load();
            },
            60);
        if (!shown) {
            std::fprintf(stderr, "window_timing: the opened project was never shown (window %s, loaded %d)\n",
                         widget != nullptr ? "up" : "missing", document->Loaded() ? 1 : 0);
            return 1;
        }
        widget->SetPaintObserver({});
        if (r > 0)
            open.values.push_back(Ms(shownAt - start));
        if (r + 1 < 6)
            document.reset();
        else {
            // The last one stays for scrolling and zooming, at full HD.
            tw::CFrameWindow* window = presentation->FindFrame(document->Frame());
            window->resize(1920, 1080);
            Pump([] { return false; }, 0.5);
            document->Call([](tw::CMainFrame& f) {
                f.GetView().SetViewSection(tw::CSection(0, 60LL * bench::kRate));
                f.GetView().UpdateScrollBar();
                f.GetView().Invalidate();
                f.GetView().UpdateWindow();
            });
            Pump([] { return false; }, 0.5);

            // Each input (a drag of the scroll bar's thumb moves its slider as this does), then the wait
            // for the paint of a picture other than the one shown.
            const tw::CViewImage* last = nullptr;
            Clock::time_point paintedAt;
            Figures documentPart;
            widget->SetPaintObserver([&](const tw::CViewImage* image, int) {
                if (image != last) {
                    last = image;
                    paintedAt = Clock::now();
                }
            });
            auto measure = [&](const std::function<void()>& input) {
                Pump([] { return false; }, 0.02);
                const tw::CViewImage* before = last;
                const auto t0 = Clock::now();
                input();
                if (!Pump([&] { return last != before; }, 10)) {
                    std::fprintf(stderr, "window_timing: an input showed nothing new within 10 s\n");
                    return -1.0;
                }
                documentPart.values.push_back(
                    Ms(Clock::time_point(Clock::duration(presentation->published.load())) - t0));
                return Ms(paintedAt - t0);
            };
            Figures scroll, zoom;
            QScrollBar* bar = widget->ScrollBar();
            for (int i = 0; i < rounds; ++i) {
                const int target =
                    bar->minimum() + static_cast<int>((static_cast<int64_t>(i * 7919 % rounds) *
                                                       (bar->maximum() - bar->minimum())) /
                                                      rounds);
                const double ms = measure(
                    [&] { bar->setSliderPosition(target == bar->sliderPosition() ? target + 1 : target); });
                if (ms >= 0)
                    scroll.values.push_back(ms);
            }
            for (int i = 0; i < rounds; ++i) {
                QWidget* canvas = widget->Canvas();
                const QPointF at(canvas->width() / 2.0, canvas->height() / 2.0);
                const int delta = i % 2 == 0 ? 120 : -120;
                const double ms = measure([&] {
                    QWheelEvent wheel(at, canvas->mapToGlobal(at), QPoint(), QPoint(0, delta), Qt::NoButton,
                                      Qt::NoModifier, Qt::NoScrollPhase, false);
                    QCoreApplication::sendEvent(canvas, &wheel);
                });
                if (ms >= 0)
                    zoom.values.push_back(ms);
            }
            widget->SetPaintObserver({});
            document.reset();

            // The play cursor against the device.
            Figures cursor;
            {
                Document playing(shortWav);
                Pump([&] { return playing.Loaded() && presentation->FindFrame(playing.Frame()) != nullptr; },
                     30);
                tw::CFrameWindow* frameWindow = presentation->FindFrame(playing.Frame());
                frameWindow->resize(1920, 600);
                Pump([] { return false; }, 0.5);
                std::vector<int64_t> sampleOfX;
                tw::CChildView* view = nullptr;
                playing.Call([&](tw::CMainFrame& f) {
                    view = &f.GetView();
                    for (int x = 0; x < 4096; ++x)
                        sampleOfX.push_back(view->SampleFromX(x));
                });
                frameWindow->View()->SetPaintObserver([&](const tw::CViewImage*, int x) {
                    if (x < 0 || x >= static_cast<int>(sampleOfX.size()) || !view->IsPlaying())
                        return;
                    const int64_t device = view->PlayPosition();
                    // Behind by this much: the device is ahead of the drawn line.
                    cursor.values.push_back(static_cast<double>(device - sampleOfX[static_cast<size_t>(x)]) *
                                            1000.0 / bench::kRate);
                });
                tw::CWindow::PostMessage(playing.Frame(), tw::WM_COMMAND, 32773); // Play All
                Pump([] { return false; }, 9.0);
                frameWindow->View()->SetPaintObserver({});
                tw::CWindow::PostMessage(playing.Frame(), tw::WM_COMMAND, 32774); // Stop
                Pump([] { return false; }, 0.3);
            }
            // The cursor is judged by how far it trails, either way.
            for (double& v : cursor.values)
                v = std::abs(v);

            std::vector<double> peerWhole, peerMinute;
            for (int i = 0; i < 3; ++i) {
                peerWhole.push_back(
                    bench::TimeCommand("ffmpeg -v error -y -i '" + wav +
                                       "' -filter_complex showwavespic=s=1920x1080 -frames:v 1 '" +
                                       folder.Path() + "/whole.png'") *
                    1e3);
                peerMinute.push_back(
                    bench::TimeCommand("ffmpeg -v error -y -ss 1800 -t 60 -i '" + wav +
                                       "' -filter_complex showwavespic=s=1920x1080 -frames:v 1 '" +
                                       folder.Path() + "/minute.png'") *
                    1e3);
            }
            const double whole = Percentile(peerWhole, 0.5);
            const double minute = Percentile(peerMinute, 0.5);
            std::printf("window_timing: %lld s of audio, %d events, %d rounds, Qt platform %s\n",
                        static_cast<long long>(seconds), kEvents, rounds,
                        QGuiApplication::platformName().toStdString().c_str());
            Print("open", open, 150, false, whole);
            Print("scroll", scroll, 16, true, minute);
            Print("zoom", zoom, 16, true, minute);
            Print("cursor", cursor, 25, true, 0);
            std::printf(
                "of scroll and zoom, the document's thread until its picture left: median %.2f ms, p99 "
                "%.2f ms\n",
                documentPart.Median(), documentPart.P99());
            std::printf("ffmpeg showwavespic 1920x1080: whole recording %.0f ms, one minute %.0f ms\n", whole,
                        minute);
            const bool pass = open.Median() <= 150 && scroll.P99() <= 16 && zoom.P99() <= 16 &&
                              !cursor.values.empty() && cursor.P99() <= 25;
            tw::SetPresentation(std::make_shared<tw::CHeadlessPresentation>());
            tw::SetDeviceChain(nullptr);
            return pass ? 0 : 2;
        }
    }
    return 1;
}
