// The exported command surface of libtidework.so. Every export first makes sure the module's
// application object has finished its start-up, the counterpart of switching to the module's state.
#include "clip/ModalOnAnyThread.h"
#include "clip/ServerClasses.h"
#include "clip/WaveClip.h"
#include "clip/WaveClipFactory.h"
#include "gui/QtStart.h"
#include "host/CrashGuardDialog.h"
#include "host/FileThreadList.h"
#include "host/HostLink.h"
#include "host/TKThread.h"
#include "host/TideworkApp.h"
#include "host/TideworkModule.h"
#include "platform/ComRegistry.h"
#include "platform/File.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "platform/Window.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"
#include "storage/RaffParser.h"

#include <tidework/tidework.h>

#include <string>
#include <vector>

using namespace tw;

namespace {

constexpr uint32_t kVersion = 100;
constexpr uint32_t kProjectFilesName = 217;     // "Vond Tidewright Files"
constexpr uint32_t kFilterManagerMissing = 230; // "The audio file filter manager was not found..."
constexpr int kFormatLibraryKey = 6;
constexpr uint32_t kRecordCommand = 32771;
constexpr const char* kClassesSection = "Classes";

void EnterModule() {
    App().InitInstance();
}

// The docking library's language resources have no counterpart here; its missing-file text is
// composed and dropped, as it is when the file is missing.
void LoadDockingLanguage() {
    const std::string language = GetSettingString("General", "Language", "en-US");
    const std::string name = "./BCGCBProRes_" + language + ".nls";
    if (!CFile::Exists(name)) {
        const std::string dropped = "Language DLL " + name + " not found";
        (void)dropped;
    }
}

int32_t StartDocument(const std::string& path, ITkCloseCallback* callback, WindowHandle* viewWindow) {
    auto* thread = new CTKThread(path, callback);
    if (!thread->Start()) {
        delete thread;
        return CTKThread::kOpenFailed;
    }
    return thread->WaitReady(viewWindow);
}

} // namespace

TW_EXPORT uint32_t tkGetVersion(void) {
    return kVersion;
}

TW_EXPORT int32_t tkInitDLL(const HostInfo* info) {
    EnterModule();
    CTideworkApp& app = App();
    // The devices are listed before the host's record is taken, so that nothing the host says can
    // change their numbering.
    app.EnsureDevices();
    if (info != nullptr)
        CHostLink::Instance().Set(*info);
    app.m_hosted = 1;
    app.SetApplicationThread();
    app.NoteStartVolume();
    // Windows when there is a display to show them on; otherwise every box and dialog takes its
    // default, as the headless presentation answers them.
    StartWindows();

    LoadDockingLanguage();
    app.m_initialised = 1;

    bool loaded = false;
    {
        std::lock_guard<std::recursive_mutex> lock(CFileThreadList::Instance().Lock());
        CDirectoryManager directories;
        std::string folder;
        if (directories.GetDirectory(kFormatLibraryKey, folder)) {
            CFileFilterManager* manager = app.EnsureFilterManager();
            manager->Initialise();
            loaded = manager->IsLoaded();
        }
    }
    if (!loaded) {
        app.m_started = 0;
        ShowMessageBox(LoadString(kFilterManagerMissing), MB_ICONERROR);
        {
            std::lock_guard<std::recursive_mutex> lock(CFileThreadList::Instance().Lock());
            app.DeleteFilterManager();
        }
        CHostLink::Instance().ReportError(LoadString(kFilterManagerMissing), 0);
        return 0;
    }
    {
        std::lock_guard<std::recursive_mutex> lock(CFileThreadList::Instance().Lock());
        if (CFileFilterManager* manager = app.GetFilterManager())
            manager->SetPreferred("vtf", LoadString(kProjectFilesName));
    }
    app.StartTransforms();
    app.m_started = 1;
    return 1;
}

TW_EXPORT int32_t tkOpenFile(const char16_t* path, ITkCloseCallback* callback) {
    EnterModule();
    // Before a successful start no document can read a file; a host gets the failure at once
    // instead of a thread that could never report ready.
    if (App().m_started.load() == 0)
        return CTKThread::kOpenFailed;
    return StartDocument(ToUtf8(path), callback, nullptr);
}

