#include "frame/Accelerators.h"

#include "platform/Messages.h"

#include <iterator>

namespace tw {

namespace {

constexpr uint32_t VK_F1 = 0x70;
constexpr uint32_t VK_F6 = 0x75;
constexpr intptr_t kNone = 0;
constexpr intptr_t kCtrl = kKeyControl;
constexpr intptr_t kShift = kKeyShift;
constexpr intptr_t kAlt = kKeyAlt;

// In the order of the frame's table, shadowed rows included: Shift+S and Ctrl+V stand twice.
constexpr CAccelerator kTable[] = {
    {'A', kCtrl, 57642},          {'A', kShift, 32798},      {'C', kCtrl, 57634},
    {'C', kCtrl | kShift, 32808}, {'I', kShift, 32797},      {'M', kCtrl, 32842},
    {'N', kCtrl, 57600},          {'O', kCtrl, 57601},       {'O', kShift, 32799},
    {'R', kCtrl, 32771},          {'S', kCtrl, 57603},       {'S', kShift, 32800},
    {'S', kShift, 32800},         {'V', kCtrl, 57637},       {'V', kCtrl, 32832},
    {VK_BACK, kAlt, 57643},       {VK_DELETE, kNone, 32794}, {VK_DELETE, kCtrl, 32813},
    {VK_DELETE, kShift, 57635},   {VK_F1, kShift, 57669},    {VK_F6, kNone, 57680},
    {VK_F6, kShift, 57681},       {VK_INSERT, kCtrl, 57634}, {VK_INSERT, kShift, 57637},
    {'X', kCtrl, 57635},          {'Y', kCtrl, 57644},       {'Z', kCtrl, 57643},
};

} // namespace

uint32_t TranslateAccelerator(uint32_t key, intptr_t modifiers) {
    for (const CAccelerator& row : kTable)
        if (row.key == key && row.modifiers == (modifiers & (kKeyShift | kKeyControl | kKeyAlt)))
            return row.command;
    return 0;
}

} // namespace tw
