// The up-mix object: spreads a stream over more channels (or keeps the count) by a fixed matrix.
// Speakers the output has keep their channels; a centre the source lacks gets the front pair's sum;
// when the source has no surround channels at all, the surrounds get the front pair's difference
// (the ambience that stereo carries out of phase), delayed and dulled so that it is heard as room
// and never pulls the front image backwards. The LFE stays silent: every speaker channel still
// carries its full bass, so a derived LFE would only count it twice (and a later down-mix, which
// drops the LFE, gives back what went in).
#pragma once

#include "MapperBase.h"

namespace sr {

class CUpMix : public CMapperBase {
protected:
    HRESULT Build(const MapperFormat& format, Built& built) const override;
};

} // namespace sr
