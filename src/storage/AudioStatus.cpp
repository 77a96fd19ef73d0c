#include "storage/AudioStatus.h"

#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "platform/Window.h"

#include <tidework/formathost.h>

#include <cstring>

namespace tw {

std::string AudioStatusWord(uint32_t code) {
    switch (code) {
    case 0x80000000u:
        return "Failure";
    case 0x80000001u:
        return "Invalid paramter";
    case 0x80000002u:
        return "Insufficient buffer";
    case 0x80000003u:
        return "Bad path name";
    case 0x80000004u:
        return "File invalid";
    case 0x80000005u:
        return "Call not implemented";
    case 0x80000006u:
        return "End of file";
    case 0x80000007u:
        return "Open failed";
    case 0x80000008u:
        return "Seek failed";
    case 0x80000009u:
        return "Bad format";
    // 0x8000000A-0x8000000F are not assigned and fall to "Unknown".
    case 0x80000010u:
        return "Service not active";
    case 0x80000011u:
        return "Read fault";
    case 0x80000012u:
        return "Write fault";
    case 0x80000013u:
        return "Wrong call";
    case 0x80000014u:
        return "File not found";
    case 0x80000015u:
        return "Aborted";
    case 0x80000016u:
        return "Skip";
    default:
        return "Unknown";
    }
}

std::string AudioStatusMessage(IFormatStatus* status) {
    if (!status)
        return {};
    std::string text = ToUtf8(status->GetText());
    if (!text.empty())
        return text;
    if (status->IsSystemError() && status->GetSystemError() != 0)
        return std::strerror(status->GetSystemError());
    uint32_t code = status->GetCode();
    return Format("An audio error occured: %s (Error Code = 0x%x)", AudioStatusWord(code).c_str(), code);
}

void ShowAudioStatus(IFormatStatus* status, WindowHandle parent) {
    std::string message = AudioStatusMessage(status);
    if (message.empty())
        return;
    // Over a window the box takes that window's title, so a person sees which document failed.
    std::string caption = parent != 0 ? CWindow::GetWindowTitle(CWindow::GetTopLevel(parent)) : std::string();
    if (caption.empty())
        caption = LoadString(128);
    ShowMessageBox(message, 0x30 /*MB_ICONWARNING*/, parent, caption);
}

} // namespace tw
