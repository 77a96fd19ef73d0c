// The host entry's answer to what documents ask of their host (IDocumentHost): notifications go
// over CHostLink, application commands to the document thread list.
#pragma once

#include "view/DocumentHost.h"

namespace tw {

class CHostServices : public IDocumentHost {
public:
    bool IsHosted() override;
    void NotifyOpened(const std::string& path) override;
    void NotifyClosing(const std::string& path) override;
    void NotifySaved(const std::string& path) override;
    void ReportError(const std::string& text, int severity) override;
    void CloseAllDocuments() override;
    void ActivateDocument(int index) override;
    bool OpenDocument(const std::string& path) override;
    // The list is changed under its own lock; the frames hear of it only when it changed.
    void AddRecentFile(const std::string& path) override;
    void RefreshFrameLayouts(WindowHandle except) override;
    void SettingsChanged() override;
    void NewDocument(ITkCloseCallback* callback) override;
};

CHostServices& HostServices();

} // namespace tw
