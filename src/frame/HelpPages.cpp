#include "frame/HelpPages.h"

#include "platform/Messages.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"

#include <filesystem>
#include <mutex>

namespace tw {

namespace {

constexpr uint32_t kHelpMissing = 700;
constexpr const char* kFallbackLanguage = "en-US";

std::mutex g_rootLock;
std::string g_root;

} // namespace

std::string HelpRoot() {
    {
        std::lock_guard<std::mutex> lock(g_rootLock);
        if (!g_root.empty())
            return g_root;
    }
    return ModuleFolder() + "Settings/";
}

void SetHelpRoot(const std::string& folder) {
    std::lock_guard<std::mutex> lock(g_rootLock);
    g_root = folder.empty() || folder.back() == '/' ? folder : folder + "/";
}

std::string FindHelpPage(const std::string& page, const std::string& language) {
    const size_t hash = page.find('#');
    const std::string file = page.substr(0, hash);
    const std::string part = hash == std::string::npos ? std::string() : page.substr(hash);
    const std::string root = HelpRoot();
    for (const std::string& folder : {language, std::string(kFallbackLanguage)}) {
        // A language code names a folder; one that tries to leave the help root is no language.
        if (folder.empty() || folder.find('/') != std::string::npos || folder == "." || folder == "..")
            continue;
        const std::string path = root + folder + "/" + file;
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error))
            return path + part;
    }
    return std::string();
}

std::string FileUrl(const std::string& path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    const size_t hash = path.find('#');
    std::string url = "file://";
    for (char c : path.substr(0, hash)) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= '0' && byte <= '9') || c == '/' || c == '-' || c == '_' || c == '.' ||
                           c == '~';
        if (plain) {
            url += c;
        } else {
            url += '%';
            url += kHex[byte >> 4];
            url += kHex[byte & 0xF];
        }
    }
    if (hash != std::string::npos)
        url += path.substr(hash);
    return url;
}

bool OpenHelpPage(const std::string& page, WindowHandle owner) {
    const std::string language = GetSettingString("General", "Language", kFallbackLanguage);
    const std::string path = FindHelpPage(page, language);
    if (path.empty()) {
        const std::string expected = HelpRoot() + kFallbackLanguage + "/" + page.substr(0, page.find('#'));
        ShowMessageBox(FormatString(kHelpMissing, expected), MB_ICONWARNING, owner);
        return false;
    }
    Presentation().OpenUrl(FileUrl(path));
    return true;
}

} // namespace tw
