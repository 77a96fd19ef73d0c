// Where things live on this platform: the XDG folders, the user's music folder, the folder of the
// system's own module, the per-user runtime folder. No other code looks at the environment.
#pragma once

#include <string>

namespace tw {

std::string HomeFolder();
std::string XdgConfigHome(); // $XDG_CONFIG_HOME or ~/.config
std::string XdgDataHome();   // $XDG_DATA_HOME or ~/.local/share
std::string XdgStateHome();  // $XDG_STATE_HOME or ~/.local/state
std::string XdgCacheHome();  // $XDG_CACHE_HOME or ~/.cache
std::string XdgRuntimeDir(); // $XDG_RUNTIME_DIR, else /tmp/tidework-<uid>
std::string MusicFolder();   // XDG music directory, else home
// Folder of the module that contains `address` (default: this library), with a trailing '/'.
std::string ModuleFolder(const void* address = nullptr);
std::string SystemTempFolder(); // "/var/tmp/"
bool HasDisplay();              // a display server the GUI could use

// Path helpers on '/'-separated paths.
std::string FileNameOf(const std::string& path);  // after the last '/'
std::string FolderOf(const std::string& path);    // up to and with the last '/'
std::string ExtensionOf(const std::string& path); // after the last '.' of the file name, or ""
// `path` from the root, without "." or ".." steps and with links resolved as far as the path exists,
// so that it leads to the same file from any working folder. Empty stays empty.
std::string FullPath(const std::string& path);

} // namespace tw
