#include "Catalogue.h"

#include "Effects.h"

#include <tidework/builtin.h>

namespace bt {

namespace {

const CatalogueEntry kEntries[] = {
    {CLSID_BuiltinAmplify, u"Amplify", u"VOLUME\\", kLayoutAll, CreateAmplify},
    {CLSID_BuiltinNormalize, u"Normalize", u"VOLUME\\", kLayoutAll, CreateNormalize},
    {CLSID_BuiltinFadeIn, u"Fade In", u"VOLUME\\", kLayoutAll, CreateFadeIn},
    {CLSID_BuiltinFadeOut, u"Fade Out", u"VOLUME\\", kLayoutAll, CreateFadeOut},
    {CLSID_BuiltinEcho, u"Echo", u"EFFECTS\\", kLayoutAll, CreateEcho},
    {CLSID_BuiltinReverb, u"Reverb", u"EFFECTS\\", kLayoutAll, CreateReverb},
    {CLSID_BuiltinEqualizer, u"Parametric Equalizer", u"EFFECTS\\", kLayoutAll, CreateEqualizer},
    {CLSID_BuiltinCompressor, u"Compressor", u"EFFECTS\\", kLayoutAll, CreateCompressor},
    {CLSID_BuiltinTimeStretch, u"Time Stretch", u"TOOLS\\", kLayoutAll, CreateTimeStretch},
    {CLSID_BuiltinPitchShift, u"Pitch Shift", u"TOOLS\\", kLayoutAll, CreatePitchShift},
    {CLSID_BuiltinDcOffset, u"DC Offset Removal", u"ENHANCEMENT\\", kLayoutAll, CreateDcOffset},
    {CLSID_BuiltinDenoiser, u"Noise Reduction", u"ENHANCEMENT\\", kLayoutAll, CreateDenoiser},
};

} // namespace

std::span<const CatalogueEntry> Catalogue() {
    return kEntries;
}

const CatalogueEntry* FindEntry(const CLSID& classId) {
    for (const auto& entry : kEntries)
        if (entry.classId == classId)
            return &entry;
    return nullptr;
}

} // namespace bt
