// Markers of a document, in document time at absolute positions, sorted by rising position with
// no two at one position. They come from files, pause detection and the user, and divide the
// document into tracks.
#pragma once

#include "core/Object.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CLabelData : public CObject {
public:
    CLabelData() = default;
    CLabelData(int64_t position, int32_t type, std::string first, std::string second)
        : m_firstText(std::move(first)), m_secondText(std::move(second)), m_type(type), m_position(position) {
    }

    std::string m_firstText;  // free text from a marker in a file ("artist")
    std::string m_secondText; // free text from a marker in a file ("title")
    int32_t m_type = 0;       // 0: track split; other values pass through from files
    int64_t m_position = 0;   // document frame
};

class CLabelList : public CObject {
public:
    CLabelList() = default;
    ~CLabelList() override;
    CLabelList(const CLabelList&) = delete;
    CLabelList& operator=(const CLabelList&) = delete;

    // Takes ownership; keeps the order. A marker at an existing position replaces the old one,
    // which is unlinked but not deleted (whoever replaces a marker still holds and deletes it).
    // False only for null.
    bool Insert(CLabelData* label);
    bool Add(int64_t position, int32_t type, const std::string& first, const std::string& second);
    bool Remove(CLabelData* label);         // unlinks, does not delete
    CLabelData* RemoveAt(int32_t position); // unlinks the first at that position; does not delete
    CLabelData* GetAt(int32_t index) const;
    int32_t GetCount() const { return static_cast<int32_t>(m_labels.size()); }
    CLabelData* First();
    CLabelData* Next();
    int64_t LastPosition() const;
    void Clear();

private:
    std::vector<CLabelData*> m_labels;
    size_t m_walk = 0;
};

} // namespace tw
