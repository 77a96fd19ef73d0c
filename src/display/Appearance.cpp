#include "display/Appearance.h"

#include "platform/Settings.h"

#include <atomic>

namespace tw {

namespace {
constexpr const char* kSection = "View";
constexpr const char* kKey = "Appearance";

std::atomic<int32_t> g_appearance{0};
} // namespace

int32_t GlobalAppearance() {
    return g_appearance.load();
}

void SetGlobalAppearance(int32_t appearance) {
    g_appearance.store(appearance);
}

void LoadGlobalAppearance() {
    SetGlobalAppearance(CurrentAppearance());
}

int32_t CurrentAppearance() {
    return GetSettingInt(kSection, kKey, GlobalAppearance());
}

} // namespace tw
