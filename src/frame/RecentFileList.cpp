#include "frame/RecentFileList.h"

#include "platform/Settings.h"

#include <algorithm>
#include <filesystem>
#include <mutex>

namespace tw {

namespace {

namespace fs = std::filesystem;

std::mutex g_storeLock;

std::string Key(int index) {
    return "File" + std::to_string(index + 1);
}

// The spelling kept in the list: absolute and without "." or ".." steps, links left as they are,
// so the menu shows the path a person chose.
std::string Normal(const std::string& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(fs::path(path), error);
    if (error)
        return path;
    return absolute.lexically_normal().string();
}

// What two spellings of one file have in common: links resolved as far as the path exists.
fs::path Canonical(const std::string& path) {
    std::error_code error;
    fs::path canonical = fs::weakly_canonical(fs::path(Normal(path)), error);
    return error ? fs::path(Normal(path)) : canonical;
}

} // namespace

CRecentFileList::CRecentFileList(int size) : m_size(std::max(1, size)) {}

bool CRecentFileList::SameFile(const std::string& first, const std::string& second) {
    if (first == second)
        return true;
    return Canonical(first) == Canonical(second);
}

void CRecentFileList::ReadList() {
    m_entries.clear();
    for (int i = 0; i < m_size; ++i) {
        const std::string path = GetSettingString(kSection, Key(i), "");
        if (path.empty())
            continue;
        const bool repeated = std::any_of(m_entries.begin(), m_entries.end(),
                                          [&](const std::string& entry) { return SameFile(entry, path); });
        if (!repeated)
            m_entries.push_back(path);
    }
}

void CRecentFileList::WriteList() const {
    for (int i = 0; i < m_size; ++i) {
        if (static_cast<size_t>(i) < m_entries.size())
            PutSettingString(kSection, Key(i), m_entries[static_cast<size_t>(i)]);
        else if (!GetSettingString(kSection, Key(i), "").empty())
            DeleteSetting(kSection, Key(i));
    }
}

bool CRecentFileList::Add(const std::string& path) {
    if (path.empty())
        return false;
    const std::string entry = Normal(path);
    if (!m_entries.empty() && m_entries.front() == entry)
        return false;
    std::erase_if(m_entries, [&](const std::string& known) { return SameFile(known, entry); });
    m_entries.insert(m_entries.begin(), entry);
    if (m_entries.size() > static_cast<size_t>(m_size))
        m_entries.resize(static_cast<size_t>(m_size));
    return true;
}

bool CRecentFileList::Remove(const std::string& path) {
    return std::erase_if(m_entries, [&](const std::string& known) { return SameFile(known, path); }) != 0;
}

CRecentFileList CRecentFileList::Stored() {
    std::lock_guard<std::mutex> lock(g_storeLock);
    CRecentFileList list;
    list.ReadList();
    return list;
}

bool CRecentFileList::Update(const std::function<bool(CRecentFileList&)>& change) {
    std::lock_guard<std::mutex> lock(g_storeLock);
    CRecentFileList list;
    list.ReadList();
    if (!change(list))
        return false;
    list.WriteList();
    return true;
}

} // namespace tw
