// What the on-screen tests share: a document frame on a thread of its own, Qt's events pumped on the
// test's thread (the GUI thread), the format component loaded and a generated chord to open.
#pragma once

#include "gui/FrameWindow.h"
#include "gui/GuiThread.h"
#include "gui/QtPresentation.h"
#include "gui/ViewWidget.h"

#include "frame/MainFrame.h"
#include "platform/MessageLoop.h"
#include "storage/FileFilterManager.h"
#include "storage/PeakTestSupport.h"

#include <QApplication>
#include <QDir>
#include <QWidget>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <thread>

namespace tw::test {

using Clock = std::chrono::steady_clock;

inline void SaveShot(QWidget& widget, const std::string& name) {
    const QString folder = QString(TW_OUTPUT_DIR) + "/screenshots";
    QDir().mkpath(folder);
    widget.grab().save(folder + "/" + QString::fromStdString(name) + ".png");
}

// Runs Qt's events (this test's thread is the GUI thread) until `done` or `seconds` passed.
inline bool Pump(const std::function<bool()>& done, double seconds = 10.0) {
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (!done()) {
        if (Clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Runs Qt's events for `seconds`: what was asked is laid out and answered.
inline void Settle(double seconds) {
    Pump([] { return false; }, seconds);
}

// The top-level window of type T that shows, once one does; null after ten seconds.
template <class T> T* FindShown() {
    T* found = nullptr;
    Pump([&] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* t = qobject_cast<T*>(w); t != nullptr && t->isVisible())
                found = t;
        return found != nullptr;
    });
    return found;
}

// A document as the library runs it: its frame and view on a thread with a message loop.
class DocumentThread {
public:
    explicit DocumentThread(const std::string& path) {
        std::promise<bool> ready;
        std::future<bool> started = ready.get_future();
        m_thread = std::thread([this, path, &ready] {
            CMessageLoop loop;
            m_loop = &loop;
            auto frame = std::make_unique<CMainFrame>();
            m_frame = frame.get();
            const bool made = frame->LoadFrame() && (path.empty() || frame->GetView().LoadFile(path));
            ready.set_value(made);
            if (made)
                loop.Run();
            if (frame->GetSafeHandle() != 0)
                frame->DestroyWindow();
            frame.reset();
            m_loop = nullptr;
        });
        m_ok = started.get();
    }
    ~DocumentThread() {
        if (m_loop != nullptr)
            m_loop->Quit(0);
        m_thread.join();
    }
    bool Ok() const { return m_ok; }
    WindowHandle Frame() const { return m_frame->GetSafeHandle(); }
    WindowHandle View() const { return m_frame->GetView().GetSafeHandle(); }
    // Runs `work` on the document's thread and waits for it (the GUI keeps running meanwhile).
    void Call(std::function<void(CMainFrame&)> work) {
        std::atomic<bool> done{false};
        m_loop->PostCall([&] {
            work(*m_frame);
            done = true;
        });
        Pump([&] { return done.load(); }, 30.0);
    }
    // Starts `work` on the document's thread without waiting (a modal call the GUI must answer).
    void Start(std::function<void(CMainFrame&)> work) {
        m_loop->PostCall([this, work = std::move(work)] { work(*m_frame); });
    }

private:
    std::thread m_thread;
    CMessageLoop* m_loop = nullptr;
    CMainFrame* m_frame = nullptr;
    bool m_ok = false;
};

class OnScreen : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CGuiThread::Start()); // adopts the test's own application
        filters.Initialise(std::string(TW_OUTPUT_DIR) + "/FormatHost/libformathost.so");
        ASSERT_TRUE(filters.IsLoaded());
        presentation = std::make_shared<CQtPresentation>();
        SetPresentation(presentation);
        wav = home.root + "/chord.wav";
        // Two seconds of a chord that swells, so the plot has something to show.
        test::WriteWav(wav, test::PcmFormat(2, 44100, 16), 88200, [](int64_t f, int c) {
            const double t = f / 44100.0;
            const double v = std::sin(2 * M_PI * (c == 0 ? 220 : 277) * t) * std::sin(M_PI * t / 2.0);
            return static_cast<int64_t>(20000 * v);
        });
    }
    void TearDown() override {
        document.reset();
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        Settle(0.05);
    }
    // A document of `path` (a new one for "") in `document`, and its window, painted, in `window`.
    void Open(const std::string& path) {
        document = std::make_unique<DocumentThread>(path);
        ASSERT_TRUE(document->Ok());
        ASSERT_NE(window = Window(document->Frame()), nullptr);
    }
    CFrameWindow* Window(WindowHandle frame) {
        CFrameWindow* window = nullptr;
        Pump([&] {
            window = presentation->FindFrame(frame);
            return window != nullptr && window->View() != nullptr && !window->View()->Picture().isNull();
        });
        return window;
    }
    template <class T> T* Find() { return FindShown<T>(); }

    test::ScratchHome home;
    CFileFilterManager filters;
    std::shared_ptr<CQtPresentation> presentation;
    std::string wav;
    std::unique_ptr<DocumentThread> document;
    CFrameWindow* window = nullptr;
};

} // namespace tw::test
