#include "host/HostServices.h"

#include "host/FileThreadList.h"
#include "host/HostLink.h"
#include "host/TideworkApp.h"
#include "platform/Utf.h"

#include <tidework/tidework.h>

namespace tw {

bool CHostServices::IsHosted() {
    return App().m_hosted.load() != 0;
}
void CHostServices::NotifyOpened(const std::string& path) {
    CHostLink::Instance().SendOpened(path);
}
void CHostServices::NotifyClosing(const std::string& path) {
    CHostLink::Instance().SendClosing(path);
}
void CHostServices::NotifySaved(const std::string& path) {
    CHostLink::Instance().SendSaved(path);
}
void CHostServices::ReportError(const std::string& text, int severity) {
    CHostLink::Instance().ReportError(text, severity);
}
void CHostServices::CloseAllDocuments() {
    CFileThreadList::Instance().CloseAllAsked();
}

void CHostServices::OpenDocument(const std::string& path) {
    const std::u16string wide = ToUtf16(path);
    tkOpenFile(wide.c_str(), nullptr);
}
void CHostServices::NewDocument(ITkCloseCallback* callback) {
    tkNewFile(callback, u"");
}

CHostServices& HostServices() {
    static CHostServices services;
    return services;
}

} // namespace tw
