// The colour set plots and bars draw with: setting "Appearance" of section "View", 0 for the
// default set (green on black), anything else for the platform's colours. The process keeps one
// global value of it, read at start and set again when the options change it; a store that holds
// no value stands for that global value.
//
// Threads: any.
#pragma once

#include <cstdint>

namespace tw {

// The global value; 0 until the start reads the setting.
int32_t GlobalAppearance();
void SetGlobalAppearance(int32_t appearance);
// At start: the stored setting becomes the global value (the value in force when none is stored).
void LoadGlobalAppearance();
// What a painter draws with now: the stored setting, or the global value when none is stored.
int32_t CurrentAppearance();

} // namespace tw
