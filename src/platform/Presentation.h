// The boundary between the system's state (on document threads) and what a person sees. One
// interface, two implementations: the Qt presentation (src/gui) and the headless one below, which
// records what would be shown and answers boxes and dialogs from a script. When no display exists
// the headless one is used: each box takes its default answer and each dialog that waits for a
// person its default button with its preset fields; one that needs typed input is cancelled.
//
// Calls come from document threads (and task threads for boxes); implementations must be
// thread-safe and must never block a document thread on the GUI thread except inside the modal
// calls, whose answers arrive by posting to the caller's loop.
#pragma once

#include "platform/MessageLoop.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tw {

class CModalDialog;

// What a document publishes after each message for the widgets to show.
struct CCommandState {
    uint32_t id = 0;
    bool enabled = true;
    int check = 0;      // 0 off, 1 checked
    bool radio = false; // the check is drawn as a radio mark
    bool hasText = false;
    std::string text; // the item's text, when the document sets it (Undo, Redo)
    bool operator==(const CCommandState&) const = default;
};

struct CScrollBarState {
    int64_t minimum = 0;
    int64_t maximum = 0;
    int64_t page = 0;
    int32_t position = 0; // the bar's position is 32-bit as the document sets it
    bool visible = false;
    bool operator==(const CScrollBarState&) const = default;
};

// The plot as the document thread painted it: 0xAARRGGBB pixels, row after row.
struct CViewImage {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;
};

// A popup menu: a tree of items; `popup` items open a sub-menu.
struct CMenuItem {
    uint32_t id = 0;
    std::string text;
    bool enabled = true;
    bool checked = false;
    bool isDefault = false;
    bool separator = false;
    std::string shortcut; // the accelerator as shown beside the text ("Ctrl+S"); the frame translates the key
    std::string tip;      // shown in the status bar while the item is highlighted (a recent file's path)
    std::vector<CMenuItem> popup;
};

// A toolbar of a frame: its buttons by command (0: a separator), shown with the texts and icons of
// the frame's layout.
struct CToolbarModel {
    uint32_t id = 0; // the command that toggles it
    std::string title;
    std::vector<uint32_t> commands;
    bool visible = true;
    // Buttons a person took off the bar (Customize): they stay off when the transport swaps its
    // play and pause buttons.
    std::vector<uint32_t> hidden{};
};

// A docking bar of a frame: a pane the presentation builds from its id, with the command that
// toggles it, its first width and whether it starts hidden.
struct CDockBarModel {
    uint32_t id = 0;
    uint32_t toggle = 0;
    std::string title;
    int firstWidth = 0;
    bool visible = false;
    bool bottom = true; // docked below the view, else at the top
};

// Everything a frame window is made of, apart from the view: published once when the frame is made
// and again when a dynamic menu (transforms, windows, recent files) changed.
struct CFrameLayout {
    WindowHandle view = 0; // the view the frame's client area shows
    std::vector<CMenuItem> menuBar;
    std::vector<CToolbarModel> toolbars;
    std::vector<CDockBarModel> bars;
    // Texts and icon names of the commands on toolbars (freedesktop icon names; the presentation
    // draws its own where the theme has none).
    struct Button {
        uint32_t id = 0;
        std::string text;
        std::string icon;
    };
    std::vector<Button> buttons;
    // The window layout a person left (docking places and sizes) as the presentation saved it;
    // empty for the first layout. Given to the first frame of a run only.
    std::string savedState;
};

// A list a bar shows (the edit history): columns, rows with an image each, the row holding the
// selection mark and the selected rows. Published again whenever any of it changed.
struct CListModel {
    struct Column {
        std::string title;
        int width = 0;
        bool operator==(const Column&) const = default;
    };
    struct Row {
        std::vector<std::string> cells;
        int image = 0;
        bool operator==(const Row&) const = default;
    };
    std::vector<Column> columns;
    std::vector<Row> rows;
    int marked = -1;
    std::vector<int> selected;
    bool operator==(const CListModel&) const = default;
};

// What the spectrum analyzer bar shows: per channel (the first two of the analysed block) the
// magnitudes of one FFT as levels, 0 at -100 dB and 1 at 0 dB (below -100 dB they go under 0; a
// bin of no energy is -0.44). Point i of n sits at i / n across the bar and is the bin of frequency
// i * sampleRate / fftSize.
struct CSpectrumCurves {
    int32_t sampleRate = 0;
    int32_t fftSize = 0;
    std::vector<std::vector<float>> curves; // one for a mono block, else two
    bool operator==(const CSpectrumCurves&) const = default;
};

