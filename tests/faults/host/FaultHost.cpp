// A document host for the full-disk tests, run as a child process with libtw_diskfull.so preloaded.
//
//   fault_host <point> <folder>   opens <folder>/disk/song.wav, cuts a piece (one stage of history),
//                                 makes the disk full (tw_diskfull_arm) and does what writes at
//                                 <point>: state, project, file, peak or record. It prints
//                                   kept <path> <hash>      a file that must stay as it is
//                                   before <digest> <frames> <stages>   the document before <point>
//                                   box <text>              each message shown, in order
//                                   after <digest> <frames> <stages>    the document after <point>
//                                   stored <digest>         the document as its container last took it
//                                   refused <n>             writes the full disk refused
//                                   held
//                                 and waits to be killed.
//   fault_host recover            recovers the lost container (Crash Guard, first choice) and prints
//                                 "recovered <digest>" or "none".
#include "../../hosts/DocumentHost.h"
#include "audio/DeviceChain.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "host/TKThread.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/Utf.h"
#include "platform/Window.h"
#include "view/ChildView.h"
#include "view/RecordDialog.h"
#include "view/ViewHistory.h"

#include <tidework/tidework.h>

#include <chrono>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

using namespace tw;
using namespace tw::test;

namespace {

uint64_t FileHash(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return in ? Fnv(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()) : 0;
}

// The document as a line, and what its container holds as far as this process knows: the state
// of the last change whose store succeeded.
struct Tracker {
    CChildView& view;
    uint32_t saves = 0;
    uint64_t stored = 0;

    void Note() {
        OnThreadOf(view.GetSafeHandle(), [&] {
            if (view.GetStateSaveCount() != saves) {
                saves = view.GetStateSaveCount();
                stored = Digest(view);
            }
            return 0;
        });
    }
    void Print(const char* label) {
        Note();
        OnThreadOf(view.GetSafeHandle(), [&] {
            std::printf("%s %016" PRIx64 " %" PRId64 " %zu\n", label, Digest(view),
                        view.GetMedia().GetLength(), view.GetUndoList().size());
            return 0;
        });
    }
};

int Run(const std::string& point, const std::string& folder) {
    auto arm = reinterpret_cast<void (*)(int)>(dlsym(RTLD_DEFAULT, "tw_diskfull_arm"));
    auto refused = reinterpret_cast<long long (*)()>(dlsym(RTLD_DEFAULT, "tw_diskfull_refused"));
    if (arm == nullptr || refused == nullptr)
        return 5; // not run with the full disk preloaded

    auto presentation = std::make_shared<CHeadlessPresentation>();
    // The console records until the disk stops it.
    presentation->OnDialog("Record",
                           [](CModalDialog& d) { static_cast<CRecordDialog&>(d).OnRecordButton(); });
    SetPresentation(presentation);
    HostInfo none{0, 0, 0};
    if (tkInitDLL(&none) != 1)
        return 2;
    // A card in memory whose line input plays a tone.
    auto line = std::make_shared<CVirtualDevice>("line");
    line->SetSignal([](int64_t frame, int32_t c) { return 0.25f * std::sin(0.03f * frame + c); });
    CVirtualDeviceMgr card({line}, {std::make_shared<CVirtualDevice>("speakers")});
    CAudioDeviceMgr* devices = DeviceChain();
    SetDeviceChain(&card);
    PutSettingInt("Audio", "InputDevice", 0);
    PutSettingInt("Audio", "OutputDevice", 0);

    const std::string song = folder + "/disk/song.wav";
    if (tkOpenFile(ToUtf16(song).c_str(), nullptr) != 0)
        return 3;
    CChildView* found = FirstDocument().object;
    if (found == nullptr)
        return 4;
    CChildView& view = *found;
    const WindowHandle frame = view.GetFrameHandle();
    auto command = [&](uint32_t id) { CWindow::SendMessage(frame, WM_COMMAND, id); };
    auto select = [&](int64_t start, int64_t end) {
        OnThreadOf(view.GetSafeHandle(), [&] {
            view.SetSelection(CSection(start, end));
            return 0;
        });
    };
    auto save = [&](const std::string& path) {
        return OnThreadOf(view.GetSafeHandle(), [&] { return view.SaveFile(path, nullptr); });
    };

    select(1000, 5000);
    command(CChildView::kCut);
    std::string kept = song;
    if (point == "project") {
        kept = folder + "/disk/song.vtf";
        save(kept);
        select(0, 300);
        command(CChildView::kCut);
    }
    Tracker tracker{view};
    tracker.Print("before");
    std::printf("kept %s %016" PRIx64 "\n", kept.c_str(), FileHash(kept));

    arm(1);
    if (point == "state") {
        // Two changes on the full disk: one message, both kept in the document.
        select(0, 500);
        command(CChildView::kCut);
        select(0, 500);
        command(CChildView::kDelete);
    } else if (point == "project") {
        save(kept);
    } else if (point == "file") {
        save(song);
    } else if (point == "peak") {
        save(folder + "/disk/copy.wav");
    } else if (point == "record") {
        select(2000, 2000);
        command(CChildView::kRecord);
    }
    for (const std::string& box : presentation->Boxes())
        std::printf("box %s\n", box.c_str());
    tracker.Print("after");
    std::printf("stored %016" PRIx64 "\n", tracker.stored);
    std::printf("refused %lld\n", refused());
    std::printf("held\n");
    std::fflush(stdout);
    SetDeviceChain(devices);
    for (;;)
        std::this_thread::sleep_for(std::chrono::seconds(1));
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "recover")
        return RecoverLostDocument(true);
    if (argc == 3)
        return Run(mode, argv[2]);
    std::fprintf(stderr, "usage: fault_host state|project|file|peak|record <folder> | fault_host recover\n");
    return 1;
}
