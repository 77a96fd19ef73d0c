#include "gui/KeyMapping.h"

#include "platform/Messages.h"

namespace tw {

uint32_t VirtualKey(int qtKey) {
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z)
        return static_cast<uint32_t>('A' + (qtKey - Qt::Key_A));
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        return static_cast<uint32_t>('0' + (qtKey - Qt::Key_0));
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F12)
        return static_cast<uint32_t>(0x70 + (qtKey - Qt::Key_F1));
    switch (qtKey) {
    case Qt::Key_Backspace:
        return VK_BACK;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return VK_TAB;
    case Qt::Key_Space:
        return VK_SPACE;
    case Qt::Key_End:
        return VK_END;
    case Qt::Key_Home:
        return VK_HOME;
    case Qt::Key_Left:
        return VK_LEFT;
    case Qt::Key_Right:
        return VK_RIGHT;
    case Qt::Key_Up:
        return 0x26;
    case Qt::Key_Down:
        return 0x28;
    case Qt::Key_PageUp:
        return 0x21;
    case Qt::Key_PageDown:
        return 0x22;
    case Qt::Key_Insert:
        return VK_INSERT;
    case Qt::Key_Delete:
        return VK_DELETE;
    case Qt::Key_Escape:
        return 0x1B;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return 0x0D;
    default:
        return 0;
    }
}

intptr_t KeyModifiers(Qt::KeyboardModifiers modifiers) {
    intptr_t bits = 0;
    if (modifiers & Qt::ShiftModifier)
        bits |= kKeyShift;
    if (modifiers & Qt::ControlModifier)
        bits |= kKeyControl;
    if (modifiers & Qt::AltModifier)
        bits |= kKeyAlt;
    return bits;
}

} // namespace tw
