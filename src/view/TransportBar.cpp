#include "view/TransportBar.h"

#include "platform/Presentation.h"

#include <algorithm>

namespace tw {

CTransportBar::CTransportBar() : m_buttons{kRecord, kPlaySection, kPlayAll, kStop, kPlayLooped} {}

bool CTransportBar::Has(uint32_t command) const {
    return std::find(m_buttons.begin(), m_buttons.end(), command) != m_buttons.end();
}

bool CTransportBar::Replace(uint32_t from, uint32_t to) {
    auto it = std::find(m_buttons.begin(), m_buttons.end(), from);
    if (it == m_buttons.end())
        return false;
    *it = to;
    return true;
}

void CTransportBar::SetPlayButtons(bool isAll, bool playing, WindowHandle frame) {
    if (playing)
        Replace(isAll ? kPlayAll : kPlaySection, kPause);
    else
        // The pause button stands in for exactly one play button; which one is told by the other
        // still being there.
        Replace(kPause, Has(kPlayAll) ? kPlaySection : kPlayAll);
    Publish(frame);
}

void CTransportBar::Publish(WindowHandle frame) const {
    if (frame != 0)
        Presentation().TransportButtons(frame, m_buttons);
}

} // namespace tw
