#include "host/TideworkApp.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/DeviceChain.h"
#include "display/Appearance.h"
#include "dsp/MediaMakers.h"
#include "dsp/TransformManager.h"
#include "host/ClipServerHooks.h"
#include "host/HostServices.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"

#include <cstdlib>
#include <string>

namespace tw {

namespace {
constexpr uint32_t kQuitApplication = 0x8000 + 0x101; // WM_APP range, private to this window
constexpr int kPluginLibraryKey = 8;
} // namespace

// A window on the application's thread, so that a document thread can end that thread's loop
// through a handle that stays safe to use after the loop is gone.
class CTideworkApp::CApplicationWindow : public CWindow {
public:
    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override {
        if (message == kQuitApplication) {
            if (CMessageLoop* loop = CMessageLoop::Current())
                loop->Quit(0);
            return 0;
        }
        return CWindow::WindowProc(message, wParam, lParam);
    }
};

CTideworkApp::CTideworkApp()
    : m_instanceLock(kInstanceName), m_anotherInstance(m_instanceLock.AlreadyExisted()),
      m_filterManager(std::make_unique<CFileFilterManager>()) {
    SetDocumentHost(&HostServices());
}

CTideworkApp::~CTideworkApp() {
    SetDocumentHost(nullptr);
    {
        std::lock_guard<std::mutex> lock(m_devicesLock);
        SetDeviceChain(nullptr);
        m_devices.reset();
    }
    LetGoOfApplicationWindow();
}

CAudioDeviceMgr* CTideworkApp::EnsureDevices() {
    std::lock_guard<std::mutex> lock(m_devicesLock);
    // Devices are listed once: a card plugged in later appears at the next start.
    if (!m_devices) {
        m_devices.reset(CreateDeviceChain());
        SetDeviceChain(m_devices.get());
    }
    return m_devices.get();
}

void CTideworkApp::NoteStartVolume() {
    CAudioDeviceMgr* devices = EnsureDevices();
    if (devices != nullptr)
        m_startVolume.Note(OutputDeviceSetting(), *devices, IsAnotherInstance());
}

bool CTideworkApp::RestoreStartVolume() {
    return m_startVolume.Restore();
}

CAudioDeviceMgr* CTideworkApp::GetDevices() const {
    std::lock_guard<std::mutex> lock(m_devicesLock);
    return m_devices.get();
}

void CTideworkApp::LetGoOfApplicationWindow() {
    if (!m_applicationWindow)
        return;
    // A window whose loop has ended is forgotten by it and can go; one still registered on a
    // living loop belongs to that thread, which alone may touch it, so it is left to that loop.
    if (!CWindow::IsWindow(m_applicationWindow->GetSafeHandle()))
        m_applicationWindow.reset();
    else
        (void)m_applicationWindow.release();
}

void CTideworkApp::InitInstance() {
    std::call_once(m_initOnce, [] {
        // Documents opened through the exports load bodies (projects, working containers, the
        // clipboard's) that may hold generated streams and transforms, which only dsp can make.
        RegisterMediaMakers();
        // The COM class factories: the clip server's classes, with the hook through which the
        // server reaches this application object.
        StartClipServer();
        // The colour set every document draws with, until the options change it.
        LoadGlobalAppearance();

        // The further-modules folder joins the process's search path, so helper programs that
        // plug-ins start from beside them are found. Modules themselves are loaded by full path.
        CDirectoryManager directories;
        const std::string folder = directories.GetDirectory(kPluginLibraryKey);
        if (!folder.empty()) {
            const char* old = std::getenv("PATH");
            const std::string value = (old != nullptr ? std::string(old) : std::string()) + ":" + folder;
            setenv("PATH", value.c_str(), 1);
        }
    });
}

void CTideworkApp::StartTransforms() {
    // Managers are asked to refresh, not to search their folders, so this stays short; the list is
    // the one every document's menus read.
    TransformManager().Start();
}

CFileFilterManager* CTideworkApp::EnsureFilterManager() {
    if (!m_filterManager)
        m_filterManager = std::make_unique<CFileFilterManager>();
    return m_filterManager.get();
}

void CTideworkApp::DeleteFilterManager() {
    m_filterManager.reset();
}

void CTideworkApp::SetApplicationThread() {
    CMessageLoop* loop = CMessageLoop::Current();
    if (loop == nullptr)
        return;
    if (m_applicationWindow && CWindow::LoopOf(m_applicationWindow->GetSafeHandle()) == loop)
        return;
    // The newest caller of tkInitDLL is the application thread.
    auto window = std::make_unique<CApplicationWindow>();
    if (window->Create(0) == 0)
        return;
    LetGoOfApplicationWindow();
    m_applicationWindow = std::move(window);
}

void CTideworkApp::QuitApplicationThread() {
    if (m_applicationWindow)
        CWindow::PostMessage(m_applicationWindow->GetSafeHandle(), kQuitApplication);
}

bool CTideworkApp::HasApplicationLoop() const {
    return m_applicationWindow && CWindow::IsWindow(m_applicationWindow->GetSafeHandle());
}

namespace {
// Constructed when the module loads, like the system's application object.
CTideworkApp theApp;
} // namespace

CTideworkApp& App() {
    return theApp;
}

} // namespace tw
