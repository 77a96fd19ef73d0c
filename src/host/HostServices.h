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
    void OpenDocument(const std::string& path) override;
    void NewDocument(ITkCloseCallback* callback) override;
};

CHostServices& HostServices();

} // namespace tw
