#include "view/DocumentHost.h"

#include <atomic>

namespace tw {

namespace {
std::atomic<IDocumentHost*> g_host{nullptr};
}

IDocumentHost* DocumentHost() {
    return g_host.load();
}
void SetDocumentHost(IDocumentHost* host) {
    g_host.store(host);
}

} // namespace tw
