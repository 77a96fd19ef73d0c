// Runs a modal dialog from a host thread. A dialog runs a nested loop on the caller's message
// loop; a host thread calling a COM method has none, so it gets one for the dialog's duration.
#pragma once

#include "platform/MessageLoop.h"
#include "platform/ModalDialog.h"

#include <memory>

namespace tw {

inline int DoModalOnAnyThread(CModalDialog& dialog, WindowHandle owner = 0) {
    std::unique_ptr<CMessageLoop> ownLoop;
    if (CMessageLoop::Current() == nullptr)
        ownLoop = std::make_unique<CMessageLoop>();
    return dialog.DoModal(owner);
}

} // namespace tw
