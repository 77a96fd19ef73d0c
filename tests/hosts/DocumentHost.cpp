#include "DocumentHost.h"

#include "host/CrashGuardDialog.h"
#include "host/FileThreadList.h"
#include "host/TKThread.h"
#include "platform/Presentation.h"
#include "storage/MemFileIO.h"
#include "storage/RaffParser.h"
#include "view/ChildView.h"
#include "view/ViewHistory.h"

#include <tidework/tidework.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <mutex>
#include <thread>

namespace tw::test {

uint64_t Fnv(const uint8_t* bytes, size_t size) {
    uint64_t hash = 1469598103934665603ull;
    for (size_t i = 0; i < size; ++i) {
        hash ^= bytes[i];
        hash *= 1099511628211ull;
    }
    return hash;
}

uint64_t Digest(CChildView& view) {
    CMemFileIO memory;
    CRaffParser container;
    container.AttachContainer(&memory);
    if (!container.SaveState(view.GetMedia(), &view.GetHistoryArchive(), view.GetViewSection(),
                             view.GetSelection()))
        return 0;
    // From the view and selection on: where the state sits in a container is no part of it.
    return Fnv(memory.GetData() + 18, static_cast<size_t>(memory.GetLength() - 18));
}

Document FirstDocument() {
    Document document;
    CFileThreadList& list = CFileThreadList::Instance();
    std::lock_guard<std::recursive_mutex> lock(list.Lock());
    if (list.Threads().empty())
        return document;
    document.frame = list.Threads().front()->GetFrameHandle();
    document.view = list.Threads().front()->GetViewHandle();
    document.object = dynamic_cast<CChildView*>(CWindow::FromHandle(document.view));
    return document;
}

void Shutdown() {
    tkShutdown();
    while (tkQueryRunStatus() != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

int RecoverLostDocument(bool printBoxes) {
    auto presentation = std::make_shared<CHeadlessPresentation>();
    presentation->OnDialog("CrashGuard", [](CModalDialog& dialog) {
        static_cast<CCrashGuardDialog&>(dialog).m_choice = CCrashGuardDialog::recover;
        dialog.OnOK();
    });
    SetPresentation(presentation);
    HostInfo none{0, 0, 0};
    if (tkInitDLL(&none) != 1)
        return 2;
    if (tkCheckForLostTempFiles() == 0) {
        std::printf("none\n");
    } else if (const Document document = FirstDocument(); document.object == nullptr) {
        std::printf("unopened\n");
    } else {
        CChildView& view = *document.object;
        std::printf("recovered %016" PRIx64 "\n", OnThreadOf(document.view, [&] { return Digest(view); }));
    }
    if (printBoxes)
        for (const std::string& box : presentation->Boxes())
            std::printf("box %s\n", box.c_str());
    std::fflush(stdout);
    Shutdown();
    return 0;
}

} // namespace tw::test
