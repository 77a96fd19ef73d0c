// What a document asks of the module that hosts it: the notifications to the host application and
// the application-wide commands. The view and the frame sit below the host entry and must not
// include it, so the host entry registers its implementation here when the module loads.
//
// Threads: any; implementations are thread-safe. Without a registered host every call does
// nothing (a view tested on its own).
#pragma once

#include "platform/MessageLoop.h"

#include <string>

struct ITkCloseCallback;

namespace tw {

class IDocumentHost {
public:
    virtual ~IDocumentHost() = default;
    // True once the host application has started the module (tkInitDLL).
    virtual bool IsHosted() = 0;
    // A file was opened in a document (host notification 4).
    virtual void NotifyOpened(const std::string& path) = 0;
    // A document is about to close (host notification 8).
    virtual void NotifyClosing(const std::string& path) = 0;
    // A document was saved (host notification 10, or 1 without the file protocol).
    virtual void NotifySaved(const std::string& path) = 0;
    // An error for the host: severity 0 is a report (notification 3), 1 a failure (notification 5).
    virtual void ReportError(const std::string& text, int severity) = 0;
    // Menu command "Close All Windows": asks every document and closes them when nobody refuses.
    virtual void CloseAllDocuments() = 0;
    // A new document window on a thread of its own with `path` in it (the application's open).
    // False when the file could not be opened (the new window told the person and went).
    virtual bool OpenDocument(const std::string& path) = 0;
    // A new, empty document window that hands `callback` on (command New).
    virtual void NewDocument(ITkCloseCallback* callback) = 0;
    // Menu "Window": brings the document at `index` of the list of open documents to the front.
    virtual void ActivateDocument(int index) {}
    // A document now is the file at `path` (opened, or saved as a project): it goes to the front
    // of the application's recent file list, which every frame's File menu shows.
    virtual void AddRecentFile(const std::string& path) {}
    // What every frame shows in its menus or bars changed: each document's frame but `except`
    // publishes its layout again, on its own thread.
    virtual void RefreshFrameLayouts(WindowHandle except) {}
    // Settings of how documents look changed (the options' View page): every open document's frame
    // gets the settings-changed notice, posted, so each repaints on its own thread.
    virtual void SettingsChanged() {}
};

// The registered host, or null.
IDocumentHost* DocumentHost();
void SetDocumentHost(IDocumentHost* host);

} // namespace tw
