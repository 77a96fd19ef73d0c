// The text metadata that travels with an audio file: taken from the file a document is loaded
// from, offered in the save dialog and written into the file the document is saved to, so that
// saving an edit keeps the title, artist and the rest of what the file said about itself.
#pragma once

#include <array>
#include <string>

namespace tw {

class CFilteredInput;
class CFilteredOutput;

class CInfoHolder {
public:
    // The seven texts, in the order the save dialog shows them, as the format library names them.
    static constexpr std::array<const char*, 7> kKeys = {"title", "artist",      "album",  "genre",
                                                         "date",  "tracknumber", "comment"};

    // Empty for a name that is none of the seven.
    const std::string& Get(const std::string& name) const;
    // False (and nothing kept) for a name that is none of the seven.
    bool Set(const std::string& name, const std::string& value);
    bool IsEmpty() const;
    void Clear() { m_texts = {}; }

    // Takes every text the file at `input` stores; the others become empty.
    void ReadFrom(CFilteredInput& input);
    // Hands every text that is not empty to `output`, before its file is written.
    void WriteTo(CFilteredOutput& output) const;

private:
    std::array<std::string, kKeys.size()> m_texts{};
};

} // namespace tw
