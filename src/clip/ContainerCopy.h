// The clip's media made ready to be stored in a container of its own. A stream whose samples lie
// inside another container (a clip opened from a project that holds recordings) is named in a body
// by its regions' offsets, which mean nothing in another container: such streams are copied into
// the target container and the events are made anew on the copies. Streams of files and generated
// streams are shared as they are.
#pragma once

namespace tw {

class CEditedMedia;
class CRaffParser;

// Fills `out` (empty) with `media`'s events, transforms and markers over streams that `container`
// can name. False when a stream could not be copied.
bool CopyForContainer(const CEditedMedia& media, CRaffParser& container, CEditedMedia& out);

} // namespace tw
