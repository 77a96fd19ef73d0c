// A host for the crash-recovery test, run as a child process.
//
//   recovery_host run <wav> <series> <steps>   opens <wav>, then runs <steps> random edits, effects,
//                                           undos and redos through the frame's commands, printing
//                                           "begin <k>" before and "done <k> <digest>" after each
//                                           ("done -1" for the loaded document). Meant to be
//                                           killed at any moment.
//   recovery_host hold <wav> <series> <steps>  the same, then waits to be killed.
//   recovery_host recover                   recovers what a killed run left behind through
//                                           tkCheckForLostTempFiles and prints "recovered <digest>"
//                                           or "none".
//
#include "../../hosts/DocumentHost.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"
#include "frame/MainFrame.h"
#include "host/TKThread.h"
#include "platform/Messages.h"
#include "platform/ModalDialog.h"
#include "platform/Presentation.h"
#include "platform/Utf.h"
#include "platform/Window.h"
#include "view/ChildView.h"
#include "view/ViewHistory.h"

#include <tidework/tidework.h>

#include <chrono>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

using namespace tw;
using namespace tw::test;

namespace {

void Print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Print(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fflush(stdout);
}

int Run(const std::string& wav, uint32_t series, int steps, bool hold) {
    auto presentation = std::make_shared<CHeadlessPresentation>();
    presentation->OnDialog("Apply", [](CModalDialog& dialog) { dialog.OnOK(); });
    SetPresentation(presentation);
    HostInfo none{0, 0, 0};
    if (tkInitDLL(&none) != 1)
        return 2;
    const std::u16string path = ToUtf16(wav);
    if (tkOpenFile(path.c_str(), nullptr) != 0)
        return 3;
    const Document document = FirstDocument();
    if (document.object == nullptr)
        return 4;
    CChildView& view = *document.object;
    Print("done -1 %016" PRIx64 "\n", OnThreadOf(document.view, [&] { return Digest(view); }));

    // Effects that need no dialog answer beyond OK, taken from the built-in list.
    std::vector<uint32_t> effects;
    for (const CPluginInfo& entry : TransformManager().GetEntries())
        if (entry.m_presetNumber < 0 && effects.size() < 6)
            effects.push_back(static_cast<uint32_t>(entry.m_id));

    std::mt19937 random(series);
    const uint32_t edits[] = {CChildView::kCut,    CChildView::kCopy, CChildView::kPaste,
                              CChildView::kDelete, CChildView::kCrop, CChildView::kInsertTrackSplit,
                              CChildView::kUndo,   CChildView::kUndo, CChildView::kRedo};
    for (int step = 0; step < steps; ++step) {
        const int64_t length = OnThreadOf(document.view, [&] { return view.GetMedia().GetLength(); });
        const int64_t start = length > 0 ? static_cast<int64_t>(random() % static_cast<uint32_t>(length)) : 0;
        const int64_t span =
            length > 0 ? static_cast<int64_t>(random() % static_cast<uint32_t>(length / 4 + 1)) : 0;
        OnThreadOf(document.view, [&] {
            view.SetSelection(CSection(start, std::min(length, start + span)));
            return 0;
        });
        const uint32_t pick = random() % 12;
        const uint32_t savesBefore = OnThreadOf(document.view, [&] { return view.GetStateSaveCount(); });
        if (pick < 9 || effects.empty()) {
            // A document cut down to almost nothing goes back towards the original.
            const uint32_t command = length < 2000 ? CChildView::kUndo : edits[pick % 9];
            Print("begin %d %u\n", step, command);
            CWindow::SendMessage(document.frame, WM_COMMAND, command);
        } else if (pick < 11) {
            const uint32_t command = effects[random() % effects.size()];
            Print("begin %d %u\n", step, command);
            CWindow::SendMessage(document.frame, WM_COMMAND, command);
        } else {
            Print("begin %d bypass\n", step);
            // Bypass of a past effect's stage, as the history bar does it.
            OnThreadOf(document.view, [&] {
                int index = 0;
                for (const CUndoEntry* entry : view.GetUndoList()) {
                    (void)entry;
                    if (view.GetStageTransform(index) != nullptr ||
                        index + 1 == static_cast<int>(view.GetUndoList().size()))
                        break;
                    ++index;
                }
                view.ToggleStageBypass(index);
                return 0;
            });
        }
        // Only a command that stored a state moves what a recovery must find; the others (a copy,
        // an undo with nothing to undo) leave the stored state, selection and all, as it was.
        const auto [saves, digest] =
            OnThreadOf(document.view, [&] { return std::make_pair(view.GetStateSaveCount(), Digest(view)); });
        if (saves != savesBefore)
            Print("done %d %016" PRIx64 "\n", step, digest);
        else
            Print("same %d\n", step);
    }
    if (hold) {
        // Stays up, as a run killed right after its last step would have.
        Print("held\n");
        for (;;)
            std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    Shutdown();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if ((mode == "run" || mode == "hold") && argc == 5)
        return Run(argv[2], static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)), std::atoi(argv[4]),
                   mode == "hold");
    if (mode == "recover")
        return RecoverLostDocument(false);
    std::fprintf(stderr, "usage: recovery_host run <wav> <series> <steps> | recovery_host recover\n");
    return 1;
}
