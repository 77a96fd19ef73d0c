// Qt's keys and modifiers as the document's key messages carry them (virtual keys, kKey* bits).
#pragma once

#include <QtCore/qnamespace.h>

#include <cstdint>

namespace tw {

// 0 for a key the document does not take.
uint32_t VirtualKey(int qtKey);
intptr_t KeyModifiers(Qt::KeyboardModifiers modifiers);

} // namespace tw
