#include "view/SaveTracksDlg.h"

#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"

#include <unistd.h>

#include <climits>

namespace tw {

namespace {

constexpr const char* kSection = "SaveTracks";
constexpr int kMusicDirectory = 4;

std::string CurrentFolder() {
    char buffer[PATH_MAX];
    return getcwd(buffer, sizeof buffer) != nullptr ? std::string(buffer) : std::string(".");
}

// The save list of the format library is "description|patterns|description|patterns...": the
// descriptions fill the box, and the first pattern of the chosen entry gives its extension.
std::vector<std::pair<std::string, std::string>> SaveTypes() {
    std::vector<std::pair<std::string, std::string>> types;
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return types;
    std::vector<std::string> parts;
    const std::string& text = manager->GetSaveFilter();
    size_t start = 0;
    while (start < text.size()) {
        size_t bar = text.find('|', start);
        if (bar == std::string::npos)
            bar = text.size();
        parts.push_back(text.substr(start, bar - start));
        start = bar + 1;
    }
    for (size_t i = 0; i + 1 < parts.size(); i += 2) {
        std::string extension;
        const std::string& pattern = parts[i + 1];
        const size_t dot = pattern.find("*.");
        if (dot != std::string::npos) {
            const size_t end = pattern.find_first_of(";, ", dot + 2);
            extension = pattern.substr(dot + 2, end == std::string::npos ? std::string::npos : end - dot - 2);
            if (extension == "*")
                extension.clear();
        }
        types.emplace_back(parts[i], extension);
    }
    return types;
}

// The box's index to offer first: `stored`, unless no audio writer stands behind it (the editor's
// project entry leads the list, an index the list no longer has); then WAV, else the first that
// writes.
int32_t OfferedFormat(int32_t stored) {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    const auto types = SaveTypes();
    if (manager == nullptr || types.empty())
        return stored;
    const auto writes = [&](size_t index) {
        return manager->PluginOfSavePosition(static_cast<int>(index) + 1) >= 0;
    };
    if (stored >= 0 && static_cast<size_t>(stored) < types.size() && writes(static_cast<size_t>(stored)))
        return stored;
    int32_t first = -1;
    for (size_t i = 0; i < types.size(); ++i) {
        if (!writes(i))
            continue;
        if (AsciiLower(types[i].second) == "wav")
            return static_cast<int32_t>(i);
        if (first < 0)
            first = static_cast<int32_t>(i);
    }
    return first >= 0 ? first : stored;
}

bool IsFileName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

} // namespace

std::string TrackPath(const std::string& directory, const std::string& name) {
    if (!directory.empty() && directory.back() == '/')
        return directory + name;
    return directory + '/' + name;
}

CSaveTracksDlg::CSaveTracksDlg(int32_t trackCount, const WAVEFORMATEX& format)
    : m_trackCount(trackCount), m_format(format) {
    m_directory = CDirectoryManager().GetFolder(kMusicDirectory);
    if (m_directory.empty())
        m_directory = MusicFolder();
    if (GetSettingInt("Directories", "UseMyMusicFolder", 0) == 0)
        m_directory = GetSettingString(kSection, "LastPlaylist", m_directory);
    if (m_directory.empty() || !CFile::IsDirectory(m_directory))
        m_directory = CurrentFolder();
    m_createPlaylist = GetSettingInt(kSection, "CreatePlaylist", 0) != 0 ? 1 : 0;
    m_formatIndex = GetSettingInt(kSection, "LastFormat", 0);
}

CSaveTracksDlg::~CSaveTracksDlg() {
    PutSettingInt(kSection, "CreatePlaylist", m_createPlaylist);
    PutSettingInt(kSection, "LastFormat", m_formatIndex);
    if (GetSettingInt("Directories", "UseMyMusicFolder", 0) == 0)
        PutSettingString(kSection, "LastPlaylist", m_directory);
}

void CSaveTracksDlg::OnInitDialog() {
    m_names.clear();
    for (int32_t i = 1; i <= m_trackCount; ++i)
        m_names.push_back("Track" + std::to_string(i));
    m_playlistName = kDefaultPlaylist;
    m_formats.clear();
    for (const auto& type : SaveTypes())
        m_formats.push_back(type.first);
    SelectFormat(OfferedFormat(m_formatIndex));
}

void CSaveTracksDlg::SelectFormat(int32_t index) {
    const auto types = SaveTypes();
    // A stored index the library no longer has falls back to its first type.
    if (index < 0 || index >= static_cast<int32_t>(types.size()))
        index = 0;
    m_formatIndex = index;
    m_filter.reset();
    m_extension.clear();
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr || types.empty())
        return;
    m_extension = types[static_cast<size_t>(index)].second;
    m_filter.reset(manager->CreateOutputByIndex(index + 1, m_format));
}

