// The client window of one document frame: it owns the document's media, its selection and visible
// range, its edit history and its working container, and every command that touches the document
// ends here. Lives on the document's thread; every member is touched only there, except the shared
// CDocumentState (path, closing flag) that host threads read and `m_output`, shared with the play
// thread under `m_gate`.
//
// The class is large because the document's commands all work on the same state; its members are
// defined by concern in ChildView*.cpp (mapping and zoom, painting, mouse, keys, history, edit
// commands, open and save, transforms, command rows).
#pragma once

#include "core/EditedMedia.h"
#include "core/ReadWriteMutex.h"
#include "core/Section.h"
#include "display/Axis.h"
#include "display/Ruler.h"
#include "display/Visualizer.h"
#include "platform/Presentation.h"
#include "platform/Window.h"
#include "storage/InfoHolder.h"
#include "storage/PeakFileManager.h"
#include "storage/RaffParser.h"
#include "view/CommandTable.h"
#include "view/DocumentState.h"
#include "view/TransportBar.h"

#include <tidework/tidework.h>
#include <tidework/transform.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw {

class CAudioOut;
class CFilteredOutput;
class CLabelData;
class CMediaEvent;
class CSpectAnalyzer;
class CStreamOut;
class CTransformPlugin;
class CUndoEntry;
class CViewHistory;
struct PlayRequest;

// Observes the history lists (the edit history bar's model); told after every change of them.
class IHistoryObserver {
public:
    virtual ~IHistoryObserver() = default;
    virtual void HistoryChanged() = 0;
};

class CChildView : public CWindow {
public:
    static constexpr const char* kIdleStatus = "Ready";
    // The view's own message: write the working container's state now (see RequestStateSave).
    static constexpr uint32_t kSaveStateMessage = 0x8000 + 0x51;

    // Command ids the view answers (rows in ChildViewCommands.cpp and the files of each concern).
    enum Command : uint32_t {
        // view, selection and zoom
        kViewAll = 32798,
        kZoomIn = 32797,
        kZoomOut = 32799,
        kZoomSelection = 32800,
        kSelectAll = 57642,
        kWaveDisplay = 32825,
        kSpectrogramDisplay = 32826,
        kWaveletDisplay = 32769,
        kShowChannelSum = 32831,
        kDefineMarkers = 32807,
        kStatistics = 32782,
        // edit
        kUndo = 57643,
        kRedo = 57644,
        kCut = 57635,
        kCopy = 57634,
        kPaste = 57637,
        kPasteShadowed = 32832,
        kDelete = 32813,
        kCrop = 32809,
        kReverse = 32856,
        kCopyToClipboard = 32808,
        kCopyToFile = 32810,
        kInsertTestSignal = 32835,
        kInsertFile = 32811,
        kInsertTrackSplit = 32833,
        kPauseDetection = 32805,
        kConvertSampleFormat = 32829,
        // files
        kNew = 57600,
        kOpen = 57601,
        kSave = 57603,
        kSaveAs = 57604,
        kClose = 57602,
        kSaveTracks = 32806,
        // transforms
        kFirstTransform = 2000,
        kLastTransform = 3000,
        kRemoveEffect = 32789,
        kBypassEffect = 32790,
        kEffectProperties = 32792,
        kFirstPreset = 3000,
        kNoiseAnalysis = 32843,
        // edit history bar
        kGoToStage = 32776,
        kChangeStageSettings = 32775,
        kBypassStage = 32785,
        kDeleteStage = 32795,
        // transport
        kPlaySection = 32772,
        kPlayAll = 32773,
        kPlayLooped = 32818,
        kStop = 32774,
        kPauseButton = 32837,
        kRecord = 32771,
        // the vertical-zoom combo box of the frame
        kVerticalZoomCombo = 1033,
    };

    CChildView();
    // Deletes both history lists, the visualizer, tells the close callback the path (before the
    // media is cleared), clears the media, posts the quit of the thread the view was created on and
    // flushes the clipboard.
    ~CChildView() override;

    // Registers the view on the calling thread (WM_CREATE follows: visualizer, working container);
    // `frame` receives its title, status and command states.
    WindowHandle CreateView(WindowHandle frame);
    WindowHandle GetFrameHandle() const { return m_frame; }

    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

    // ---- commands (ChildViewCommands.cpp) ----
    // Runs the view's row for `id`; false when the view has none (the frame tries its own).
    bool OnCmdMsg(uint32_t id, uint32_t code = 0);
    // Fills the state of `id` from the view's update row; false when it has none.
    bool OnUpdateCmd(CCmdUI& ui);
    const CCommandTable& GetCommandTable() const { return m_commands; }
    // The three predicates of the enable rules.
    bool HasAudio() const { return !m_media.IsEmpty(); }
    bool Idle() const { return !IsPlaying(); }
    bool HasSel() const { return m_selection.SectionLength() > 0; }
    // The application's idle routine: the frame publishes command states, status panes, title.
    void RunIdle();

