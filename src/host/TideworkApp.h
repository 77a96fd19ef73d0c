// The application object of the module: one per process, constructed when the library loads. It
// owns the instance lock that tells whether another instance runs, the audio file filter manager
// and the module-wide flags the exports set.
//
// Threads: the flags are atomic; the filter manager pointer is changed only under ThreadListLock
// (CFileThreadList::Lock), as the document threads that use it come and go.
#pragma once

#include "audio/WaveVolume.h"
#include "platform/InstanceLock.h"
#include "platform/Window.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace tw {

class CAudioDeviceMgr;
class CFileFilterManager;

class CTideworkApp {
public:
    static constexpr const char* kInstanceName = "{D63FAA8F-B86A-40a7-97F0-8A8A720413A1} = Vond Tidework.DLL";

    CTideworkApp();
    ~CTideworkApp();
    CTideworkApp(const CTideworkApp&) = delete;
    CTideworkApp& operator=(const CTideworkApp&) = delete;

    // The start-up that needs the rest of the module standing: runs once, on the first export call.
    void InitInstance();
    // The last step of a successful start (tkInitDLL, the clip server's InitServer): the list of
    // transforms the menus offer. Safe to repeat; call without ThreadListLock held.
    void StartTransforms();

    // The device manager chain, built on the first call (tkInitDLL, the clip server's InitServer)
    // and installed for the views and the recording console. Thread-safe.
    CAudioDeviceMgr* EnsureDevices();
    CAudioDeviceMgr* GetDevices() const;
    // The start volume: noted by tkInitDLL on the output device of the settings (with the
    // other-instance rule), put back by tkShutdown.
    void NoteStartVolume();
    bool RestoreStartVolume();
    const CWaveVolume& GetStartVolume() const { return m_startVolume; }

    // True when another instance held the instance lock when this one loaded.
    bool IsAnotherInstance() const { return m_anotherInstance; }

    // The filter manager, or null after it was deleted. The caller holds ThreadListLock.
    CFileFilterManager* GetFilterManager() const { return m_filterManager.get(); }
    // The filter manager, made anew when it was deleted. The caller holds ThreadListLock.
    CFileFilterManager* EnsureFilterManager();
    // The caller holds ThreadListLock.
    void DeleteFilterManager();

    // Remembers the calling thread as the application's thread; when it runs a CMessageLoop,
    // AutoClose can end that loop later.
    void SetApplicationThread();
    // Ends the application thread's loop (the WM_QUIT of AutoClose); nothing when it has none.
    void QuitApplicationThread();
    bool HasApplicationLoop() const;

    std::atomic<int32_t> m_hosted{0};      // 1 after tkInitDLL copied the host record
    std::atomic<int32_t> m_initialised{0}; // 1 once tkInitDLL loaded the language resources
    std::atomic<int32_t> m_started{0};     // 1 once tkInitDLL succeeded: documents may open
    std::atomic<int32_t> m_autoClose{0};   // tkSetAutoClose
    std::atomic<int32_t> m_runStatus{-1};  // last run status the clip server asked for; -1 never asked
    std::atomic<int32_t> m_closeAll{0};    // set by the clip server's close of all windows

private:
    class CApplicationWindow;
    void LetGoOfApplicationWindow();

    CInstanceLock m_instanceLock;
    bool m_anotherInstance;
    std::unique_ptr<CFileFilterManager> m_filterManager;
    std::unique_ptr<CApplicationWindow> m_applicationWindow;
    std::once_flag m_initOnce;
    mutable std::mutex m_devicesLock;
    std::unique_ptr<CAudioDeviceMgr> m_devices;
    CWaveVolume m_startVolume;
};

// The one application object.
CTideworkApp& App();

} // namespace tw
