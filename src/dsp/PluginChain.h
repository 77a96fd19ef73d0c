// What a chain of transforms does as a whole, beyond the core's list: run a block in place through
// every element, reset them, and store or load the chain. These live here rather than in
// CTransformChain because loading makes plug-in instances, which the core cannot know.
//
// A chain's elements are used by one thread at a time, as each element is.
#pragma once

#include <cstdint>

namespace tw {

class CArchive;
class CMediaData;
class CTransformChain;

// Each element from first to last, in place; the block may change its frame count on the way.
void ProcessChainRealTime(const CTransformChain& chain, CMediaData& block);
// As ProcessChainRealTime, through the offline interface of plug-in elements; other elements run
// as in real time.
void ProcessChainOffline(const CTransformChain& chain, CMediaData& block);
void ResetChain(const CTransformChain& chain);
// Product of the elements' time ratios, 1.0 for an empty chain.
double ChainTimeRatio(const CTransformChain& chain);

// Storing: the count, then per element its schema number (CTransformPlugin::kSchema) and its
// record. Loading appends new CTransformPlugin instances, which the caller then owns; an element
// whose class is gone loads as an empty instance. Damaged data throws CArchiveException.
void SerializeChain(CTransformChain& chain, CArchive& ar);

} // namespace tw