    // ---- mapping, zoom and scrolling (ChildViewZoom.cpp) ----
    int64_t SampleFromX(int x) const;
    int XFromSample(int64_t sample) const;
    int64_t ZoomLimit() const;
    void ViewAll();
    void ZoomIn();
    void ZoomOut();
    void ZoomSelection();
    void SelectAll();
    void UpdateScrollBar();
    // One WM_HSCROLL: `code` an SB_ code, `trackPosition` the bar's track position.
    void OnHScroll(int code, int64_t trackPosition);
    void EnsureVisible(int64_t sample);
    // Takes the vertical zoom percentage (the frame's combo box 1033) to the visualizer.
    void ApplyVerticalZoom();
    void SetVerticalZoomPercent(int percent) { m_verticalZoomPercent = percent; }
    // Makes a visualizer of `type` (1 wave, 2 spectrogram, 3 wavelet) in place of the present one.
    void SetVisualizerType(int type);

    // ---- painting (ChildViewPaint.cpp) ----
    // Paints ruler, axis and plot into the off-screen image and hands it to the presentation.
    void Paint();
    void Invalidate() { m_paintPending = true; }
    // Paints now when something was invalidated (the end of each message does this).
    void UpdateWindow();
    void OnSize(int width, int height);
    const PixelRect& GetPlot() const { return m_plot; }
    int GetClientWidth() const { return m_clientWidth; }
    int GetClientHeight() const { return m_clientHeight; }

    // ---- mouse and keys (ChildViewMouse.cpp, ChildViewKeys.cpp) ----
    void OnLButtonDown(uintptr_t flags, int x, int y);
    void OnMouseMove(uintptr_t flags, int x, int y);
    void OnLButtonUp(uintptr_t flags, int x, int y);
    void OnRButtonDown(uintptr_t flags, int x, int y);
    void OnRButtonUp(uintptr_t flags, int x, int y);
    void OnLButtonDblClk(uintptr_t flags, int x, int y);
    void OnMouseWheel(int delta);
    void OnKeyDown(uint32_t key, intptr_t modifiers);
    // The cursor shape over (x, y) as the plot shows it now.
    CursorShape CursorAt(int x, int y) const;

    // ---- after every edit (ChildView.cpp) ----
    void DocumentChanged();
    // Writes media, history, view and selection to the working container.
    bool SaveProjectState();
    // Has the state written by the next message of the document's thread: an undo, a redo or a
    // bypass returns at once, and several of them in a row write once.
    void RequestStateSave();
    // How many states the container has taken so far: what a recovery would find changes with it.
    uint32_t GetStateSaveCount() const { return m_stateSaves; }

    // ---- undo and the edit history (ChildViewHistory.cpp) ----
    void PushUndo(const std::string& caption, CTransformPlugin* transform);
    void Step(int count);
    CTransformPlugin* GetStageTransform(int index) const;
    void ReconfigureStage(int index);
    void ToggleStageBypass(int index);
    void DeleteStages(const int* indices, int count);
    void SelectStage(int index);
    void ClearHistory();
    std::list<CUndoEntry*>& GetUndoList() { return m_undoList; }
    std::list<CUndoEntry*>& GetRedoList() { return m_redoList; }
    // The container's view of both lists (groups 5 and 6).
    CViewHistory& GetHistoryArchive();
    void SetHistoryObserver(IHistoryObserver* observer) { m_historyObserver = observer; }
    // Refreshes the bar's model and everything that shows the lists (menu texts).
    void HistoryChanged();

    // ---- edit commands (ChildViewEdit.cpp, ChildViewClipboard.cpp) ----
    void OnEditCut();
    void OnEditCopy();
    void OnEditPaste();
    void OnEditDelete();
    void OnEditCrop();
    void OnEditReverse();
    void OnCopyToClipboard();
    void OnCopyToFile();
    void OnSaveTracks();
    void OnInsertFile();
    void OnInsertTestSignal();
    void OnInsertTrackSplit();
    void OnPauseDetection();
    // Convert Sample Format (ChildViewConvert.cpp): the whole document to the rate, bits and
    // channels of the Convert dialog, under one undo stage.
    void OnConvertSampleFormat();

