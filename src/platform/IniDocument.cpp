#include "platform/IniDocument.h"

#include "platform/Utf.h"

#include <limits>

namespace tw {

namespace {

std::string_view Trim(std::string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t'))
        ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r'))
        --e;
    return s.substr(b, e - b);
}

} // namespace

void CIniDocument::Parse(std::string_view text) {
    m_lines.clear();
    m_crlf = false;
    std::string current; // lines before any header belong to the unnamed section
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        const bool last = end == std::string_view::npos;
        if (last)
            end = text.size();
        std::string_view raw = text.substr(pos, end - pos);
        if (!raw.empty() && raw.back() == '\r') {
            raw.remove_suffix(1);
            m_crlf = true;
        }
        Line line;
        line.raw = std::string(raw);
        const std::string_view t = Trim(raw);
        if (!t.empty() && t.front() == '[') {
            const size_t close = t.find(']');
            if (close != std::string_view::npos) {
                line.kind = Kind::Section;
                line.name = std::string(Trim(t.substr(1, close - 1)));
                current = line.name;
            }
        } else if (!t.empty() && t.front() != ';' && t.front() != '#') {
            const size_t eq = t.find('=');
            if (eq != std::string_view::npos && eq > 0) {
                const std::string_view key = Trim(t.substr(0, eq));
                if (!key.empty()) {
                    line.kind = Kind::Value;
                    line.name = std::string(key);
                    line.value = DecodeValue(Trim(t.substr(eq + 1)));
                    line.section = current;
                }
            }
        }
        m_lines.push_back(std::move(line));
        pos = last ? text.size() : end + 1;
    }
}

std::string CIniDocument::Serialize() const {
    std::string out;
    const char* eol = m_crlf ? "\r\n" : "\n";
    for (const Line& line : m_lines) {
        out += line.raw;
        out += eol;
    }
    return out;
}

std::optional<std::string> CIniDocument::Get(std::string_view section, std::string_view key) const {
    for (const Line& line : m_lines)
        if (line.kind == Kind::Value && EqualsNoCase(line.section, section) && EqualsNoCase(line.name, key))
            return line.value;
    return std::nullopt;
}

bool CIniDocument::Set(std::string_view section, std::string_view key, std::string_view value) {
    if (!IsStorableName(section, true) || !IsStorableName(key, false))
        return false;
    const std::string encoded = EncodeValue(value);
    for (Line& line : m_lines) {
        if (line.kind == Kind::Value && EqualsNoCase(line.section, section) && EqualsNoCase(line.name, key)) {
            // Keep the key as the file spells it.
            line.raw = line.name + "=" + encoded;
            line.value = std::string(value);
            return true;
        }
    }
    Line added;
    added.kind = Kind::Value;
    added.name = std::string(key);
    added.value = std::string(value);
    added.raw = added.name + "=" + encoded;
    // After the last value line of the first matching section (or right after its header).
    size_t insertAt = m_lines.size();
    bool found = false;
    for (size_t i = 0; i < m_lines.size(); ++i) {
        const Line& line = m_lines[i];
        if (line.kind == Kind::Section) {
            if (found)
                break;
            if (EqualsNoCase(line.name, section)) {
                found = true;
                insertAt = i + 1;
                added.section = line.name;
            }
        } else if (found && line.kind == Kind::Value) {
            insertAt = i + 1;
        }
    }
    if (!found && section.empty()) {
        // The unnamed section is the head of the file, before any header.
        found = true;
        insertAt = 0;
        for (size_t i = 0; i < m_lines.size() && m_lines[i].kind != Kind::Section; ++i)
            if (m_lines[i].kind == Kind::Value)
                insertAt = i + 1;
    }
    if (!found) {
        Line header;
        header.kind = Kind::Section;
        header.name = std::string(section);
        header.raw = "[" + header.name + "]";
        added.section = header.name;
        m_lines.push_back(std::move(header));
        m_lines.push_back(std::move(added));
        return true;
    }
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(insertAt), std::move(added));
    return true;
}

bool CIniDocument::Remove(std::string_view section, std::string_view key) {
    bool removed = false;
    for (size_t i = 0; i < m_lines.size();) {
        const Line& line = m_lines[i];
        if (line.kind == Kind::Value && EqualsNoCase(line.section, section) && EqualsNoCase(line.name, key)) {
            m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(i));
            removed = true;
        } else {
            ++i;
        }
    }
    return removed;
}

bool CIniDocument::IsStorableName(std::string_view name, bool isSection) {
    if (Trim(name).size() != name.size())
        return false;
    if (!isSection && name.empty())
        return false;
    for (char c : name) {
        if (c == '\n' || c == '\r' || c == '\0')
            return false;
        if (isSection && c == ']')
            return false;
        if (!isSection && c == '=')
            return false;
    }
    if (!isSection && (name.front() == ';' || name.front() == '#' || name.front() == '['))
        return false;
    return true;
}

std::optional<int32_t> CIniDocument::ParseInt(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        negative = text[i] == '-';
        ++i;
    }
    uint64_t magnitude = 0;
    size_t digits = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
        const uint64_t d = static_cast<uint64_t>(text[i] - '0');
        if (magnitude > (std::numeric_limits<uint64_t>::max() - d) / 10)
            return std::nullopt;
        magnitude = magnitude * 10 + d;
        ++digits;
        ++i;
    }
    if (digits == 0)
        return std::nullopt;
    const uint64_t bits = negative ? (0 - magnitude) : magnitude;
    return static_cast<int32_t>(static_cast<uint32_t>(bits & 0xFFFFFFFFu));
}

// Values are stored on one line: backslash, CR and LF are escaped, and a value that would lose
// blanks at its ends (or that starts with a quote) is wrapped in double quotes.
std::string CIniDocument::EncodeValue(std::string_view value) {
    std::string out;
    for (char c : value) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if (c == '\0')
            out += "\\0";
        else
            out.push_back(c);
    }
    if (!value.empty() &&
        (Trim(value).size() != value.size() || value.front() == '"' || value.back() == '\r'))
        out = "\"" + out + "\"";
    return out;
}

std::string CIniDocument::DecodeValue(std::string_view stored) {
    if (stored.size() >= 2 && stored.front() == '"' && stored.back() == '"')
        stored = stored.substr(1, stored.size() - 2);
    std::string out;
    out.reserve(stored.size());
    for (size_t i = 0; i < stored.size(); ++i) {
        const char c = stored[i];
        if (c == '\\' && i + 1 < stored.size()) {
            const char n = stored[i + 1];
            if (n == '\\' || n == 'n' || n == 'r' || n == '0') {
                out.push_back(n == '\\' ? '\\' : n == 'n' ? '\n' : n == 'r' ? '\r' : '\0');
                ++i;
                continue;
            }
        }
        // A backslash that starts no known escape is kept, so hand-written paths survive.
        out.push_back(c);
    }
    return out;
}

} // namespace tw