enum class CursorShape { Arrow, SizeWE, CrossFade, EffectTag, Wait };

class IPresentation {
public:
    virtual ~IPresentation() = default;

    // A message box; returns IDOK, IDCANCEL, IDYES, IDNO... Runs a nested loop on the calling
    // thread's CMessageLoop (if any) while it waits.
    virtual int MessageBox(WindowHandle owner, const std::string& text, const std::string& caption,
                           uint32_t style) = 0;

    // The box asked for by a MessageBox call still waiting on another thread, with this owner and
    // text, is no longer wanted (the close sequence ended it): it goes from the screen, and that
    // call returns at once. Nothing when no such box is up.
    virtual void WithdrawMessageBox(WindowHandle owner, const std::string& text) {}

    // A modal dialog has started (shown) / changed what it shows / ended (hidden).
    virtual void DialogOpened(CModalDialog& dialog) = 0;
    virtual void DialogChanged(CModalDialog& dialog) = 0;
    virtual void DialogClosed(CModalDialog& dialog) = 0;
    // WM_CLOSE reached a dialog: true when the presentation lets it close (it then ends it with
    // IDCANCEL); false when the dialog ignores the request.
    virtual bool DialogCloseRequested(CModalDialog& dialog) = 0;

    // Top-level document frames: shown, titled, raised, gone. `frame` is the frame's handle.
    virtual void FrameCreated(WindowHandle frame) = 0;
    virtual void FrameTitle(WindowHandle frame, const std::string& title) = 0;
    virtual void FrameToTop(WindowHandle frame) = 0;
    virtual void FrameDestroyed(WindowHandle frame) = 0;
    // Status bar text of a frame.
    virtual void StatusText(WindowHandle frame, const std::string& text) = 0;

    // True when MessageBox returns without waiting for a person (a script), so ShowMessageBox
    // need not keep the caller's loop going around it.
    virtual bool AnswersAtOnce() const { return false; }

    // The states of every command a frame routes, after each message that may have changed them
    // (only the changed ones need be redrawn; the whole list is handed each time).
    virtual void CommandStates(WindowHandle frame, const std::vector<CCommandState>& states) = 0;
    // A pane of the status bar other than the message pane (0 is StatusText's).
    virtual void StatusPane(WindowHandle frame, int pane, const std::string& text) = 0;
    // A new picture of a view's client area, painted off-screen on the document thread.
    virtual void ViewImage(WindowHandle view, std::shared_ptr<const CViewImage> image) = 0;
    virtual void ScrollBar(WindowHandle view, const CScrollBarState& state) = 0;
    virtual void SetCursor(WindowHandle view, CursorShape shape) = 0;
    // Shows a popup menu at (x, y) in the view and gives the chosen id, 0 when dismissed. Blocks
    // the calling document thread until chosen, as a tracked popup does.
    virtual uint32_t TrackPopupMenu(WindowHandle view, const std::vector<CMenuItem>& menu, int x, int y) = 0;

    // The system clipboard, one memory image per MIME type ("audio/wav" for audio). Setting
    // replaces everything on the clipboard.
    virtual void SetClipboardData(const std::string& mime, std::vector<uint8_t> data) = 0;
    virtual bool HasClipboardData(const std::string& mime) = 0;
    virtual bool GetClipboardData(const std::string& mime, std::vector<uint8_t>& data) = 0;
    // Makes what this process put on the clipboard outlive the process's documents.
    virtual void FlushClipboard() {}

    // The transport. The play cursor of a view: a line at `x` from `top` to `bottom` over the
    // published picture (which the document paints without it), -1 for none.
    virtual void PlayCursor(WindowHandle view, int x, int top, int bottom) = 0;
    // The level meters of a frame: one value per channel, 0 (-80 dB and below) to 100 (0 dB).
    virtual void MeterLevels(WindowHandle frame, const std::vector<int>& levels) = 0;
    // The meters fall back to rest (no playback).
    virtual void MeterReset(WindowHandle frame) = 0;
    // A new spectrum for the frame's analyzer bar; sent only while the bar shows.
    virtual void SpectrumCurves(WindowHandle frame, const CSpectrumCurves& curves) {}
    // The commands of the transport bar's buttons in order: the one place that shows play section
    // (32772), play all (32773) or pause (32837) changes as playback starts and stops.
    virtual void TransportButtons(WindowHandle frame, const std::vector<uint32_t>& commands) = 0;

