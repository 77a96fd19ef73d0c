// The user guide: HTML pages in the help directory, "Settings/<language code>" beside the module,
// or "Settings/en-US" when the language has no guide of its own. A page opens in the desktop's
// browser through the presentation.
#pragma once

#include "platform/Window.h"

#include <string>

namespace tw {

namespace help {
constexpr const char* kContents = "index.html";
constexpr const char* kHowTo = "howto.html";
} // namespace help

// The folder that holds one help directory per language, with a trailing '/'.
std::string HelpRoot();
// Tests point the help elsewhere; an empty folder goes back to the one beside the module.
void SetHelpRoot(const std::string& folder);

// The path of `page` ("index.html", "index.html#keys") in the help of `language`, else of en-US;
// empty when neither has it. A "#part" stays on the path.
std::string FindHelpPage(const std::string& page, const std::string& language);
// A file URL of a local path ("file:///a%20b/index.html#keys"); the part behind '#' is kept.
std::string FileUrl(const std::string& path);

// Opens `page` of the present language's help; when there is none, a box says so over `owner`.
// True when the page was handed to the browser.
bool OpenHelpPage(const std::string& page, WindowHandle owner);

} // namespace tw
