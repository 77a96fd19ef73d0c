// The clip server's and the audio writer's class factories, made creatable by class id.
#pragma once

#include <cstdint>

namespace tw {

// Registers CAudioClipServer and CAudioWriter with the process's class registry, under the
// friendly names "CAudioClipServer Object" and "CAudioWriter Object". Called once when the library
// starts; calling it again changes nothing.
void RegisterServerClasses();

// Live CAudioClipServer and CAudioWriter objects plus the server locks their factories hold: while
// not zero, the library must stay loaded.
int32_t ServerObjectsAndLocks();

} // namespace tw
