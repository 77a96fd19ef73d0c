// Makers of the built-in effects, one per effect class; each returns a new object holding one
// reference, or null when memory runs out.
#pragma once

#include <tidework/transform.h>

namespace bt {

ITransform* CreateAmplify();
ITransform* CreateNormalize();
ITransform* CreateFadeIn();
ITransform* CreateFadeOut();
ITransform* CreateEcho();
ITransform* CreateReverb();
ITransform* CreateEqualizer();
ITransform* CreateCompressor();
ITransform* CreateTimeStretch();
ITransform* CreatePitchShift();
ITransform* CreateDcOffset();
ITransform* CreateDenoiser();

} // namespace bt
