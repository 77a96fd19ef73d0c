// The surround renderer: folds a stream down to fewer channels (or keeps the count), in one of three
// modes:
// - standard: the ITU-R BS.775 down-mix by speaker positions, LFE dropped;
// - headphone: every speaker of the source is placed round a listener's head and heard through a
//   spherical head model, summed to the two ears;
// - room: the headphone image in a small room, with early reflections and a short diffuse tail.
// The virtual modes need a stereo output; for any other output count they fall back to the standard
// down-mix, since an image for two ears means nothing on other speakers.
#pragma once

#include "MapperBase.h"

namespace sr {

class CSurroundRenderer : public CMapperBase, public ISurroundMode {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    HRESULT GetMode(int32_t* mode) override;
    HRESULT GetModeCount(int32_t* count) override;
    HRESULT SetMode(int32_t mode) override;

protected:
    HRESULT Build(const MapperFormat& format, Built& built) const override;

private:
    HRESULT BuildDownMix(const MapperFormat& format, Built& built) const;
    HRESULT BuildVirtual(const MapperFormat& format, Built& built, bool room) const;

    int32_t m_mode = kSurroundStandard;
};

} // namespace sr
