// Adapters that give the like-named methods of the presets and parameter interfaces names of their
// own, so that one effect object can implement ITransform, ITransformPresets and ITransformParams
// (all three have a GetCount or a GetName) without one override answering for another.
#pragma once

#include <tidework/transform.h>

namespace bt {

struct CPresetsFacet : ITransformPresets {
    HRESULT GetCount(int32_t* count) final { return GetPresetCount(count); }
    HRESULT GetName(int32_t index, BSTR* name) final { return GetPresetName(index, name); }
    HRESULT Select(int32_t index) final { return SelectPreset(index); }

    virtual HRESULT GetPresetCount(int32_t* count) = 0;
    virtual HRESULT GetPresetName(int32_t index, BSTR* name) = 0;
    virtual HRESULT SelectPreset(int32_t index) = 0;
};

struct CParamsFacet : ITransformParams {
    HRESULT GetCount(int32_t* count) final { return GetParamCount(count); }

    virtual HRESULT GetParamCount(int32_t* count) = 0;
};

} // namespace bt
