#include "gui/QtPresentation.h"

#include "gui/AppDialogWindow.h"
#include "gui/DialogWindow.h"
#include "gui/FrameWindow.h"
#include "gui/GuiThread.h"
#include "gui/RecordConsoleWindow.h"
#include "gui/ViewWidget.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "platform/ModalDialog.h"
#include "platform/Window.h"
#include "view/RecordDialog.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QEventLoop>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPointer>
#include <QPushButton>
#include <QSessionManager>
#include <QTimer>
#include <QUrl>

#include <atomic>
#include <chrono>
#include <future>
#include <utility>

namespace tw {

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

int DefaultAnswer(uint32_t style) {
    switch (style & 0xF) {
    case MB_YESNO:
    case MB_YESNOCANCEL:
        return IDYES;
    default:
        return IDOK;
    }
}

// What names a box for WithdrawMessageBox.
constexpr const char* kBoxOwner = "twBoxOwner";
constexpr const char* kBoxText = "twBoxText";

// A box built as the system asks for it: its buttons by style, the first one the default, its icon.
// `answered` is called once: with the button pressed, or with the close answer when the box goes
// otherwise (closed, withdrawn, or taken down with its parent window).
void RunBox(QWidget* parent, WindowHandle owner, const std::string& text, const std::string& caption,
            uint32_t style, const std::function<void(int)>& answered) {
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setProperty(kBoxOwner, static_cast<qulonglong>(owner));
    box->setProperty(kBoxText, Q(text));
    box->setWindowTitle(Q(caption));
    box->setText(Q(text));
    switch (style & 0xF0) {
    case MB_ICONERROR:
        box->setIcon(QMessageBox::Critical);
        break;
    case MB_ICONQUESTION:
        box->setIcon(QMessageBox::Question);
        break;
    case MB_ICONWARNING:
        box->setIcon(QMessageBox::Warning);
        break;
    case MB_ICONINFORMATION:
        box->setIcon(QMessageBox::Information);
        break;
    default:
        break;
    }
    std::vector<std::pair<QMessageBox::StandardButton, int>> buttons;
    switch (style & 0xF) {
    case MB_OKCANCEL:
        buttons = {{QMessageBox::Ok, IDOK}, {QMessageBox::Cancel, IDCANCEL}};
        break;
    case 2:
        buttons = {
            {QMessageBox::Abort, IDABORT}, {QMessageBox::Retry, IDRETRY}, {QMessageBox::Ignore, IDIGNORE}};
        break;
    case MB_YESNOCANCEL:
        buttons = {{QMessageBox::Yes, IDYES}, {QMessageBox::No, IDNO}, {QMessageBox::Cancel, IDCANCEL}};
        break;
    case MB_YESNO:
        buttons = {{QMessageBox::Yes, IDYES}, {QMessageBox::No, IDNO}};
        break;
    case 5:
        buttons = {{QMessageBox::Retry, IDRETRY}, {QMessageBox::Cancel, IDCANCEL}};
        break;
    default:
        buttons = {{QMessageBox::Ok, IDOK}};
        break;
    }
    QMessageBox::StandardButtons set;
    for (const auto& [button, id] : buttons)
        set |= button;
    box->setStandardButtons(set);
    box->setDefaultButton(buttons.front().first);
    // Closing the box by the window manager answers as Escape would: cancel where there is one.
    int escape = buttons.front().second;
    for (const auto& [button, id] : buttons)
        if (id == IDCANCEL || id == IDNO)
            escape = id;
    auto once = std::make_shared<bool>(false);
    QObject::connect(box, &QMessageBox::finished, box, [box, buttons, escape, answered, once](int) {
        int result = escape;
        for (const auto& [button, id] : buttons)
            if (box->clickedButton() == box->button(button))
                result = id;
        if (!std::exchange(*once, true))
            answered(result);
    });
    QObject::connect(box, &QObject::destroyed, CGuiThread::Context(), [escape, answered, once] {
        if (!std::exchange(*once, true))
            answered(escape);
    });
    box->open();
}

// Waits for an answer from the GUI thread, keeping the caller's loop going; gives `fallback` when
// the GUI thread has ended meanwhile.
template <class T> T AwaitAnswer(std::future<T>& answer, T fallback) {
    CMessageLoop* loop = CMessageLoop::Current();
    for (;;) {
        if (answer.wait_for(std::chrono::milliseconds(loop != nullptr ? 0 : 50)) == std::future_status::ready)
            return answer.get();
        if (!CGuiThread::IsRunning())
            return fallback;
        if (loop != nullptr && !loop->PumpFor(20))
            return answer.wait_for(std::chrono::milliseconds(0)) == std::future_status::ready ? answer.get()
                                                                                              : fallback;
    }
}

} // namespace

