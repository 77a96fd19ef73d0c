// PENDING(H): placeholder bodies until the owner of this file fills them in.
#include "view/ChildView.h"

namespace tw {

void CChildView::OnKeyDown(uint32_t key, intptr_t modifiers) {
    // PENDING
}

} // namespace tw
