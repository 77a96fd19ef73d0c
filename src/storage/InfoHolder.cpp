#include "storage/InfoHolder.h"

#include "storage/FilteredInput.h"
#include "storage/FilteredOutput.h"

namespace tw {

namespace {

int IndexOf(const std::string& name) {
    for (size_t i = 0; i < CInfoHolder::kKeys.size(); ++i)
        if (name == CInfoHolder::kKeys[i])
            return static_cast<int>(i);
    return -1;
}

} // namespace

const std::string& CInfoHolder::Get(const std::string& name) const {
    static const std::string none;
    const int index = IndexOf(name);
    return index < 0 ? none : m_texts[static_cast<size_t>(index)];
}

bool CInfoHolder::Set(const std::string& name, const std::string& value) {
    const int index = IndexOf(name);
    if (index < 0)
        return false;
    m_texts[static_cast<size_t>(index)] = value;
    return true;
}

bool CInfoHolder::IsEmpty() const {
    for (const std::string& text : m_texts)
        if (!text.empty())
            return false;
    return true;
}

void CInfoHolder::ReadFrom(CFilteredInput& input) {
    for (size_t i = 0; i < kKeys.size(); ++i)
        m_texts[i] = input.ReadText(kKeys[i]);
}

void CInfoHolder::WriteTo(CFilteredOutput& output) const {
    for (size_t i = 0; i < kKeys.size(); ++i)
        if (!m_texts[i].empty())
            output.WriteMetadata(kKeys[i], m_texts[i]);
}

} // namespace tw
