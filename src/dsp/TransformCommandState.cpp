#include "dsp/TransformCommandState.h"

#include "dsp/PluginInfo.h"

#include <tidework/transform.h>

namespace tw {

uint32_t LayoutBitForChannels(int32_t channels) {
    switch (channels) {
    case 1:
        return kLayoutMono;
    case 2:
        return kLayoutStereo;
    case 3:
        return kLayoutLCR;
    case 4:
        return kLayoutQuad;
    case 5:
        return kLayout50;
    case 6:
        return kLayout51;
    case 8:
        return kLayout71;
    default:
        return 0;
    }
}

CommandState TransformCommandState(const CPluginInfo* entry, int32_t channels, bool mediaEmpty,
                                   bool playing) {
    if (entry == nullptr || channels <= 0)
        return CommandState::disabled;
    CommandState state = CommandState::unchanged;
    if (channels != 7)
        state = (entry->m_flags & LayoutBitForChannels(channels)) != 0 ? CommandState::enabled
                                                                       : CommandState::disabled;
    if (mediaEmpty || playing)
        state = CommandState::disabled;
    return state;
}

} // namespace tw
