// The flat export surface of libtidework.so. A host dlopen()s the library, calls tkInitDLL once,
// then the other exports from any of its threads, and tkShutdown last; it polls tkQueryRunStatus
// until 0 before unloading. Wide strings are zero-terminated UTF-16.
#pragma once

#include <tidework/com.h>

#include <cstdint>

// 12 bytes on the wire.
struct HostInfo {
    uint32_t hostWindow;    // names the host link socket: "tidework-host-<hostWindow>"
    uint32_t hostProcessId; // checked against the peer of the link when protocol is non-zero
    uint32_t protocol;      // 1000: file-related notifications are sent
};
static_assert(sizeof(HostInfo) == 12);

// Told when a document closes; slot 0 receives the document's path.
struct ITkCloseCallback {
    virtual void OnDocumentClosed(const char16_t* path) = 0;
};

TW_EXPORT uint32_t tkGetVersion(void);
TW_EXPORT int32_t tkInitDLL(const HostInfo* info);
TW_EXPORT int32_t tkOpenFile(const char16_t* path, ITkCloseCallback* callback);
TW_EXPORT int32_t tkNewFile(ITkCloseCallback* callback, const char16_t* commandLine);
TW_EXPORT int32_t tkSaveFile(const char16_t* path);
TW_EXPORT int32_t tkCloseFile(const char16_t* path);
TW_EXPORT int32_t tkCheckForLostTempFiles(void);
TW_EXPORT int32_t tkQueryFileOpened(const char16_t* path);
TW_EXPORT int32_t tkQueryRunStatus(void);
TW_EXPORT int32_t tkSelectLanguage(const char16_t* language);
TW_EXPORT int32_t tkSetAutoClose(int32_t value);
TW_EXPORT void tkShutdown(void);

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out);
TW_EXPORT HRESULT DllCanUnloadNow(void);
TW_EXPORT HRESULT DllRegisterServer(void);
TW_EXPORT HRESULT DllUnregisterServer(void);

// Host link notification codes.
enum TkHostCode : uint32_t {
    TK_NOTIFY_TEXT = 1,
    TK_NOTIFY_STARTED = 2,
    TK_NOTIFY_ERROR = 3,
    TK_NOTIFY_OPENED = 4,
    TK_NOTIFY_FATAL = 5,
    TK_NOTIFY_CLOSING = 8,
    TK_NOTIFY_SAVED = 10,
};
