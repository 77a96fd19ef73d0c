// The frame's accelerator table: a key with its modifiers becomes a command id. Rows are looked at
// in table order and the first match wins, so a key listed twice keeps its first command.
#pragma once

#include <cstdint>

namespace tw {

struct CAccelerator {
    uint32_t key;       // virtual key
    intptr_t modifiers; // kKeyShift / kKeyControl / kKeyAlt bits, exactly
    uint32_t command;
};

// The command of `key` with exactly `modifiers`, or 0 when no row has it.
uint32_t TranslateAccelerator(uint32_t key, intptr_t modifiers);

} // namespace tw