    // ---- open, save and new (ChildViewOpen.cpp, ChildViewSave.cpp) ----
    bool LoadFile(const std::string& path);
    bool SaveFile(const std::string& path, CFilteredOutput* filter);
    bool SaveAs();
    bool QuerySave();
    bool KeepChanges();
    void Close();
    void OnFileOpen();
    void OnFileSave();
    void OnFileNew();
    void OnDropFiles(const std::vector<std::string>& paths);
    // What a save task leaves its caller to know beyond the result: whether a write failed (rather
    // than the person cancelling), and whether the peak target got every row.
    struct SaveTaskOutcome {
        bool writeFailed = false;
        bool peaksComplete = true;
    };
    // 1 when the section was written, 2 when cancelled or failed.
    int RunSaveTask(CFilteredOutput* filter, IBasicIO* peakTarget, const CSection& section,
                    const std::string& path, SaveTaskOutcome* outcome = nullptr);
    std::string WindowTitle() const;
    void UpdateTitle();

    // ---- transforms (ChildViewTransforms.cpp) ----
    void ChooseTransform(uint32_t id);
    void ApplyTransform(CTransformPlugin* transform);
    // Renders `section` through `transform` into new audio that takes the section's place: the
    // effect is baked in under one undo stage and no tag stands for it. Takes the transform.
    void ApplyOffline(const CSection& section, CTransformPlugin* transform);
    void OnEffectContextMenu(int x, int y);
    void OnRemoveEffect();
    void OnBypassEffect();
    void OnEffectProperties();
    // The view's IHostInterface, handed to the transforms it applies.
    IHostInterface* GetHostInterface();
    // The two answers of IHostInterface.
    float TempoAtSelection();
    float SelectionPeak();

    // ---- noise analysis (ChildViewNoise.cpp) ----
    // Takes the noise profile of the selection and leaves it as the denoiser's "(last)" preset, so
    // that Noise Reduction, chosen next, starts with it.
    void OnNoiseAnalysis();
    // Adds the mean FFT magnitudes of the selection's frames into `out` (channels x bins, zeroed
    // by the caller) and divides by the frame count, each channel counting as a frame. False, after
    // its box, when the selection is too short for one frame.
    bool ComputeNoiseProfile(float* out, int channels, int bins);

    // ---- transport (ChildViewTransport.cpp) ----
    bool IsPlaying() const { return m_output.load() != nullptr; }
    // The document frame the device has reached (loops folded into the play section); any thread
    // while a playback runs.
    int64_t PlayPosition();
    void OnPlaySection();
    void OnPlayAll();
    void OnPauseButton();
    // Plays `section` through `transform` (a preview, may be null) on the output device of the
    // settings; nothing when the media is empty or a playback runs. False when none started.
    bool StartPlayback(CSection section, CTransformPlugin* transform, bool loop);
    // The effect dialog's preview: `section` looped through `transform` (null: the document's
    // own effects only) at the preview's priority, with the channels of `channelMask` sounding.
    bool StartPreview(CSection section, CTransformPlugin* transform, uint32_t channelMask);
    // Stops a running playback and returns when the play thread has let go of the device; then
    // the idle status, reset meters and play buttons are published. Nothing when none runs.
    void StopPlayback();
    // Timer 100: moves the play cursor, feeds the meters, turns the page, sees the end.
    void OnPlayTimer();
    // Tells the frame which play button the transport bar shows and whether it plays.
    void SetPlayButtons(bool isAll, bool playing);
    // The channel enable mask of the running playback (bit c on: channel c sounds); the effect
    // dialog's channel menu writes it while the play thread reads it.
    void SetChannelMask(uint32_t mask);
    uint32_t GetChannelMask() const;

    // ---- the frame's spectrum analyzer (ChildViewTransport.cpp) ----
    // The analyzer of the frame around the view (not owned; null when the frame has none).
    void SetSpectrumAnalyzer(CSpectAnalyzer* analyzer) { m_spectrum = analyzer; }
    // When the analyzer's bar shows and no playback runs, it analyses the media at `s`.
    void ShowSpectrumAt(int64_t s);

    // ---- recording (ChildViewRecord.cpp) ----
    // The Record command: the recording console on a temporary file, then the take inserted (or
    // written over the selection's start) under one undo stage.
    void OnRecord();

