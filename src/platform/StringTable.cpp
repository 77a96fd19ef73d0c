// The string table: the system's numbered English texts, and next to it the one list of texts
// that name a Windows facility and what they say on this platform instead.
#include "platform/StringTable.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <vector>

namespace tw {

namespace {

struct Entry {
    uint32_t id;
    const char* text;
};

// Sorted by id. The texts are the system's own words, including their quirks ("occured" stays
// where the system spells it so, "file source file" too).
constexpr Entry kTable[] = {
    {128, "Vond Tidewright"},
    {134, "tidework.ini"},
    {141, "An error occurred while reading from the file %s."},
    {142, "An error occurred while trying to open the wave output device."},
    {144, "An error occurred while writing to the file %s."},
    {152, ", %d%% done"},
    {156, "Converting Sample Format"},
    {162, "The audio format of the clipboard does not match the format of the document."},
    {185, "Unable to create peak file. Source disk is probably full or read only (i.e. CD-ROM), or the peak "
          "file directory is invalid."},
    {189, "Record"},
    {190, "Delete"},
    {191, "Crop"},
    {192, "Paste"},
    {193, "File Inserted"},
    {195, "Volume"},
    {196, "Tools"},
    {197, "Enhancement"},
    {198, "Effects"},
    {199, "Pause Detection"},
    {201, "Track Split Moved"},
    {205, "Are you sure you want to delete the selected editing steps from the edit history? This operation "
          "cannot be undone later."},
    {206, "Undo %s\tCtrl+Z"},
    {207, "Redo %s\tCtrl+Y"},
    {209, "Command"},
    {210, "Section"},
    {211, "Cut"},
    {212, "Original"},
    {216, "Cross Fade Time"},
    {217, "Vond Tidewright Files"},
    {218, "A plug-in transform was used in the file source file that is no longer available."},
    {219, "The file does not contain a VST plug-in."},
    {220, "VST Plug-In Files (*.dll)|*.dll|"},
    {221, "Unable to open recording device."},
    {223, "The audio clip has been changed. Do you want to keep the changes? The source file will not be "
          "overwritten."},
    {224, "Splice point move"},
    {226, "Some of the selected editing steps could not be deleted."},
    {230, "The audio file filter manager was not found. Please reinstall Vond."},
    {236, "Denoiser plug-in not found"},
    {243, "The plug-in manager does not support configuration."},
    {244, "An error occurred when creating the plug-in settings window."},
    {248, "The sample rate is not supported."},
    {269, "8 Bit (Telephone)"},
    {270, "16 Bit (CD and DAT)"},
    {271, "24 Bit (HQ Mastering, packed)"},
    {272, "32 Bit (HQ Mastering, unpacked)"},
    {273, "Nothing is selected. Do you want to select all?"},
    {275, "Reversing Audio"},
    {283, "Pause"},
    {285, "The signal processing library could not be loaded. Please reinstall the application."},
    {525, "Plug-Ins"},
    {526, "VST Settings..."},
    {527, "DirectX Settings..."},
    {528, "Name"},
    {529, "Enabled"},
    {530, "Disabled"},
    {531, "State"},
    {532, "Supported Formats"},
    {541, "None"},
    {601, "IIR filter (2nd order)"},
    {602, "FIR filter (3 taps)"},
    {611, "192000 Hz (HQ Mastering)"},
    {612, "96000 Hz (DVD Audio)"},
    {613, "48000 Hz (DAT)"},
    {614, "44100 Hz (CD)"},
    {615, "32000 Hz (DAT Long Play)"},
    {616, "22050 Hz"},
    {617, "11025 Hz"},
    {618, "8000 Hz (Telephone)"},
    {621, "Standard downmix"},
    {622, "Stereo using Vond Hoodphone (Virtual Surround)"},
    {623, "Stereo using Vond Roomcaster (Virtual Surround)"},
    {624, "Fast anti aliasing filter"},
    {625, "Medium anti aliasing filter"},
    {626, "Accurate anti aliasing filter"},
    {700, "The help file %s was not found. Please reinstall Vond Tidewright."},
    {791, "[APPLICATION_NAME_0] is running. Please close [APPLICATION_NAME_0] before you start "
          "[APPLICATION_NAME_1]."},
    {32833, "Insert track split"},
    {57345, "Ready"},
};

constexpr bool IsSortedById() {
    for (size_t i = 1; i < std::size(kTable); ++i)
        if (kTable[i - 1].id >= kTable[i].id)
            return false;
    return true;
}
static_assert(IsSortedById(), "LoadString searches the table by halving: keep it sorted by id");

// Texts naming a Windows facility, with the counterpart this platform uses. A whole-text entry
// replaces a text that equals it; a prefix entry replaces the start of a text (device names).
struct Substitution {
    const char* windows;
    const char* here;
    bool prefix;
};

constexpr Substitution kSubstitutions[] = {
    {"MME: ", "ALSA: ", true},
    {"DirectSound: ", "PulseAudio: ", true},
    {"Copy to Windows Clipboard", "Copy to System Clipboard", false},
    {"The Windows clipboard", "The system clipboard", false},
    {"Windows is going to shut down", "The session is going to end", false},
    {"VST Settings...", "LV2 Settings...", false},
    {"DirectX Settings...", "LADSPA Settings...", false},
    {"VST Plug-Ins", "LV2 Plug-Ins", false},
    {"DirectX Plug-Ins", "LADSPA Plug-Ins", false},
    {"The file does not contain a VST plug-in.", "The file does not contain an LV2 plug-in.", false},
    {"VST Plug-In Files (*.dll)|*.dll|", "LV2 Plug-In Files (*.so)|*.so|", false},
    // A file dialog's entry for every file: "*.*" would pass over names without a dot here.
    {"All Files (*.*)|*.*|", "All Files (*)|*|", false},
};

bool IsConversion(char c) {
    return c == 's' || c == 'd' || c == 'i' || c == 'u' || c == 'x' || c == 'X' || c == 'c' || c == 'S';
}

// Replaces the first printf conversion of `text` with `replacement` and "%%" with "%". The text is
// never handed to printf itself, so a stray conversion in a translated text cannot read the stack.
std::string ReplaceFirstConversion(const std::string& text, const std::string& replacement) {
    std::string out;
    bool replaced = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%' || i + 1 >= text.size()) {
            out.push_back(text[i]);
            continue;
        }
        if (text[i + 1] == '%') {
            out.push_back('%');
            ++i;
            continue;
        }
        size_t j = i + 1;
        while (j < text.size() &&
               std::string_view("-+ #0123456789.lhzjtL").find(text[j]) != std::string_view::npos)
            ++j;
        if (!replaced && j < text.size() && IsConversion(text[j])) {
            out += replacement;
            replaced = true;
            i = j;
        } else {
            out.push_back('%');
        }
    }
    return out;
}

} // namespace

std::string FacilityText(std::string_view windowsText) {
    for (const Substitution& s : kSubstitutions) {
        const std::string_view from(s.windows);
        if (s.prefix ? windowsText.substr(0, from.size()) == from : windowsText == from)
            return std::string(s.here) + std::string(windowsText.substr(from.size()));
    }
    return std::string(windowsText);
}

std::string LoadString(uint32_t id) {
    const auto it = std::lower_bound(std::begin(kTable), std::end(kTable), id,
                                     [](const Entry& e, uint32_t value) { return e.id < value; });
    if (it == std::end(kTable) || it->id != id)
        return std::string();
    return FacilityText(it->text);
}

std::string FormatString(uint32_t id, const std::string& argument) {
    return ReplaceFirstConversion(LoadString(id), argument);
}

std::string FormatString(uint32_t id, int64_t argument) {
    return ReplaceFirstConversion(LoadString(id), std::to_string(argument));
}

std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string out;
    if (needed > 0) {
        out.resize(static_cast<size_t>(needed) + 1);
        std::vsnprintf(out.data(), out.size(), format, args);
        out.resize(static_cast<size_t>(needed));
    }
    va_end(args);
    return out;
}

} // namespace tw
