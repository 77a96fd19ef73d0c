// The transport bar's buttons as the frame keeps them: one place shows play section, play all or
// the pause button, which takes the place of the play button that started a playback and gives it
// back when the playback ends. The frame's three saved buttons are the commands kept here; the bar
// itself is shown by the presentation from the list this publishes.
//
// Threads: the document's thread only.
#pragma once

#include "platform/Window.h"

#include <cstdint>
#include <vector>

namespace tw {

class CTransportBar {
public:
    static constexpr uint32_t kRecord = 32771;
    static constexpr uint32_t kPlaySection = 32772;
    static constexpr uint32_t kPlayAll = 32773;
    static constexpr uint32_t kStop = 32774;
    static constexpr uint32_t kPlayLooped = 32818;
    static constexpr uint32_t kPause = 32837;

    // The bar as loaded: the pause button was taken out after its look was saved.
    CTransportBar();

    // Playing: the play button of `isAll` (play all, else play section), when in the bar, becomes
    // the pause button. Not playing: the pause button, when in the bar, becomes play section while
    // the bar still has play all, and play all otherwise. Publishes the bar to `frame` (0: none).
    void SetPlayButtons(bool isAll, bool playing, WindowHandle frame);

    const std::vector<uint32_t>& GetButtons() const { return m_buttons; }
    void Publish(WindowHandle frame) const;

private:
    bool Replace(uint32_t from, uint32_t to);
    bool Has(uint32_t command) const;

    std::vector<uint32_t> m_buttons;
};

} // namespace tw
