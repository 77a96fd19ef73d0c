#include "frame/DirectoriesPage.h"

#include "platform/File.h"
#include "platform/Messages.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "storage/DirectoryManager.h"

namespace tw {

namespace {
constexpr const char* kSection = "Directories";
constexpr const char* kFolderPrompt = "Please select a folder from the tree view below:";
constexpr const char* kMissingFolder =
    "The folder %s does not exist. Are you sure you want to change the folder setting?";

// A folder as typed, with a leading "~" read as the home folder, as a shell would.
std::string TypedFolder(const std::string& text) {
    if (text == "~" || text.rfind("~/", 0) == 0)
        return HomeFolder() + text.substr(1);
    return text;
}

CDialogField Check(const char* key, const char* label, bool checked) {
    return CDialogField{key, label, CDialogField::Kind::Check, checked ? "1" : "0", {}, true};
}
} // namespace

CDirectoriesPage::CDirectoriesPage()
    : m_folders{{{"temporary", "Temporary directory:", 3, {}, {}},
                 {"peakFiles", "Peak file directory:", 2, {}, {}},
                 {"myMusic", "My Music directory:", 4, {}, {}}}},
      m_recreatePeaks(GetSettingInt(kSection, "AlwaysRecreatePeakFiles", 0) != 0),
      m_useMyMusic(GetSettingInt(kSection, "UseMyMusicFolder", 0) != 0) {
    for (Folder& folder : m_folders)
        folder.shown = folder.value = CDirectoryManager().GetFolder(folder.directoryKey);
}

std::vector<CDialogField> CDirectoriesPage::GetFields() const {
    auto text = [](const Folder& folder) {
        CDialogField field{folder.key, folder.label, CDialogField::Kind::Text, folder.value, {}, true};
        field.browseFolder = true;
        field.browsePrompt = kFolderPrompt;
        field.browseButton = "...";
        return field;
    };
    return {text(m_folders[0]), text(m_folders[1]),
            Check("recreatePeaks", "Always recreate peak files", m_recreatePeaks), text(m_folders[2]),
            Check("useMyMusic", "Always start file open dialog in My Music directory", m_useMyMusic)};
}

bool CDirectoriesPage::SetField(const std::string& key, const std::string& value) {
    for (Folder& folder : m_folders)
        if (key == folder.key) {
            folder.value = TypedFolder(value);
            return true;
        }
    if (key == "recreatePeaks")
        m_recreatePeaks = value == "1";
    else if (key == "useMyMusic")
        m_useMyMusic = value == "1";
    else
        return false;
    return true;
}

bool CDirectoriesPage::CanApply(WindowHandle sheet) {
    m_refused.clear();
    for (const Folder& folder : m_folders) {
        if (CFile::IsDirectory(folder.value))
            continue;
        if (ShowMessageBox(Format(kMissingFolder, folder.value.c_str()), MB_YESNO | MB_ICONQUESTION, sheet) !=
            IDYES) {
            m_refused = folder.key;
            return false;
        }
    }
    return true;
}

void CDirectoriesPage::OnOK(WindowHandle) {
    CDirectoryManager directories;
    for (const Folder& folder : m_folders)
        if (folder.value != folder.shown)
            directories.SetDirectory(folder.directoryKey, folder.value);
    PutSettingInt(kSection, "AlwaysRecreatePeakFiles", m_recreatePeaks ? 1 : 0);
    PutSettingInt(kSection, "UseMyMusicFolder", m_useMyMusic ? 1 : 0);
}

} // namespace tw
