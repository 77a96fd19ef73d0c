// The parts the tag library's objects share with every component object.
#pragma once

#include "common/ComObject.h"

namespace vmd {

using twc::CRefCount;
using twc::Give;
using twc::Lower;
using twc::ToUtf16;
using twc::ToUtf8;

} // namespace vmd
