// The dialog that names the files the tracks of a document go to: one row per track, the file type,
// the folder, and whether a playlist of them is written too. It makes the output filter of the chosen
// type for the document's format and hands it over with TakeFilter. It starts from the stored type,
// folder and playlist choice and stores them when it goes.
#pragma once

#include "platform/ModalDialog.h"

#include <tidework/wavefmt.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tw {

class CFilteredOutput;

class CSaveTracksDlg : public CModalDialog {
public:
    static constexpr const char* kDefaultPlaylist = "MyPlaylist.m3u";
    static constexpr const char* kDuplicateName = "Cannot set file name because duplicate file name exists.";
    static constexpr const char* kIllegalName =
        "Cannot set file name because a file name cannot be empty or contain '/'.";
    static constexpr const char* kNoFolder = "The folder %s does not exist. Please choose another one.";
    static constexpr const char* kOverwrite = "There are already files with the same names in the target "
                                              "folder. Do you want to overwrite the existing files?";

    CSaveTracksDlg(int32_t trackCount, const WAVEFORMATEX& format);
    ~CSaveTracksDlg() override;

    std::string DialogName() const override { return "SaveTracks"; }
    std::string GetWindowText() const override { return "Save Tracks as Files"; }
    void OnInitDialog() override;
    std::vector<CDialogField> GetFormFields() const override;
    // "tracks" takes a renamed row as "<row>\t<name>" (CDialogField::TableEdit); "format" the index
    // of the type; "directory", "createPlaylist" ("0"/"1") and "playlistName" their texts.
    void SetFormField(const std::string& key, const std::string& value) override;
    // Builds the file list; asks before files of those names are overwritten, and stays open on No.
    void OnOK() override;
    std::string GetFocusField() const override { return m_refused; }

    // A row renamed: refused (with the box that says why) when another row has the name, compared
    // without regard to case, or when it is no file name.
    bool RenameTrack(int32_t row, const std::string& name);
    // The type at `index` of the box, with a new filter for it.
    void SelectFormat(int32_t index);
    CFilteredOutput* TakeFilter();

    const std::vector<std::string>& GetTrackNames() const { return m_names; }
    const std::vector<std::string>& GetFileList() const { return m_files; }
    const std::string& GetDirectory() const { return m_directory; }
    void SetDirectory(const std::string& directory) { m_directory = directory; }
    bool GetCreatePlaylist() const { return m_createPlaylist != 0; }
    std::string GetPlaylistPath() const;
    // The extension the chosen type adds to a name that has none ("wav"); empty when unknown.
    const std::string& GetExtension() const { return m_extension; }
    const std::vector<std::string>& GetFormats() const { return m_formats; }

private:
    std::vector<std::string> m_files; // full paths, filled on OK
    std::vector<std::string> m_formats;
    std::vector<std::string> m_names;
    int32_t m_createPlaylist = 0;
    std::string m_directory;
    std::string m_playlistName = kDefaultPlaylist;
    std::unique_ptr<CFilteredOutput> m_filter;
    int32_t m_trackCount;
    int32_t m_formatIndex = 0;
    WAVEFORMATEX m_format;
    std::string m_extension;
    std::string m_refused; // the field a refused OK puts the focus on
};

// `directory` and `name` joined by one '/', however the directory ends.
std::string TrackPath(const std::string& directory, const std::string& name);

} // namespace tw
