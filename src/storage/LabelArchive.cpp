#include "storage/LabelArchive.h"

#include "core/LabelList.h"
#include "storage/Archive.h"

#include <memory>

namespace tw {

void SerializeLabels(CArchive& archive, CLabelList& labels) {
    if (archive.IsStoring()) {
        archive.WriteU32(static_cast<uint32_t>(labels.GetCount()));
        for (int32_t i = 0; i < labels.GetCount(); ++i) {
            const CLabelData* label = labels.GetAt(i);
            archive.WriteU32(static_cast<uint32_t>(label->m_type));
            archive.WriteI64(label->m_position);
            archive.WriteString(label->m_secondText);
            archive.WriteString(label->m_firstText);
        }
        return;
    }
    labels.Clear();
    const uint32_t count = archive.ReadU32();
    // The count is not trusted for any allocation: each marker needs its bytes, so a hostile
    // count ends at the archive's end-of-file exception.
    for (uint32_t i = 0; i < count; ++i) {
        auto label = std::make_unique<CLabelData>();
        label->m_type = static_cast<int32_t>(archive.ReadU32());
        label->m_position = archive.ReadI64();
        label->m_secondText = archive.ReadString();
        label->m_firstText = archive.ReadString();
        // A marker at an occupied position replaces the earlier one, which the list only unlinks.
        const int64_t position = label->m_position;
        CLabelData* replaced = nullptr;
        for (int32_t j = 0; j < labels.GetCount(); ++j) {
            if (labels.GetAt(j)->m_position == position) {
                replaced = labels.GetAt(j);
                break;
            }
        }
        labels.Insert(label.release());
        delete replaced;
    }
}

} // namespace tw
