#include "core/LabelList.h"

namespace tw {

CLabelList::~CLabelList() {
    Clear();
}

bool CLabelList::Insert(CLabelData* label) {
    if (label == nullptr)
        return false;
    for (auto it = m_labels.begin(); it != m_labels.end(); ++it) {
        if ((*it)->m_position == label->m_position) {
            // The newcomer takes the old marker's place; the old one is only unlinked, because a
            // caller replacing a dragged marker still holds it and deletes it itself.
            *it = label;
            return true;
        }
        if ((*it)->m_position > label->m_position) {
            m_labels.insert(it, label);
            return true;
        }
    }
    m_labels.push_back(label);
    return true;
}

bool CLabelList::Add(int64_t position, int32_t type, const std::string& first, const std::string& second) {
    auto* label = new CLabelData(position, type, first, second);
    // Unlike Insert's caller, nobody holds a marker this replaces: it is the list's to delete.
    for (CLabelData*& slot : m_labels) {
        if (slot->m_position == position) {
            delete slot;
            slot = label;
            return true;
        }
    }
    return Insert(label);
}

bool CLabelList::Remove(CLabelData* label) {
    for (auto it = m_labels.begin(); it != m_labels.end(); ++it) {
        if (*it == label) {
            m_labels.erase(it);
            return true;
        }
    }
    return false;
}

CLabelData* CLabelList::RemoveAt(int32_t position) {
    const int64_t wanted = position; // sign-extended, as callers pass 32-bit positions
    for (auto it = m_labels.begin(); it != m_labels.end(); ++it) {
        if ((*it)->m_position == wanted) {
            CLabelData* label = *it;
            m_labels.erase(it);
            return label;
        }
    }
    return nullptr;
}

CLabelData* CLabelList::GetAt(int32_t index) const {
    if (index < 0 || index >= GetCount())
        return nullptr;
    return m_labels[static_cast<size_t>(index)];
}

CLabelData* CLabelList::First() {
    m_walk = 0;
    return Next();
}

CLabelData* CLabelList::Next() {
    if (m_walk >= m_labels.size())
        return nullptr;
    return m_labels[m_walk++];
}

int64_t CLabelList::LastPosition() const {
    return m_labels.empty() ? 0 : m_labels.back()->m_position;
}

void CLabelList::Clear() {
    for (CLabelData* label : m_labels)
        delete label;
    m_labels.clear();
    m_walk = 0;
}

} // namespace tw