    // ---- state ----
    const std::string& GetFileName() const { return m_fileName; }
    // The texts of the audio file the document was loaded from, written again when it is saved.
    const CInfoHolder& GetFileInfo() const { return m_fileInfo; }
    // The document's path; changed only through here, so that host threads see it too.
    void SetFileName(const std::string& path);
    CEditedMedia& GetMedia() { return m_media; }
    const CSection& GetSelection() const { return m_selection; }
    const CSection& GetViewSection() const { return m_viewSection; }
    void SetSelection(const CSection& selection) { m_selection = selection; }
    void SetViewSection(const CSection& view) { m_viewSection = view; }
    CVisualizer* GetVisualizer() const { return m_visualizer; }
    CRaffParser& GetProject() { return m_project; }
    bool IsModified() const { return m_modified != 0; }
    bool IsClosing() const { return m_state->IsClosing(); }
    void SetClosing() { m_state->SetClosing(); }
    std::shared_ptr<CDocumentState> GetState() const { return m_state; }
    void SetCloseCallback(ITkCloseCallback* callback) { m_closeCallback = callback; }
    ITkCloseCallback* GetCloseCallback() const { return m_closeCallback; }
    void SetHostClip(CEditedMedia* clip) { m_hostClip = clip; }
    // Told after Keep Changes copied the document into the host's clip, with the file name and the
    // reload flag: the clip's owner takes it from there.
    using HostClipKept =
        std::function<void(CEditedMedia& clip, const std::string& file, int32_t reloadPending)>;
    // Makes this document an editor of a host's clip: the clip's content to edit, titled `caption`.
    void EditHostClip(CEditedMedia* clip, const std::string& caption, HostClipKept kept);
    bool HasHostClip() const { return m_hostClip != nullptr; }
    void SetStatus(const std::string& text);
    void SetCursor(CursorShape shape);
    bool HasFocus() const { return m_focused; }

    // Members in the order the document's description gives them.
    std::string m_fileName;
    CInfoHolder m_fileInfo;
    int64_t m_dragReference = 0;
    int64_t m_keyAnchor = 0;
    int64_t m_keyActive = 0;
    CEditedMedia m_media;
    CSection m_selection;
    CSection m_viewSection;
    CRuler m_ruler;
    CAxis m_axis;
    int32_t m_looped = 0;
    // Set by the document thread, cleared by the play thread under the exclusive side of m_gate.
    std::atomic<CAudioOut*> m_output{nullptr};
    CVisualizer* m_visualizer = nullptr;
    std::vector<std::string> m_pendingFiles;
    std::mutex m_bridgeLock;
    int32_t m_bridgeInsert = 0;
    CRaffParser m_project;
    CPeakFileManager m_peakFiles;
    CTransformPlugin* m_contextEffect = nullptr;
    CEditedMedia* m_hostClip = nullptr;
    std::string m_hostCaption;
    HostClipKept m_hostClipKept;
    std::list<CUndoEntry*> m_redoList;
    std::list<CUndoEntry*> m_undoList;
    CMediaEvent* m_dragEvent = nullptr;
    CLabelData* m_dragSplit = nullptr;
    ITkCloseCallback* m_closeCallback = nullptr;
    CReadWriteMutex m_gate;
    uint32_t m_tick = 0;
    std::unique_ptr<PlayRequest> m_playRequest;
    uint8_t m_showChannelSum = 0;
    uint8_t m_selecting = 0;
    uint8_t m_dragIsCrossFade = 0;
    uint8_t m_modified = 0;
    PixelRect m_plot;
    double m_pixelRatio = 1.0; // device pixels to the screen's logical ones
    int32_t m_reloadPending = 0;

private:
    // Each concern adds its rows; called once by the constructor.
    void AddViewCommands(CCommandTable& table);
    void AddHistoryCommands(CCommandTable& table);
    void AddEditCommands(CCommandTable& table);
    void AddFileCommands(CCommandTable& table);
    void AddTransformCommands(CCommandTable& table);
    void AddConvertCommands(CCommandTable& table);
    void AddNoiseCommands(CCommandTable& table);
    void AddTransportCommands(CCommandTable& table);
    // The end of a playback as the timer or a stop finds it: idle text, meters, buttons, device.
    void PlaybackEnded();
    // Play Section and Play All: they differ in the section and in the button they turn to pause.
    void PlayCommand(bool isAll);
    // A looped playback starts again on a selection drawn while it plays.
    void RestartLoopOnSelection();
    void OnCreate();
    intptr_t Dispatch(uint32_t message, uintptr_t wParam, intptr_t lParam);

    std::shared_ptr<CDocumentState> m_state;
    WindowHandle m_frame = 0;
    CMessageLoop* m_loop = nullptr;
    CCommandTable m_commands;
    std::unique_ptr<CViewHistory> m_historyArchive;
    IHistoryObserver* m_historyObserver = nullptr;
    std::unique_ptr<IHostInterface, void (*)(IHostInterface*)> m_hostInterface{nullptr, nullptr};
    int m_verticalZoomPercent = 100;
    int m_clientWidth = 0;
    int m_clientHeight = 0;
    bool m_paintPending = false;
    bool m_focused = false;
    bool m_capture = false;
    uint32_t m_stateSaves = 0;
    bool m_statePending = false;
    // The last store of the state failed and the person was told; cleared by the next that works.
    bool m_stateFailed = false;
    std::thread m_playThread;
    CTransportBar m_transportBar;
    CSpectAnalyzer* m_spectrum = nullptr;
};

} // namespace tw
