// An ordered list of transforms, in processing order. The chain holds pointers, not ownership:
// a document's chains point at pooled transforms, a read access's chain at read instances that the
// access deletes. dsp/ builds the plug-in transforms that fill it.
#pragma once

#include "core/Object.h"

#include <cstdint>
#include <vector>

namespace tw {

class CMediaData;
class CTransformBase;

class CTransformChain : public CObject {
public:
    void Add(CTransformBase* transform) { m_items.push_back(transform); }
    int32_t GetCount() const { return static_cast<int32_t>(m_items.size()); }
    CTransformBase* GetAt(int32_t index) const;
    bool Contains(const CTransformBase* transform) const;
    // Takes every occurrence out; true when there was one.
    bool Remove(const CTransformBase* transform);
    void Clear() { m_items.clear(); }

    // Product of the elements' time ratios, from 1.0: the chain's stretch factor.
    double GetTimeRatio() const;
    // Runs `block` through every element, first to last. Takes `block` and gives back the result
    // (the caller deletes it), or null when an element produced nothing.
    CMediaData* Process(CMediaData* block) const;

private:
    std::vector<CTransformBase*> m_items;
};

} // namespace tw
