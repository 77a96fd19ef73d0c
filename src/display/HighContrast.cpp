#include "display/HighContrast.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>

namespace tw {
namespace {

constexpr auto kKeep = std::chrono::seconds(2);
constexpr int kBusTimeoutMs = 200; // a portal that does not answer at once is taken as "no"

struct Kept {
    std::mutex mutex;
    std::optional<bool> value;
    std::chrono::steady_clock::time_point at;
};

Kept& Cache() {
    static Kept* kept = new Kept;
    return *kept;
}

bool SessionBusReachable() {
    if (QCoreApplication::instance() == nullptr)
        return false; // the bus connection needs the application's event machinery
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address != nullptr && *address != 0)
        return true;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    return runtime != nullptr && std::filesystem::exists(std::filesystem::path(runtime) / "bus", error);
}

// The portal wraps its answer in one or two variants, depending on its version.
std::optional<QVariant> ReadPortal(const QString& space, const QString& key) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"), QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    call << space << key;
    const QDBusMessage answer = QDBusConnection::sessionBus().call(call, QDBus::Block, kBusTimeoutMs);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty())
        return std::nullopt;
    QVariant value = answer.arguments().constFirst();
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

std::optional<bool> AskPortal() {
    if (!SessionBusReachable() || !QDBusConnection::sessionBus().isConnected())
        return std::nullopt;
    // 0: no preference, 1: higher contrast.
    if (const auto contrast =
            ReadPortal(QStringLiteral("org.freedesktop.appearance"), QStringLiteral("contrast")))
        return contrast->toUInt() == 1;
    if (const auto gnome =
            ReadPortal(QStringLiteral("org.gnome.desktop.a11y.interface"), QStringLiteral("high-contrast")))
        return gnome->toBool();
    return std::nullopt;
}

bool ThemeIsHighContrast() {
    const char* theme = std::getenv("GTK_THEME");
    return theme != nullptr && std::strstr(theme, "HighContrast") != nullptr;
}

} // namespace

bool DesktopHighContrast() {
    Kept& kept = Cache();
    {
        std::lock_guard<std::mutex> lock(kept.mutex);
        if (kept.value && std::chrono::steady_clock::now() - kept.at < kKeep)
            return *kept.value;
    }
    // Asked outside the lock: the bus may take its time, and other threads keep the old answer.
    const bool answer = AskPortal().value_or(false) || ThemeIsHighContrast();
    std::lock_guard<std::mutex> lock(kept.mutex);
    kept.value = answer;
    kept.at = std::chrono::steady_clock::now();
    return answer;
}

void ForgetDesktopHighContrast() {
    Kept& kept = Cache();
    std::lock_guard<std::mutex> lock(kept.mutex);
    kept.value.reset();
}

} // namespace tw