CQtPresentation::CQtPresentation() {
    CGuiThread::Post([this] {
        WatchClipboard();
        // A host's application answers the session itself; the documents save when it asks.
        if (CGuiThread::OwnsApplication())
            QObject::connect(qApp, &QGuiApplication::commitDataRequest, CGuiThread::Context(),
                             [this](QSessionManager& manager) {
                                 if (!manager.allowsInteraction())
                                     return;
                                 const bool ending = EndSession();
                                 manager.release();
                                 if (!ending)
                                     manager.cancel();
                             });
    });
}

bool CQtPresentation::EndSession() {
    std::vector<WindowHandle> frames;
    for (const auto& entry : m_frames)
        frames.push_back(entry.first);
    for (WindowHandle frame : frames) {
        CMessageLoop* loop = CWindow::LoopOf(frame);
        if (loop == nullptr)
            continue;
        auto answer = std::make_shared<std::atomic<int>>(-1);
        loop->PostCall([frame, answer] {
            answer->store(static_cast<int>(CWindow::SendMessage(frame, WM_QUERYENDSESSION)));
        });
        // The document may show a box, which this thread has to show: a nested loop, not a wait.
        QEventLoop wait;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &wait, [&] {
            if (answer->load() >= 0 || !CWindow::IsWindow(frame))
                wait.quit();
        });
        poll.start(20);
        wait.exec();
        if (answer->load() == 0)
            return false;
    }
    // Everyone agreed: the documents close the way Close All closes them, each asked to save.
    if (!frames.empty())
        CWindow::PostMessage(frames.front(), WM_COMMAND, 32816);
    return true;
}

CQtPresentation::~CQtPresentation() = default;

CFrameWindow* CQtPresentation::FindFrame(WindowHandle frame) const {
    auto it = m_frames.find(frame);
    return it != m_frames.end() ? it->second : nullptr;
}

CViewWidget* CQtPresentation::FindView(WindowHandle view) const {
    auto it = m_viewFrames.find(view);
    if (it == m_viewFrames.end())
        return nullptr;
    CFrameWindow* frame = FindFrame(it->second);
    return frame != nullptr ? frame->View() : nullptr;
}

std::vector<CFrameWindow*> CQtPresentation::Frames() const {
    std::vector<CFrameWindow*> frames;
    for (const auto& [handle, frame] : m_frames)
        frames.push_back(frame);
    return frames;
}

void CQtPresentation::WithFrame(WindowHandle frame, std::function<void(CFrameWindow&)> call) {
    CGuiThread::Post([this, frame, call = std::move(call)] {
        if (CFrameWindow* window = FindFrame(frame))
            call(*window);
    });
}

void CQtPresentation::WithView(WindowHandle view, std::function<void(CViewWidget&)> call) {
    CGuiThread::Post([this, view, call = std::move(call)] {
        if (CViewWidget* widget = FindView(view))
            call(*widget);
    });
}

