// The text of the settings file as lines, so that a change touches one value and leaves every
// other byte of the file - comments, garbage, duplicate keys, odd spacing - as it was.
// Not thread-safe; Settings.cpp guards it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tw {

class CIniDocument {
public:
    // Splits `text` into lines ("\n" or "\r\n"); never fails: what is neither a section header nor a
    // key=value pair is kept and ignored.
    void Parse(std::string_view text);
    std::string Serialize() const;

    // Sections and keys compare without ASCII case; the first match in file order wins.
    std::optional<std::string> Get(std::string_view section, std::string_view key) const;
    // Replaces the first matching value or appends the key to the section (made when missing).
    // False when the section or key cannot be stored in an INI line.
    bool Set(std::string_view section, std::string_view key, std::string_view value);
    // Removes every line of this key in the section; true when one was there.
    bool Remove(std::string_view section, std::string_view key);

    static bool IsStorableName(std::string_view name, bool isSection);
    // Lenient integer reading: leading blanks, a sign, decimal digits; anything after the digits is
    // ignored; no digits or more than 64 bits gives nothing. The result wraps to 32 bits, so an
    // unsigned 32-bit value stored by another tool reads back as the same bits.
    static std::optional<int32_t> ParseInt(std::string_view text);

private:
    enum class Kind { Other, Section, Value };
    struct Line {
        Kind kind = Kind::Other;
        std::string raw;     // as in the file, without the line break
        std::string name;    // section name, or key
        std::string value;   // decoded value
        std::string section; // section a value belongs to
    };
    static std::string EncodeValue(std::string_view value);
    static std::string DecodeValue(std::string_view stored);

    std::vector<Line> m_lines;
    bool m_crlf = false;
};

} // namespace tw
