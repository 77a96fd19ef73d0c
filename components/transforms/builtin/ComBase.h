// The module's share of what all component objects have in common, counted against its own live
// objects so that DllCanUnloadNow answers for this module alone.
#pragma once

#include "common/ComObject.h"

namespace bt {

inline twc::ModuleCount g_liveObjects{0};

using CRefCount = twc::CModuleObject<g_liveObjects>;
using twc::ComPtr;
using twc::Give;
using twc::MakeBstr;

} // namespace bt
