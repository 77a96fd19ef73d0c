// Message identifiers, with the values the system's command and message tables use.
#pragma once

#include <cstdint>

namespace tw {

constexpr uint32_t WM_NULL = 0x0000;
constexpr uint32_t WM_CREATE = 0x0001;
constexpr uint32_t WM_DESTROY = 0x0002;
constexpr uint32_t WM_SIZE = 0x0005; // lParam: MakePoint(width, height) of the client area
constexpr uint32_t WM_SETFOCUS = 0x0007;
constexpr uint32_t WM_KILLFOCUS = 0x0008;
constexpr uint32_t WM_PAINT = 0x000F;
constexpr uint32_t WM_SETTINGCHANGE = 0x001A;
constexpr uint32_t WM_CLOSE = 0x0010;
constexpr uint32_t WM_QUERYENDSESSION = 0x0011;
constexpr uint32_t WM_QUIT = 0x0012;
constexpr uint32_t WM_KEYDOWN = 0x0100; // wParam: virtual key; lParam: kKey* modifier bits
constexpr uint32_t WM_KEYUP = 0x0101;
constexpr uint32_t WM_COMMAND = 0x0111;
constexpr uint32_t WM_TIMER = 0x0113;
// wParam: low word the SB_ code; lParam: the track position (64-bit here, as views are long).
constexpr uint32_t WM_HSCROLL = 0x0114;
// Mouse messages: wParam the MK_ flags, lParam MakePoint(x, y) in client pixels. The wheel has its
// signed delta in wParam's high word.
constexpr uint32_t WM_MOUSEMOVE = 0x0200;
constexpr uint32_t WM_LBUTTONDOWN = 0x0201;
constexpr uint32_t WM_LBUTTONUP = 0x0202;
constexpr uint32_t WM_LBUTTONDBLCLK = 0x0203;
constexpr uint32_t WM_RBUTTONDOWN = 0x0204;
constexpr uint32_t WM_RBUTTONUP = 0x0205;
constexpr uint32_t WM_MOUSEWHEEL = 0x020A;

constexpr uintptr_t MK_LBUTTON = 0x0001;
constexpr uintptr_t MK_RBUTTON = 0x0002;
constexpr uintptr_t MK_SHIFT = 0x0004;
constexpr uintptr_t MK_CONTROL = 0x0008;

// Modifier bits of a key message's lParam (the presentation reads them off the key event).
constexpr intptr_t kKeyShift = 0x1;
constexpr intptr_t kKeyControl = 0x2;
constexpr intptr_t kKeyAlt = 0x4;

constexpr uint32_t VK_BACK = 0x08;
constexpr uint32_t VK_TAB = 0x09;
constexpr uint32_t VK_SHIFT = 0x10;
constexpr uint32_t VK_CONTROL = 0x11;
constexpr uint32_t VK_SPACE = 0x20;
constexpr uint32_t VK_END = 0x23;
constexpr uint32_t VK_HOME = 0x24;
constexpr uint32_t VK_LEFT = 0x25;
constexpr uint32_t VK_RIGHT = 0x27;
constexpr uint32_t VK_INSERT = 0x2D;
constexpr uint32_t VK_DELETE = 0x2E;

constexpr int SB_LINELEFT = 0;
constexpr int SB_LINERIGHT = 1;
constexpr int SB_PAGELEFT = 2;
constexpr int SB_PAGERIGHT = 3;
constexpr int SB_THUMBPOSITION = 4;
constexpr int SB_THUMBTRACK = 5;
constexpr int SB_TOP = 6;
constexpr int SB_BOTTOM = 7;
constexpr int SB_ENDSCROLL = 8;

// Packs and unpacks client coordinates as signed 16-bit halves, as the mouse messages carry them.
constexpr intptr_t MakePoint(int x, int y) {
    return static_cast<intptr_t>((static_cast<uint32_t>(static_cast<uint16_t>(y)) << 16) |
                                 static_cast<uint16_t>(x));
}
constexpr int PointX(intptr_t lParam) {
    return static_cast<int16_t>(lParam & 0xFFFF);
}
constexpr int PointY(intptr_t lParam) {
    return static_cast<int16_t>((lParam >> 16) & 0xFFFF);
}
// Sent to a frame after a message was handled: publish command states, panes and title.
constexpr uint32_t WM_IDLEUPDATECMDUI = 0x0363;
constexpr uint32_t WM_USER = 0x0400;
constexpr uint32_t WM_APP = 0x8000;
// To a view: the dots per inch of the screen it shows on (wParam's low word; 96 is a plain screen).
constexpr uint32_t WM_DPICHANGED = 0x02E0;
// To a frame: move the focus along the frame's ring; wParam is the step (1 to 4).
constexpr uint32_t WM_FOCUSSTEP = WM_APP + 0x3F11;

// Dialog results.
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr int IDABORT = 3;
constexpr int IDRETRY = 4;
constexpr int IDIGNORE = 5;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

// Message box styles.
constexpr uint32_t MB_OK = 0x0;
constexpr uint32_t MB_OKCANCEL = 0x1;
constexpr uint32_t MB_YESNOCANCEL = 0x3;
constexpr uint32_t MB_YESNO = 0x4;
constexpr uint32_t MB_ICONERROR = 0x10;
constexpr uint32_t MB_ICONQUESTION = 0x20;
constexpr uint32_t MB_ICONWARNING = 0x30;
constexpr uint32_t MB_ICONINFORMATION = 0x40;
constexpr uint32_t MB_DEFBUTTON2 = 0x100;

} // namespace tw
