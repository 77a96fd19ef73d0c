#include "gui/FrameWindow.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/AudioMixer.h"
#include "audio/DeviceChain.h"
#include "frame/FrameLayout.h"
#include "frame/MainFrame.h"
#include "gui/HistoryBar.h"
#include "gui/AnalyzerBar.h"
#include "gui/ToolIcons.h"
#include "gui/ViewWidget.h"
#include "gui/controls/MeterBar.h"
#include "platform/Messages.h"
#include "platform/Window.h"

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>

#include <algorithm>

namespace tw {

namespace {

constexpr uint32_t kVerticalZoomCombo = 1033;
constexpr uint32_t kComboSelectionEnded = 9;
constexpr uint32_t kKeepChanges = 6099;
constexpr uint32_t kHostCancel = 551;
constexpr uint32_t kHostBar = 6094;
constexpr uint32_t kLevelMeters = 32820;
constexpr uint32_t kVerticalZoomBar = 32823;
constexpr uint32_t kSpectrumBar = 32828;
constexpr uint32_t kEditHistoryBar = 32770;

// A docking bar whose close button asks the frame, which owns whether the bar shows.
class CDockBar : public QDockWidget {
public:
    CDockBar(const QString& title, uint32_t toggle, WindowHandle frame, QWidget* parent)
        : QDockWidget(title, parent), m_toggle(toggle), m_frame(frame) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        if (m_toggle == 0) {
            QDockWidget::closeEvent(event);
            return;
        }
        event->ignore();
        CWindow::PostMessage(m_frame, WM_COMMAND, m_toggle);
    }

private:
    uint32_t m_toggle;
    WindowHandle m_frame;
};

std::string PlainText(const std::string& text) {
    std::string plain;
    for (char c : text)
        if (c != '&')
            plain += c;
    return plain;
}

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

} // namespace

CFrameWindow::CFrameWindow(WindowHandle frame, WindowTitles windowTitles)
    : m_frame(frame), m_windowTitles(std::move(windowTitles)) {
    setMinimumSize(600, 320);
    resize(1000, 600);
    setAttribute(Qt::WA_DeleteOnClose, false);
    setDockOptions(QMainWindow::AnimatedDocks | QMainWindow::AllowTabbedDocks);
    setAcceptDrops(true);
    // Message pane, then the selection and the view.
    for (int i = 0; i < 3; ++i) {
        auto* pane = new QLabel(this);
        pane->setMinimumWidth(i == 0 ? 200 : 230);
        m_panes.push_back(pane);
        if (i == 0)
            statusBar()->addWidget(pane, 1);
        else
            statusBar()->addPermanentWidget(pane);
    }
}

CFrameWindow::~CFrameWindow() = default;

void CFrameWindow::Command(uint32_t id) {
    CWindow::PostMessage(m_frame, WM_COMMAND, id);
}

QAction* CFrameWindow::MakeAction(uint32_t id, const std::string& text, const std::string& shortcut) {
    auto it = m_actions.find(id);
    QAction* action = it != m_actions.end() ? it->second : nullptr;
    if (action == nullptr) {
        action = new QAction(this);
        action->setData(id);
        connect(action, &QAction::triggered, this, [this, id] { Command(id); });
        m_actions[id] = action;
    }
    action->setText(Q(text));
    // Shown beside the item only: the frame's own table turns keys into commands, so a key never
    // runs a command twice and the document decides what a key does while it plays.
    if (!shortcut.empty())
        action->setText(Q(text) + "\t" + Q(shortcut));
    action->setShortcutContext(Qt::WidgetShortcut);
    return action;
}

void CFrameWindow::FillMenu(QMenu* menu, const std::vector<CMenuItem>& items) {
    for (const CMenuItem& item : items) {
        if (item.separator) {
            menu->addSeparator();
        } else if (!item.popup.empty() || item.id == 0) {
            QMenu* sub = menu->addMenu(Q(item.text));
            FillMenu(sub, item.popup);
            sub->setEnabled(!item.popup.empty());
        } else {
            QAction* action = MakeAction(item.id, item.text, item.shortcut);
            action->setEnabled(item.enabled);
            action->setCheckable(item.checked || action->isCheckable());
            action->setChecked(item.checked);
            action->setStatusTip(Q(item.tip));
            menu->addAction(action);
        }
    }
}

QIcon CFrameWindow::IconFor(uint32_t id) const {
    auto it = m_buttons.find(id);
    return it != m_buttons.end() ? ToolIcon(id, it->second.icon, style()) : QIcon();
}

