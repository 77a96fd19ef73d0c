// A document's frame on screen: a main window with the menu bar, toolbars, docking bars and status
// panes the frame's layout describes, and the view in its middle. Every menu item, button and key
// becomes a message to the frame's thread; what the document publishes (command states, texts,
// meters, the transport's buttons) is shown here as it arrives.
#pragma once

#include "platform/Presentation.h"

#include <QMainWindow>

#include <functional>
#include <map>
#include <string>
#include <vector>

class QAction;
class QComboBox;
class QDockWidget;
class QLabel;
class QMenu;
class QToolBar;

namespace tw {

class CHistoryBar;
class CMeterBar;
class CSpectrumBar;
class CViewWidget;

class CFrameWindow : public QMainWindow {
    Q_OBJECT
public:
    // Every document window (frame and title) in the order of the Window menu.
    using WindowTitles = std::function<std::vector<std::pair<WindowHandle, std::string>>()>;

    CFrameWindow(WindowHandle frame, WindowTitles windowTitles = {});
    ~CFrameWindow() override;

    WindowHandle Handle() const { return m_frame; }
    CViewWidget* View() const { return m_view; }

    void ApplyLayout(const CFrameLayout& layout);
    void SetCommandStates(const std::vector<CCommandState>& states);
    void SetStatus(int pane, const std::string& text);
    void SetTransportButtons(const std::vector<uint32_t>& commands);
    void SetMeterLevels(const std::vector<int>& levels);
    void ResetMeters();
    void SetSpectrum(const CSpectrumCurves& curves);
    void SetHistoryList(const CListModel& list);
    // Focus to a docking bar by its id, or to the view for 0.
    void FocusBar(uint32_t bar);
    // The docking places and sizes, as stored in the settings.
    std::string SaveLayoutState() const;
    void RestoreLayoutState(const std::string& state);
    // The frame was destroyed on its thread: the window goes without asking anything.
    void Dismiss();

    QAction* Action(uint32_t id) const;
    QDockWidget* Bar(uint32_t id) const;
    QToolBar* Toolbar(uint32_t id) const;
    std::string StatusPaneText(int pane) const;
    CHistoryBar* HistoryBar() const { return m_history; }
    CSpectrumBar* SpectrumBar() const { return m_spectrum; }
    // Rebuilds the Window menu from the open documents (done each time it opens).
    void RefreshWindowMenu();

protected:
    void closeEvent(QCloseEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QAction* MakeAction(uint32_t id, const std::string& text, const std::string& shortcut);
    void FillMenu(QMenu* menu, const std::vector<CMenuItem>& items);
    QIcon IconFor(uint32_t id) const;
    void Command(uint32_t id);
    QWidget* MakeBarContents(uint32_t id);

    WindowHandle m_frame;
    CViewWidget* m_view = nullptr;
    std::map<uint32_t, QAction*> m_actions;
    std::map<uint32_t, CFrameLayout::Button> m_buttons;
    std::map<uint32_t, QToolBar*> m_toolbars;
    std::map<uint32_t, std::vector<uint32_t>> m_hiddenButtons; // by toolbar
    std::map<uint32_t, QDockWidget*> m_bars;
    std::vector<QLabel*> m_panes;
    CMeterBar* m_meters = nullptr;
    CHistoryBar* m_history = nullptr;
    CSpectrumBar* m_spectrum = nullptr;
    QMenu* m_windowMenu = nullptr;
    WindowTitles m_windowTitles;
    std::vector<CCommandState> m_states; // the last the document published
    QComboBox* m_verticalZoom = nullptr;
    bool m_closing = false;
    bool m_laidOut = false;
};

} // namespace tw
