#include "core/TransformChain.h"

#include "core/MediaData.h"
#include "core/Transform.h"

#include <algorithm>

namespace tw {

CTransformBase* CTransformChain::GetAt(int32_t index) const {
    if (index < 0 || index >= GetCount())
        return nullptr;
    return m_items[static_cast<size_t>(index)];
}

bool CTransformChain::Contains(const CTransformBase* transform) const {
    return std::find(m_items.begin(), m_items.end(), transform) != m_items.end();
}

bool CTransformChain::Remove(const CTransformBase* transform) {
    const auto old = m_items.size();
    m_items.erase(std::remove(m_items.begin(), m_items.end(), transform), m_items.end());
    return m_items.size() != old;
}

double CTransformChain::GetTimeRatio() const {
    double ratio = 1.0;
    for (CTransformBase* transform : m_items)
        ratio *= transform->GetTimeRatio();
    return ratio;
}

CMediaData* CTransformChain::Process(CMediaData* block) const {
    for (CTransformBase* transform : m_items) {
        if (block == nullptr)
            return nullptr;
        CMediaData* result = transform->Process(block);
        if (result != block)
            delete block;
        block = result;
    }
    return block;
}

} // namespace tw
