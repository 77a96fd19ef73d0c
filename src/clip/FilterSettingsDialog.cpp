#include "clip/FilterSettingsDialog.h"

namespace tw {

namespace {

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    const size_t last = text.find_last_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// "*.wav;*.wave" as "*.wav, *.wave".
std::string Listed(const std::string& patterns) {
    std::string listed;
    for (char c : patterns)
        listed += c == ';' ? std::string(", ") : std::string(1, c);
    return listed;
}

} // namespace

std::vector<CDialogField> CFilterSettingsDialog::GetFormFields() const {
    std::vector<std::vector<std::string>> rows;
    auto rowOf = [&rows](const std::string& name) -> std::vector<std::string>& {
        for (auto& row : rows)
            if (row[0] == name)
                return row;
        rows.push_back({name, "", "No", "No"});
        return rows.back();
    };
    for (const std::string& reader : m_readers) {
        const size_t bar = reader.find('|');
        std::vector<std::string>& row = rowOf(Trimmed(reader.substr(0, bar)));
        if (bar != std::string::npos)
            row[1] = Listed(reader.substr(bar + 1));
        row[2] = "Yes";
    }
    for (const std::string& writer : m_writers) {
        // A save entry shows its patterns in its name: "WAV(*.wav;*.wave)".
        const size_t open = writer.rfind('(');
        std::vector<std::string>& row = rowOf(Trimmed(writer.substr(0, open)));
        if (row[1].empty() && open != std::string::npos && writer.back() == ')')
            row[1] = Listed(writer.substr(open + 1, writer.size() - open - 2));
        row[3] = "Yes";
    }
    CDialogField text{
        "",
        "",
        CDialogField::Kind::Label,
        "Audio files are opened and saved through these filters. They have no settings of their own.",
        {},
        true};
    CDialogField table{"formats", "", CDialogField::Kind::Table, "", {}, true};
    table.columns = {"Format", "File types", "Opens", "Saves"};
    table.rows = std::move(rows);
    return {text, table};
}

} // namespace tw