QWidget* CFrameWindow::MakeBarContents(uint32_t id) {
    if (id == kLevelMeters) {
        m_meters = new CMeterBar(this);
        // At rest the bar shows a stereo pair; playback sets as many meters as it has channels.
        m_meters->SetChannels(2);
        // The knobs work on the mixer of the output device the document plays through.
        auto mixer = [] {
            CAudioDeviceMgr* devices = DeviceChain();
            return devices != nullptr ? devices->GetMixerId(OutputDeviceSetting()) : -1;
        };
        m_meters->SetVolumeAccess(
            [mixer](uint32_t& packed) {
                const int32_t id = mixer();
                return id >= 0 && CAudioMixer::GetWaveVolume(id, packed);
            },
            [mixer](uint32_t packed) {
                const int32_t id = mixer();
                if (id >= 0)
                    CAudioMixer::SetWaveVolume(id, packed);
            });
        return m_meters;
    }
    if (id == kVerticalZoomBar) {
        auto* holder = new QWidget(this);
        auto* row = new QHBoxLayout(holder);
        row->setContentsMargins(6, 2, 6, 2);
        row->addWidget(new QLabel(tr("Vertical zoom:"), holder));
        m_verticalZoom = new QComboBox(holder);
        m_verticalZoom->setObjectName("combo1033");
        for (int percent : {100, 200, 400, 800, 1600, 3200})
            m_verticalZoom->addItem(QString("%1 %").arg(percent), percent);
        m_verticalZoom->setCurrentIndex(0);
        connect(m_verticalZoom, &QComboBox::activated, this, [this](int index) {
            const int percent = m_verticalZoom->itemData(index).toInt();
            if (CViewWidget* view = m_view)
                CWindow::PostMessage(view->Handle(), WM_COMMAND,
                                     kVerticalZoomCombo | (kComboSelectionEnded << 16), percent);
        });
        row->addWidget(m_verticalZoom);
        row->addStretch(1);
        return holder;
    }
    if (id == kHostBar) {
        auto* holder = new QWidget(this);
        auto* row = new QHBoxLayout(holder);
        row->setContentsMargins(6, 2, 6, 2);
        auto* keep = new QToolButton(holder);
        keep->setText("Keep in Trackloom");
        keep->setToolButtonStyle(Qt::ToolButtonTextOnly);
        connect(keep, &QToolButton::clicked, this, [this] { Command(kKeepChanges); });
        auto* cancel = new QToolButton(holder);
        cancel->setText("Cancel");
        connect(cancel, &QToolButton::clicked, this, [this] { Command(kHostCancel); });
        row->addWidget(keep);
        row->addWidget(cancel);
        row->addStretch(1);
        return holder;
    }
    if (id == kEditHistoryBar) {
        m_history = new CHistoryBar(
            m_frame,
            [this](QPoint global) {
                if (m_view == nullptr)
                    return QPoint();
                const double ratio = m_view->devicePixelRatioF();
                const QPoint local = m_view->Canvas()->mapFromGlobal(global);
                return QPoint(static_cast<int>(local.x() * ratio), static_cast<int>(local.y() * ratio));
            },
            this);
        return m_history;
    }
    if (id == kSpectrumBar) {
        m_spectrum = new CSpectrumBar(this);
        return m_spectrum;
    }
    // Bars whose contents arrive with their own windows show their title until then.
    auto* label = new QLabel(this);
    label->setAlignment(Qt::AlignCenter);
    label->setMinimumHeight(60);
    return label;
}