TW_EXPORT int32_t tkNewFile(ITkCloseCallback* callback, const char16_t* commandLine) {
    EnterModule();
    if (App().m_started.load() == 0)
        return 0;
    WindowHandle view = 0;
    const int32_t result = StartDocument(std::string(), callback, &view);
    if (ToUtf8(commandLine).find("/Dialog:Record") != std::string::npos)
        CWindow::PostMessage(view, WM_COMMAND, kRecordCommand);
    return result;
}

TW_EXPORT int32_t tkSaveFile(const char16_t* path) {
    EnterModule();
    const WindowHandle frame = CFileThreadList::Instance().FindFrameByFirstUnit(path != nullptr ? path : u"");
    if (frame == 0)
        return 1;
    return static_cast<int32_t>(CWindow::SendMessage(frame, WM_QUERYENDSESSION));
}

TW_EXPORT int32_t tkCloseFile(const char16_t* path) {
    EnterModule();
    const WindowHandle frame = CFileThreadList::Instance().FindFrameByFirstUnit(path != nullptr ? path : u"");
    if (frame == 0)
        return 0;
    CWindow::SendMessage(frame, WM_CLOSE);
    return 1;
}

TW_EXPORT int32_t tkCheckForLostTempFiles(void) {
    EnterModule();
    std::vector<std::string> lost;
    CRaffParser::FindLostContainers(lost);
    if (lost.empty())
        return 0;
    CCrashGuardDialog dialog;
    const int answer = DoModalOnAnyThread(dialog);
    // A dialog closed without OK leaves the files where they are: nothing is lost by asking again.
    if (answer != IDOK)
        return 0;
    switch (dialog.m_choice) {
    case CCrashGuardDialog::recover: {
        // Each container is opened in place and goes on as the working container of its document.
        for (const std::string& path : lost) {
            const std::u16string wide = ToUtf16(path);
            tkOpenFile(wide.c_str(), nullptr);
        }
        return 1;
    }
    case CCrashGuardDialog::deleteFiles:
        for (const std::string& path : lost)
            CFile::Remove(path);
        return 0;
    default:
        return 0;
    }
}

TW_EXPORT int32_t tkQueryFileOpened(const char16_t* path) {
    EnterModule();
    return CFileThreadList::Instance().IsFileOpened(ToUtf8(path)) ? 1 : 0;
}

TW_EXPORT int32_t tkQueryRunStatus(void) {
    return CFileThreadList::Instance().AnyRunning() ? 1 : 0;
}

TW_EXPORT int32_t tkSelectLanguage(const char16_t* language) {
    EnterModule();
    PutSettingString("General", "Language", ToUtf8(language));
    CFileThreadList::Instance().PostToAll(CTKThread::kLanguageMessage);
    return 0;
}

TW_EXPORT int32_t tkSetAutoClose(int32_t value) {
    App().m_autoClose = value;
    return value;
}

TW_EXPORT void tkShutdown(void) {
    EnterModule();
    App().RestoreStartVolume();
    CFileThreadList::Instance().CloseAll();
}

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
    EnterModule();
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (clsid == nullptr || iid == nullptr)
        return E_INVALIDARG;
    return GetRegisteredClassObject(*clsid, *iid, out);
}

TW_EXPORT HRESULT DllCanUnloadNow(void) {
    const int32_t live = CTideworkModule::Instance().GetLockCount() + ServerObjectsAndLocks() +
                         CWaveClip::LiveCount() + CWaveClipFactory::Instance().LockCount();
    return live == 0 ? S_OK : S_FALSE;
}

TW_EXPORT HRESULT DllRegisterServer(void) {
    EnterModule();
    for (const RegisteredClass& entry : RegisteredClasses()) {
        char16_t text[40];
        if (StringFromGUID2(entry.clsid, text, 40) == 0)
            return E_FAIL;
        if (!PutSettingString(kClassesSection, ToUtf8(text), entry.friendlyName))
            return E_ACCESSDENIED;
    }
    return S_OK;
}

TW_EXPORT HRESULT DllUnregisterServer(void) {
    EnterModule();
    for (const RegisteredClass& entry : RegisteredClasses()) {
        char16_t text[40];
        if (StringFromGUID2(entry.clsid, text, 40) != 0)
            DeleteSetting(kClassesSection, ToUtf8(text));
    }
    return S_OK;
}