    // True when a person sees the windows (frames then publish their menus and bars).
    virtual bool ShowsWindows() const { return false; }
    // The frame's menus, bars and the view it shows; again whenever they change.
    virtual void FrameLayout(WindowHandle frame, const CFrameLayout& layout) {}
    // The list of the frame's edit history bar.
    virtual void HistoryList(WindowHandle frame, const CListModel& list) {}
    // Moves the keyboard focus to a docking bar of the frame (by its id), or to the view for 0.
    virtual void FocusBar(WindowHandle frame, uint32_t bar) {}
    // Opens a document (the help, a web page) in the desktop's own viewer for its kind. Does not
    // wait for the viewer.
    virtual void OpenUrl(const std::string& url) {}
};

// The presentation in force for the process. Never null: the headless one until another is set.
IPresentation& Presentation();
void SetPresentation(std::shared_ptr<IPresentation> presentation);

// Shows a message box through the presentation with the product name as caption. On a thread with a
// CMessageLoop the box is asked from a helper thread while the caller's loop keeps dispatching
// (timers, posted calls, sends), so a document thread stays responsive while a person decides.
// Meanwhile the box is a popup of the owner's top-level window, which is disabled: the close
// sequence ends the box (with Cancel, or with the only button of a box that has one) before it
// closes the document.
int ShowMessageBox(const std::string& text, uint32_t style = 0x30 /*MB_ICONWARNING*/, WindowHandle owner = 0);
// The same with a caption of its own.
int ShowMessageBox(const std::string& text, uint32_t style, WindowHandle owner, const std::string& caption);

// Records everything and answers from a script; the default answer of a box is its first button
// (IDOK, IDYES) unless a scripted answer is queued. A dialog that waits for a person and has no
// script takes its preset fields and OK at once (AcceptPresets), as Enter would; one that needs
// typed input (a file dialog) is cancelled; a dialog that ends by itself (a progress dialog) runs
// to its end.
class CHeadlessPresentation : public IPresentation {
public:
    struct Shown {
        std::string kind; // "box", "dialog", "frame", "title", "status", "top", "closed", ...
        std::string text;
        WindowHandle window = 0;
        std::string caption; // a box's title
    };

    int MessageBox(WindowHandle owner, const std::string& text, const std::string& caption,
                   uint32_t style) override;
    void DialogOpened(CModalDialog& dialog) override;
    void DialogChanged(CModalDialog& dialog) override;
    void DialogClosed(CModalDialog& dialog) override;
    bool DialogCloseRequested(CModalDialog& dialog) override;
    void FrameCreated(WindowHandle frame) override;
    void FrameTitle(WindowHandle frame, const std::string& title) override;
    void FrameToTop(WindowHandle frame) override;
    void FrameDestroyed(WindowHandle frame) override;
    void StatusText(WindowHandle frame, const std::string& text) override;
    bool AnswersAtOnce() const override { return true; }
    void CommandStates(WindowHandle frame, const std::vector<CCommandState>& states) override;
    void StatusPane(WindowHandle frame, int pane, const std::string& text) override;
    void ViewImage(WindowHandle view, std::shared_ptr<const CViewImage> image) override;
    void ScrollBar(WindowHandle view, const CScrollBarState& state) override;
    void SetCursor(WindowHandle view, CursorShape shape) override;
    uint32_t TrackPopupMenu(WindowHandle view, const std::vector<CMenuItem>& menu, int x, int y) override;
    void SetClipboardData(const std::string& mime, std::vector<uint8_t> data) override;
    bool HasClipboardData(const std::string& mime) override;
    bool GetClipboardData(const std::string& mime, std::vector<uint8_t>& data) override;
    void PlayCursor(WindowHandle view, int x, int top, int bottom) override;
    void MeterLevels(WindowHandle frame, const std::vector<int>& levels) override;
    void MeterReset(WindowHandle frame) override;
    void SpectrumCurves(WindowHandle frame, const CSpectrumCurves& curves) override;
    void TransportButtons(WindowHandle frame, const std::vector<uint32_t>& commands) override;
    void HistoryList(WindowHandle frame, const CListModel& list) override;
    void FocusBar(WindowHandle frame, uint32_t bar) override;
    void OpenUrl(const std::string& url) override; // recorded as "url"
    void FrameLayout(WindowHandle frame, const CFrameLayout& layout) override;
    bool ShowsWindows() const override { return m_showsWindows; }
    // Script: frames publish their menus and bars as they would to a person (default: off, as
    // nobody looks at them).
    void SetShowsWindows(bool shows) { m_showsWindows = shows; }