CFilteredOutput* CSaveTracksDlg::TakeFilter() {
    return m_filter.release();
}

bool CSaveTracksDlg::RenameTrack(int32_t row, const std::string& name) {
    if (row < 0 || row >= static_cast<int32_t>(m_names.size()))
        return false;
    if (!IsFileName(name)) {
        ShowMessageBox(kIllegalName, MB_ICONWARNING, GetSafeHandle());
        return false;
    }
    for (size_t i = 0; i < m_names.size(); ++i)
        if (static_cast<int32_t>(i) != row && EqualsNoCase(m_names[i], name)) {
            ShowMessageBox(kDuplicateName, MB_ICONWARNING, GetSafeHandle());
            return false;
        }
    m_names[static_cast<size_t>(row)] = name;
    return true;
}

std::string CSaveTracksDlg::GetPlaylistPath() const {
    return m_directory + '/' + m_playlistName;
}

std::vector<CDialogField> CSaveTracksDlg::GetFormFields() const {
    CDialogField tracks;
    tracks.key = "tracks";
    tracks.kind = CDialogField::Kind::Table;
    tracks.columns = {"Track file name"};
    tracks.editable = true;
    for (const std::string& name : m_names)
        tracks.rows.push_back({name});

    CDialogField format{
        "format",  "Format:",         CDialogField::Kind::Choice, std::to_string(m_formatIndex),
        m_formats, !m_formats.empty()};
    format.live = true;
    CDialogField directory{"directory", "Folder:", CDialogField::Kind::Text, m_directory, {}, true};
    directory.browseFolder = true;
    CDialogField playlist{"createPlaylist",
                          "Create a playlist",
                          CDialogField::Kind::Check,
                          m_createPlaylist ? "1" : "0",
                          {},
                          true};
    playlist.live = true;
    CDialogField name{"playlistName",       "Playlist name:", CDialogField::Kind::Text, m_playlistName, {},
                      m_createPlaylist != 0};
    return {tracks, format, directory, playlist, name};
}

void CSaveTracksDlg::SetFormField(const std::string& key, const std::string& value) {
    if (key == "tracks") {
        size_t row = 0;
        std::string text;
        if (CDialogField::ParseTableEdit(value, row, text) && row < m_names.size() && text != m_names[row])
            RenameTrack(static_cast<int32_t>(row), text);
    } else if (key == "format") {
        const int32_t index = std::atoi(value.c_str());
        if (index != m_formatIndex || !m_filter)
            SelectFormat(index);
    } else if (key == "directory") {
        m_directory = value;
    } else if (key == "createPlaylist") {
        m_createPlaylist = value == "1" ? 1 : 0;
    } else if (key == "playlistName") {
        m_playlistName = value;
    }
}

void CSaveTracksDlg::OnOK() {
    m_files.clear();
    // Every track would fail on its own; one word and the folder can still be changed.
    if (!CFile::IsDirectory(m_directory)) {
        ShowMessageBox(Format(kNoFolder, m_directory.c_str()), MB_ICONWARNING, GetSafeHandle());
        m_refused = "directory";
        return;
    }
    m_refused.clear();
    bool exists = false;
    for (const std::string& name : m_names) {
        std::string path = TrackPath(m_directory, name);
        // Only the name decides: a dot in a folder's name is no extension.
        if (name.find('.') == std::string::npos && !m_extension.empty())
            path += "." + m_extension;
        exists = exists || CFile::Exists(path);
        m_files.push_back(path);
    }
    if (m_createPlaylist != 0)
        exists = exists || CFile::Exists(GetPlaylistPath());
    if (exists && ShowMessageBox(kOverwrite, MB_YESNO | MB_ICONQUESTION, GetSafeHandle()) != IDYES) {
        m_files.clear();
        return;
    }
    CModalDialog::OnOK();
}

} // namespace tw
