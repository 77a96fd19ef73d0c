// The parts the format library's objects share with every component object.
#pragma once

#include <tidework/formathost.h>

#include "common/ComObject.h"

namespace fh {

using twc::CRefCount;
using twc::Give;
using twc::Lower;
using twc::ToUtf16;
using twc::ToUtf8;

} // namespace fh