int CQtPresentation::MessageBox(WindowHandle owner, const std::string& text, const std::string& caption,
                                uint32_t style) {
    auto promise = std::make_shared<std::promise<int>>();
    std::future<int> answer = promise->get_future();
    auto show = [this, owner, text, caption, style, promise] {
        RunBox(OwnerWindow(owner), owner, text, caption, style,
               [promise](int result) { promise->set_value(result); });
    };
    if (CGuiThread::IsGuiThread()) {
        // A host calling from its own GUI thread: the box runs in a nested loop of that thread.
        show();
        while (answer.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
        return answer.get();
    }
    if (!CGuiThread::Post(show))
        return DefaultAnswer(style);
    return AwaitAnswer(answer, DefaultAnswer(style));
}

void CQtPresentation::WithdrawMessageBox(WindowHandle owner, const std::string& text) {
    CGuiThread::Post([owner, text = Q(text)] {
        for (QWidget* window : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(window);
                box != nullptr && box->property(kBoxOwner).toULongLong() == owner &&
                box->property(kBoxText).toString() == text)
                box->reject();
    });
}

QWidget* CQtPresentation::OwnerWindow(WindowHandle owner) const {
    if (auto it = m_viewFrames.find(owner); it != m_viewFrames.end())
        owner = it->second;
    if (CFrameWindow* frame = FindFrame(owner))
        return frame;
    if (auto d = m_dialogs.find(owner); d != m_dialogs.end())
        return d->second;
    if (auto c = m_consoles.find(owner); c != m_consoles.end())
        return c->second;
    if (auto own = m_appDialogs.find(owner); own != m_appDialogs.end() && own->second)
        return own->second;
    return nullptr;
}

namespace {

// The dialogs with a window of their own, by name; the others are shown as forms.
CRecordDialog* AsRecordConsole(CModalDialog& dialog) {
    return dialog.DialogName() == "Record" ? dynamic_cast<CRecordDialog*>(&dialog) : nullptr;
}

} // namespace

void CQtPresentation::DialogOpened(CModalDialog& dialog) {
    if (CRecordDialog* console = AsRecordConsole(dialog)) {
        ConsoleOpened(*console);
        return;
    }
    CDialogSnapshot snapshot = CDialogSnapshot::Take(dialog);
    CGuiThread::Post([this, snapshot] {
        QWidget* parent = OwnerWindow(snapshot.owner);
        if (CAppDialogWindow* own = CAppDialogWindow::Make(snapshot, parent)) {
            m_appDialogs[snapshot.handle] = own;
            own->Start();
            return;
        }
        auto* window = new CDialogWindow(snapshot, parent);
        m_dialogs[snapshot.handle] = window;
        const WindowHandle handle = snapshot.handle;
        QObject::connect(window, &QObject::destroyed, window, [this, handle, window] {
            auto it = m_dialogs.find(handle);
            if (it != m_dialogs.end() && it->second == window)
                m_dialogs.erase(it);
        });
        window->Start();
    });
}

void CQtPresentation::DialogChanged(CModalDialog& dialog) {
    if (CRecordDialog* console = AsRecordConsole(dialog)) {
        ConsoleChanged(*console);
        return;
    }
    CDialogSnapshot snapshot = CDialogSnapshot::Take(dialog);
    CGuiThread::Post([this, snapshot] {
        if (auto it = m_dialogs.find(snapshot.handle); it != m_dialogs.end())
            it->second->Update(snapshot);
        else if (auto own = m_appDialogs.find(snapshot.handle); own != m_appDialogs.end() && own->second)
            own->second->Update(snapshot);
    });
}

void CQtPresentation::DialogClosed(CModalDialog& dialog) {
    const WindowHandle handle = dialog.GetSafeHandle();
    CGuiThread::Post([this, handle] {
        if (auto it = m_dialogs.find(handle); it != m_dialogs.end()) {
            CDialogWindow* window = it->second;
            m_dialogs.erase(it);
            window->Dismiss();
        }
        if (auto own = m_appDialogs.find(handle); own != m_appDialogs.end()) {
            QPointer<CAppDialogWindow> window = own->second;
            m_appDialogs.erase(own);
            if (window)
                window->Dismiss();
        }
        if (auto it = m_consoles.find(handle); it != m_consoles.end()) {
            CRecordConsoleWindow* window = it->second;
            m_consoles.erase(it);
            window->Dismiss();
        }
    });
}

void CQtPresentation::ConsoleOpened(CRecordDialog& console) {
    const WindowHandle handle = console.GetSafeHandle();
    const WindowHandle owner = console.GetOwner();
    const std::string title = console.GetWindowText();
    const RecordConsoleFields fields = console.GetFields();
    CGuiThread::Post([this, handle, owner, title, fields] {
        auto* window = new CRecordConsoleWindow(handle, title, fields, OwnerWindow(owner));
        m_consoles[handle] = window;
        QObject::connect(window, &QObject::destroyed, window, [this, handle, window] {
            auto it = m_consoles.find(handle);
            if (it != m_consoles.end() && it->second == window)
                m_consoles.erase(it);
        });
        window->open();
    });
}

void CQtPresentation::ConsoleChanged(CRecordDialog& console) {
    const WindowHandle handle = console.GetSafeHandle();
    const RecordConsoleFields fields = console.GetFields();
    CGuiThread::Post([this, handle, fields] {
        if (auto it = m_consoles.find(handle); it != m_consoles.end())
            it->second->Update(fields);
    });
}

void CQtPresentation::FrameCreated(WindowHandle frame) {
    CGuiThread::Post([this, frame] {
        if (m_frames.count(frame) != 0)
            return;
        auto* window = new CFrameWindow(frame, [this] {
            std::vector<std::pair<WindowHandle, std::string>> titles;
            for (const auto& [handle, w] : m_frames)
                titles.emplace_back(handle, w->windowTitle().toStdString());
            return titles;
        });
        m_frames[frame] = window;
        window->show();
    });
}

void CQtPresentation::FrameLayout(WindowHandle frame, const CFrameLayout& layout) {
    CGuiThread::Post([this, frame, layout] {
        CFrameWindow* window = FindFrame(frame);
        if (window == nullptr)
            return;
        if (layout.view != 0)
            m_viewFrames[layout.view] = frame;
        window->ApplyLayout(layout);
    });
}

void CQtPresentation::HistoryList(WindowHandle frame, const CListModel& list) {
    WithFrame(frame, [list](CFrameWindow& w) { w.SetHistoryList(list); });
}

void CQtPresentation::OpenUrl(const std::string& url) {
    // The browser starts on its own; the GUI thread does not wait for it.
    CGuiThread::Post([url = Q(url)] { QDesktopServices::openUrl(QUrl(url)); });
}

void CQtPresentation::FocusBar(WindowHandle frame, uint32_t bar) {
    WithFrame(frame, [bar](CFrameWindow& w) { w.FocusBar(bar); });
}

void CQtPresentation::FrameTitle(WindowHandle frame, const std::string& title) {
    WithFrame(frame, [title](CFrameWindow& w) { w.setWindowTitle(Q(title)); });
}

void CQtPresentation::FrameToTop(WindowHandle frame) {
    WithFrame(frame, [](CFrameWindow& w) {
        w.showNormal();
        w.raise();
        w.activateWindow();
    });
}

void CQtPresentation::FrameDestroyed(WindowHandle frame) {
    CGuiThread::Post([this, frame] {
        auto it = m_frames.find(frame);
        if (it == m_frames.end())
            return;
        CFrameWindow* window = it->second;
        m_frames.erase(it);
        for (auto v = m_viewFrames.begin(); v != m_viewFrames.end();)
            v = v->second == frame ? m_viewFrames.erase(v) : std::next(v);
        window->Dismiss();
        window->deleteLater();
    });
}

void CQtPresentation::StatusText(WindowHandle frame, const std::string& text) {
    WithFrame(frame, [text](CFrameWindow& w) { w.SetStatus(0, text); });
}

void CQtPresentation::CommandStates(WindowHandle frame, const std::vector<CCommandState>& states) {
    WithFrame(frame, [states](CFrameWindow& w) { w.SetCommandStates(states); });
}

void CQtPresentation::StatusPane(WindowHandle frame, int pane, const std::string& text) {
    WithFrame(frame, [pane, text](CFrameWindow& w) { w.SetStatus(pane, text); });
}

void CQtPresentation::ViewImage(WindowHandle view, std::shared_ptr<const CViewImage> image) {
    WithView(view, [image = std::move(image)](CViewWidget& w) { w.SetImage(image); });
}

void CQtPresentation::ScrollBar(WindowHandle view, const CScrollBarState& state) {
    WithView(view, [state](CViewWidget& w) { w.SetScrollBar(state); });
}

void CQtPresentation::SetCursor(WindowHandle view, CursorShape shape) {
    WithView(view, [shape](CViewWidget& w) { w.SetCursorShape(shape); });
}

namespace {

void AddItems(QMenu* menu, const std::vector<CMenuItem>& items,
              std::shared_ptr<std::atomic<uint32_t>> chosen) {
    for (const CMenuItem& item : items) {
        if (item.separator) {
            menu->addSeparator();
        } else if (!item.popup.empty()) {
            AddItems(menu->addMenu(Q(item.text)), item.popup, chosen);
        } else {
            QAction* action = menu->addAction(Q(item.text));
            action->setEnabled(item.enabled);
            if (item.checked) {
                action->setCheckable(true);
                action->setChecked(true);
            }
            if (item.isDefault) {
                QFont font = action->font();
                font.setBold(true);
                action->setFont(font);
            }
            const uint32_t id = item.id;
            QObject::connect(action, &QAction::triggered, menu, [chosen, id] { chosen->store(id); });
        }
    }
}

} // namespace

uint32_t CQtPresentation::TrackPopupMenu(WindowHandle view, const std::vector<CMenuItem>& menu, int x,
                                         int y) {
    auto promise = std::make_shared<std::promise<uint32_t>>();
    std::future<uint32_t> answer = promise->get_future();
    const bool posted = CGuiThread::Post([this, view, menu, x, y, promise] {
        auto chosen = std::make_shared<std::atomic<uint32_t>>(0);
        auto* popup = new QMenu;
        AddItems(popup, menu, chosen);
        // The choice is known only after the triggered signal, which Qt sends after the hide. A
        // menu that is hidden rather than closed is not deleted on close, so the hide deletes it,
        // once the trigger has been delivered.
        QObject::connect(popup, &QMenu::aboutToHide, popup, [popup, promise, chosen] {
            popup->deleteLater();
            QMetaObject::invokeMethod(
                CGuiThread::Context(), [promise, chosen] { promise->set_value(chosen->load()); },
                Qt::QueuedConnection);
        });
        QPoint at(x, y);
        if (CViewWidget* widget = FindView(view)) {
            const double ratio = widget->devicePixelRatioF();
            at = widget->Canvas()->mapToGlobal(
                QPoint(static_cast<int>(x / ratio), static_cast<int>(y / ratio)));
        }
        popup->popup(at);
    });
    if (!posted)
        return 0;
    return AwaitAnswer(answer, 0u);
}

void CQtPresentation::WatchClipboard() {
    QClipboard* clipboard = QGuiApplication::clipboard();
    auto refresh = [this, clipboard] {
        std::map<std::string, std::vector<uint8_t>> mirror;
        if (const QMimeData* data = clipboard->mimeData())
            for (const QString& format : data->formats()) {
                if (!format.startsWith("audio/"))
                    continue;
                const QByteArray bytes = data->data(format);
                mirror[format.toStdString()] = std::vector<uint8_t>(bytes.begin(), bytes.end());
            }
        std::lock_guard<std::mutex> lock(m_clipboardLock);
        m_clipboard = std::move(mirror);
    };
    QObject::connect(clipboard, &QClipboard::dataChanged, CGuiThread::Context(), refresh);
    refresh();
}

void CQtPresentation::SetClipboardData(const std::string& mime, std::vector<uint8_t> data) {
    {
        // The mirror changes at once, so a paste right after a copy finds what was copied.
        std::lock_guard<std::mutex> lock(m_clipboardLock);
        m_clipboard.clear();
        m_clipboard[mime] = data;
    }
    CGuiThread::Post([mime, data = std::move(data)] {
        auto* mimeData = new QMimeData;
        mimeData->setData(Q(mime), QByteArray(reinterpret_cast<const char*>(data.data()),
                                              static_cast<qsizetype>(data.size())));
        QGuiApplication::clipboard()->setMimeData(mimeData);
    });
}

bool CQtPresentation::HasClipboardData(const std::string& mime) {
    std::lock_guard<std::mutex> lock(m_clipboardLock);
    return m_clipboard.count(mime) != 0;
}

bool CQtPresentation::GetClipboardData(const std::string& mime, std::vector<uint8_t>& data) {
    std::lock_guard<std::mutex> lock(m_clipboardLock);
    auto it = m_clipboard.find(mime);
    if (it == m_clipboard.end())
        return false;
    data = it->second;
    return true;
}

void CQtPresentation::PlayCursor(WindowHandle view, int x, int top, int bottom) {
    WithView(view, [x, top, bottom](CViewWidget& w) { w.SetPlayCursor(x, top, bottom); });
}

void CQtPresentation::SpectrumCurves(WindowHandle frame, const CSpectrumCurves& curves) {
    WithFrame(frame, [curves](CFrameWindow& w) { w.SetSpectrum(curves); });
}

void CQtPresentation::MeterLevels(WindowHandle frame, const std::vector<int>& levels) {
    WithFrame(frame, [levels](CFrameWindow& w) { w.SetMeterLevels(levels); });
}

void CQtPresentation::MeterReset(WindowHandle frame) {
    WithFrame(frame, [](CFrameWindow& w) { w.ResetMeters(); });
}

void CQtPresentation::TransportButtons(WindowHandle frame, const std::vector<uint32_t>& commands) {
    WithFrame(frame, [commands](CFrameWindow& w) { w.SetTransportButtons(commands); });
}

} // namespace tw