    // What was last published; a default value when nothing was.
    CCommandState LastCommandState(WindowHandle frame, uint32_t id) const;
    std::string LastStatusPane(WindowHandle frame, int pane) const;
    std::shared_ptr<const CViewImage> LastViewImage(WindowHandle view) const;
    CScrollBarState LastScrollBar(WindowHandle view) const;
    CursorShape LastCursor(WindowHandle view) const;
    // -1 when no cursor was published or the last one was taken away.
    int LastPlayCursor(WindowHandle view) const;
    // The meter values last published; empty after a reset.
    std::vector<int> LastMeterLevels(WindowHandle frame) const;
    // How many meter publications (levels or resets) a frame received.
    int MeterUpdates(WindowHandle frame) const;
    // The spectrum last published to a frame (empty when none) and how many were.
    CSpectrumCurves LastSpectrum(WindowHandle frame) const;
    int SpectrumUpdates(WindowHandle frame) const;
    std::vector<uint32_t> LastTransportButtons(WindowHandle frame) const;
    CListModel LastHistoryList(WindowHandle frame) const;
    // The layout a frame last published; empty when it published none.
    CFrameLayout LastFrameLayout(WindowHandle frame) const;
    // The bar the focus was last sent to; -1 when none was.
    int64_t LastFocusBar(WindowHandle frame) const;
    // The last popup menu shown (empty when none).
    std::vector<CMenuItem> LastPopupMenu() const;
    // Script: the next popup menus answer these ids, in order (0 when nothing is queued).
    void QueueMenuAnswer(uint32_t id);

    // Script: the next boxes answer these values, in order.
    void QueueBoxAnswer(int answer);
    // Script: when a dialog of this name opens, run `action` on the dialog's own thread (posted), for
    // example to press OK or cancel it; an action that does neither keeps the dialog up until it is
    // ended otherwise. `ignoreClose` makes WM_CLOSE be refused.
    void OnDialog(const std::string& name, std::function<void(CModalDialog&)> action,
                  bool ignoreClose = false);
    // When set, everything shown is also printed to stderr (the reference host does this).
    void SetEcho(bool echo);

    std::vector<Shown> History() const;
    std::vector<std::string> Boxes() const;       // texts of the message boxes shown so far
    std::vector<std::string> BoxCaptions() const; // and their titles
    void Clear();

private:
    void Record(const std::string& kind, const std::string& text, WindowHandle window,
                const std::string& caption = {});
    mutable std::mutex m_mutex;
    std::vector<Shown> m_history;
    std::deque<int> m_boxAnswers;
    struct Script {
        std::function<void(CModalDialog&)> action;
        bool ignoreClose = false;
    };
    std::map<std::string, Script> m_scripts;
    bool m_echo = false;
    std::map<WindowHandle, std::map<uint32_t, CCommandState>> m_commandStates;
    std::map<std::pair<WindowHandle, int>, std::string> m_panes;
    std::map<WindowHandle, std::shared_ptr<const CViewImage>> m_images;
    std::map<WindowHandle, CScrollBarState> m_scrollBars;
    std::map<WindowHandle, CursorShape> m_cursors;
    std::vector<CMenuItem> m_lastMenu;
    std::deque<uint32_t> m_menuAnswers;
    std::map<std::string, std::vector<uint8_t>> m_clipboard;
    std::map<WindowHandle, int> m_playCursors;
    std::map<WindowHandle, std::vector<int>> m_meters;
    std::map<WindowHandle, int> m_meterUpdates;
    std::map<WindowHandle, CSpectrumCurves> m_spectra;
    std::map<WindowHandle, int> m_spectrumUpdates;
    std::map<WindowHandle, std::vector<uint32_t>> m_transportButtons;
    std::map<WindowHandle, CListModel> m_historyLists;
    std::map<WindowHandle, uint32_t> m_focusBars;
    std::map<WindowHandle, CFrameLayout> m_layouts;
    std::atomic<bool> m_showsWindows{false};
};

} // namespace tw
