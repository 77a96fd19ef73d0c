// A read cursor of a document, freed however the reading ends.
#pragma once

#include "core/EditedMedia.h"

namespace tw {

class CursorHold {
public:
    explicit CursorHold(CEditedMedia& media) : m_media(media), m_cursor(media.MakeCursor()) {}
    ~CursorHold() { m_media.FreeCursor(m_cursor); }
    CursorHold(const CursorHold&) = delete;
    CursorHold& operator=(const CursorHold&) = delete;
    ReadCursor& operator*() { return *m_cursor; }

private:
    CEditedMedia& m_media;
    ReadCursor* m_cursor;
};

} // namespace tw
