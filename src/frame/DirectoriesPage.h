// The "Directories" page of the options: the folders of temporary files, peak files and music
// (directory keys 3, 2 and 4), and whether peak files are always made anew and the file dialogs
// always start in the music folder. A folder that does not exist is asked about on OK; a person who
// answers No stays on the page with that folder's field.
#pragma once

#include "frame/OptionsPage.h"

#include <array>

namespace tw {

class CDirectoriesPage : public COptionsPage {
public:
    static constexpr uint32_t kResourceId = 152;

    CDirectoriesPage(); // reads the settings; the folders through the directory manager

    uint32_t GetResourceId() const override { return kResourceId; }
    std::string GetTitle() const override { return "Directories"; }
    std::vector<CDialogField> GetFields() const override;
    // Folders "temporary", "peakFiles", "myMusic" as typed ("~" the home folder); checks
    // "recreatePeaks", "useMyMusic".
    bool SetField(const std::string& key, const std::string& value) override;
    // Asks, folder by folder, about each that does not exist; false at the first No.
    bool CanApply(WindowHandle sheet) override;
    std::string GetFocusField() const override { return m_refused; }
    // Writes the two checks and every folder that was changed: one left as shown keeps following
    // its default.
    void OnOK(WindowHandle frame) override;

private:
    struct Folder {
        const char* key;
        const char* label;
        int directoryKey; // of the directory manager
        std::string shown;
        std::string value;
    };

    std::array<Folder, 3> m_folders;
    bool m_recreatePeaks = false;
    bool m_useMyMusic = false;
    std::string m_refused;
};

} // namespace tw
