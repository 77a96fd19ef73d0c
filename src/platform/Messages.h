// Message identifiers, with the values the system's command and message tables use.
#pragma once

#include <cstdint>

namespace tw {

constexpr uint32_t WM_DESTROY = 0x0002;
constexpr uint32_t WM_CLOSE = 0x0010;
constexpr uint32_t WM_QUERYENDSESSION = 0x0011;
constexpr uint32_t WM_QUIT = 0x0012;
constexpr uint32_t WM_COMMAND = 0x0111;
constexpr uint32_t WM_TIMER = 0x0113;
constexpr uint32_t WM_USER = 0x0400;
constexpr uint32_t WM_APP = 0x8000;

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
