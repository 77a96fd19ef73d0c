// Whether a transform's menu command may run on a document: the command needs a document with
// data, no running playback, and a transform that handles the document's channel layout.
// Any thread; pure.
#pragma once

#include <cstdint>

namespace tw {

class CPluginInfo;

enum class CommandState {
    enabled,
    disabled,
    unchanged, // leave the command in the state it has by default
};

// The layout bit (kLayout* of transform.h) that a document of `channels` channels asks of a
// transform. 0 for seven channels, whose bit describes transforms on the settings pages only, and
// for counts outside 1 to 8.
uint32_t LayoutBitForChannels(int32_t channels);

// The state of the command of `entry` (null: no transform behind the id) for a document of
// `channels` channels (0: no document or no format). With seven channels the layout is not looked
// at, so only an empty document or a playback can change the command.
CommandState TransformCommandState(const CPluginInfo* entry, int32_t channels, bool mediaEmpty, bool playing);

} // namespace tw