void CFrameWindow::ApplyLayout(const CFrameLayout& layout) {
    for (const CFrameLayout::Button& button : layout.buttons)
        m_buttons[button.id] = button;
    menuBar()->clear();
    m_windowMenu = nullptr;
    for (const CMenuItem& top : layout.menuBar) {
        QMenu* menu = menuBar()->addMenu(Q(top.text));
        FillMenu(menu, top.popup);
        if (PlainText(top.text) == "Window") {
            m_windowMenu = menu;
            connect(menu, &QMenu::aboutToShow, this, &CFrameWindow::RefreshWindowMenu);
        }
    }
    for (const CToolbarModel& model : layout.toolbars) {
        QToolBar*& bar = m_toolbars[model.id];
        if (bar == nullptr) {
            bar = addToolBar(Q(model.title));
            bar->setObjectName(QString("toolbar%1").arg(model.id));
            bar->setIconSize(QSize(22, 22));
            bar->setVisible(model.visible);
        }
        bar->setWindowTitle(Q(model.title));
        m_hiddenButtons[model.id] = model.hidden;
        bar->clear();
        for (uint32_t id : model.commands) {
            if (id == 0) {
                bar->addSeparator();
                continue;
            }
            auto b = m_buttons.find(id);
            QAction* action = m_actions.count(id) != 0
                                  ? m_actions[id]
                                  : MakeAction(id, b != m_buttons.end() ? b->second.text : std::string(), {});
            action->setIcon(IconFor(id));
            if (b != m_buttons.end())
                action->setToolTip(Q(b->second.text));
            bar->addAction(action);
        }
    }
    // The pause button is not in any menu but the transport's swap puts it on the bar.
    if (m_actions.count(32837) == 0)
        MakeAction(32837, "Pause", {});
    m_actions[32837]->setIcon(IconFor(32837));
    for (const CDockBarModel& model : layout.bars) {
        if (auto known = m_bars.find(model.id); known != m_bars.end()) {
            // Bars without a toggle (the host bar) show as the layout says; the others follow
            // their toggles' checks.
            if (model.toggle == 0)
                known->second->setVisible(model.visible);
            continue;
        }
        auto* dock = new CDockBar(Q(model.title), model.toggle, m_frame, this);
        dock->setObjectName(QString("bar%1").arg(model.id));
        QWidget* contents = MakeBarContents(model.id);
        if (auto* label = qobject_cast<QLabel*>(contents))
            label->setText(Q(model.title));
        dock->setWidget(contents);
        if (model.firstWidth > 0)
            contents->setMinimumWidth(model.firstWidth);
        addDockWidget(model.bottom ? Qt::BottomDockWidgetArea : Qt::TopDockWidgetArea, dock);
        dock->setVisible(model.visible);
        if (model.id == kVerticalZoomBar)
            dock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
        m_bars[model.id] = dock;
    }
    if (!m_view && layout.view != 0) {
        m_view = new CViewWidget(layout.view, m_frame, this);
        setCentralWidget(m_view);
        m_view->setFocus();
    }
    if (!m_laidOut && !layout.savedState.empty())
        RestoreLayoutState(layout.savedState);
    m_laidOut = true;
    // A layout published again (a dynamic menu, the host bar) made its items anew: the document's
    // states stand as they were, and are sent only when they change.
    if (!m_states.empty())
        SetCommandStates(std::vector<CCommandState>(m_states));
}

void CFrameWindow::SetCommandStates(const std::vector<CCommandState>& states) {
    if (&states != &m_states)
        m_states = states;
    for (const CCommandState& state : states) {
        auto it = m_actions.find(state.id);
        if (it == m_actions.end())
            continue;
        QAction* action = it->second;
        action->setEnabled(state.enabled);
        action->setCheckable(state.check != 0 || action->isCheckable());
        action->setChecked(state.check != 0);
        if (state.hasText) {
            const QString shortcut = action->text().section('\t', 1);
            action->setText(Q(state.text) + (shortcut.isEmpty() ? "" : "\t" + shortcut));
        }
    }
    // The bars follow the checks of their toggles: the frame owns their visibility.
    for (const CCommandState& state : states) {
        auto bar = m_bars.find(state.id);
        if (bar != m_bars.end() && bar->second->isVisible() != (state.check != 0))
            bar->second->setVisible(state.check != 0);
        auto tool = m_toolbars.find(state.id);
        if (tool != m_toolbars.end() && tool->second->isVisible() != (state.check != 0))
            tool->second->setVisible(state.check != 0);
    }
}

void CFrameWindow::SetStatus(int pane, const std::string& text) {
    if (pane >= 0 && pane < static_cast<int>(m_panes.size()))
        m_panes[static_cast<size_t>(pane)]->setText(Q(text));
}

std::string CFrameWindow::StatusPaneText(int pane) const {
    if (pane < 0 || pane >= static_cast<int>(m_panes.size()))
        return std::string();
    return m_panes[static_cast<size_t>(pane)]->text().toStdString();
}

void CFrameWindow::SetTransportButtons(const std::vector<uint32_t>& commands) {
    auto it = m_toolbars.find(32819);
    if (it == m_toolbars.end())
        return;
    QToolBar* bar = it->second;
    bar->clear();
    const std::vector<uint32_t>& hidden = m_hiddenButtons[32819];
    for (uint32_t id : commands) {
        // A button a person took off the bar stays off while the transport swaps the others.
        if (std::find(hidden.begin(), hidden.end(), id) != hidden.end())
            continue;
        auto action = m_actions.find(id);
        if (action == m_actions.end())
            continue;
        action->second->setIcon(IconFor(id));
        bar->addAction(action->second);
    }
}

void CFrameWindow::SetMeterLevels(const std::vector<int>& levels) {
    if (m_meters == nullptr || levels.empty())
        return;
    // As many meters as the playback has channels (two for a surround file folded to stereo).
    if (static_cast<int>(levels.size()) != m_meters->Channels())
        m_meters->SetChannels(static_cast<int>(levels.size()));
    m_meters->SetLevels(levels);
}

void CFrameWindow::ResetMeters() {
    if (m_meters != nullptr)
        m_meters->Reset();
}

void CFrameWindow::SetSpectrum(const CSpectrumCurves& curves) {
    if (m_spectrum != nullptr)
        m_spectrum->SetCurves(curves);
}

