// Which toolbar buttons a person took off their bars (Customize), kept with the window layout in
// section `Workspace` under `HiddenButtons<toolbar id>` as a comma-separated list of commands, and
// applied to the toolbars of every frame.
#pragma once

#include "platform/Presentation.h"

#include <cstdint>
#include <vector>

namespace tw {

// The commands hidden on `toolbar`; unknown or malformed items of the stored text are skipped.
std::vector<uint32_t> ReadHiddenButtons(uint32_t toolbar);
// Stores the hidden commands of `toolbar`; an empty list removes the key.
void WriteHiddenButtons(uint32_t toolbar, const std::vector<uint32_t>& hidden);

// Takes the stored hidden buttons off `toolbars` and notes them in each model's `hidden`. Separators
// that would then stand at an end or next to another go too.
void ApplyHiddenButtons(std::vector<CToolbarModel>& toolbars);
// Takes `hidden` off one toolbar, separators as above.
void RemoveButtons(CToolbarModel& toolbar, const std::vector<uint32_t>& hidden);

} // namespace tw
