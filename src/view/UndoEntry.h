// One stage of a document's edit history: the document as it was before an edit, with the
// selection and visible range of that moment, the caption of the edit that followed and, for an
// effect, the transform it applied. Stages share streams and transforms with the document through
// the object pool, so a stage costs its event list and nothing more.
#pragma once

#include "core/EditedMedia.h"
#include "core/Object.h"
#include "core/Section.h"

#include <string>

namespace tw {

class CTransformPlugin;

class CUndoEntry : public CObject {
public:
    std::string m_caption;
    CEditedMedia m_media;
    CSection m_selection;
    CSection m_visible;
    // Not owned: the document's events and every stage that applied it hold the transform.
    CTransformPlugin* m_transform = nullptr;
};

} // namespace tw