void CFrameWindow::SetHistoryList(const CListModel& list) {
    if (m_history != nullptr)
        m_history->SetList(list);
}

void CFrameWindow::FocusBar(uint32_t bar) {
    if (bar == 0) {
        if (m_view != nullptr)
            m_view->Canvas()->setFocus(Qt::TabFocusReason);
        return;
    }
    auto it = m_bars.find(bar);
    // A hidden bar cannot take the focus; the view keeps it.
    if (it == m_bars.end() || !it->second->isVisible()) {
        if (m_view != nullptr)
            m_view->Canvas()->setFocus(Qt::TabFocusReason);
        return;
    }
    QWidget* contents = it->second->widget();
    QWidget* target = contents->focusPolicy() != Qt::NoFocus ? contents : contents->nextInFocusChain();
    if (target == nullptr || !contents->isAncestorOf(target))
        target = contents;
    target->setFocus(Qt::TabFocusReason);
}

bool CFrameWindow::focusNextPrevChild(bool) {
    // The frame's own ring: meters, the spectrum or the history, the view, the history. Each place
    // tells the document where the person is, and the document sends the focus on.
    QWidget* focus = focusWidget();
    auto within = [focus, this](uint32_t bar) {
        auto it = m_bars.find(bar);
        return it != m_bars.end() && focus != nullptr && it->second->isAncestorOf(focus);
    };
    int step = 1;
    if (within(kLevelMeters))
        step = 2;
    else if (within(kSpectrumBar))
        step = 3;
    CWindow::PostMessage(m_frame, WM_FOCUSSTEP, static_cast<uintptr_t>(step));
    return true;
}

void CFrameWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        for (const QUrl& url : event->mimeData()->urls())
            if (url.isLocalFile()) {
                event->acceptProposedAction();
                return;
            }
}

void CFrameWindow::dropEvent(QDropEvent* event) {
    std::vector<std::string> paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths.push_back(url.toLocalFile().toStdString());
    if (paths.empty())
        return;
    event->acceptProposedAction();
    // The document decides what each file becomes (a folder or a damaged file gets its message).
    const WindowHandle frame = m_frame;
    if (CMessageLoop* loop = CWindow::LoopOf(frame))
        loop->PostCall([frame, paths] {
            if (auto* target = dynamic_cast<CMainFrame*>(CWindow::FromHandle(frame)))
                target->OnDropFiles(paths);
        });
}

void CFrameWindow::RefreshWindowMenu() {
    if (m_windowMenu == nullptr || !m_windowTitles)
        return;
    std::vector<std::string> titles;
    int current = -1;
    for (const auto& [frame, title] : m_windowTitles()) {
        if (frame == m_frame)
            current = static_cast<int>(titles.size());
        titles.push_back(title);
    }
    std::vector<CMenuItem> bar(1);
    bar[0].text = "Window";
    FillWindowMenu(bar, titles, current);
    m_windowMenu->clear();
    FillMenu(m_windowMenu, bar[0].popup);
}

std::string CFrameWindow::SaveLayoutState() const {
    return (saveGeometry().toBase64() + ";" + saveState().toBase64()).toStdString();
}

void CFrameWindow::RestoreLayoutState(const std::string& state) {
    const QList<QByteArray> parts = QByteArray::fromStdString(state).split(';');
    if (parts.size() != 2)
        return;
    // A damaged record leaves the default layout: Qt refuses what it cannot read.
    restoreGeometry(QByteArray::fromBase64(parts[0]));
    restoreState(QByteArray::fromBase64(parts[1]));
}

void CFrameWindow::Dismiss() {
    m_closing = true;
    close();
}

QAction* CFrameWindow::Action(uint32_t id) const {
    auto it = m_actions.find(id);
    return it != m_actions.end() ? it->second : nullptr;
}

QDockWidget* CFrameWindow::Bar(uint32_t id) const {
    auto it = m_bars.find(id);
    return it != m_bars.end() ? it->second : nullptr;
}

QToolBar* CFrameWindow::Toolbar(uint32_t id) const {
    auto it = m_toolbars.find(id);
    return it != m_toolbars.end() ? it->second : nullptr;
}

void CFrameWindow::closeEvent(QCloseEvent* event) {
    if (m_closing) {
        event->accept();
        return;
    }
    // The document decides (it may ask to save); the window goes when the frame is destroyed. The
    // layout goes first, for the settings of the next run.
    event->ignore();
    const WindowHandle frame = m_frame;
    if (CMessageLoop* loop = CWindow::LoopOf(frame))
        loop->PostCall([frame, state = SaveLayoutState()] {
            if (auto* target = dynamic_cast<CMainFrame*>(CWindow::FromHandle(frame)))
                target->SetSavedState(state);
        });
    CWindow::PostMessage(m_frame, WM_CLOSE);
}

} // namespace tw
