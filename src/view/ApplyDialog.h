// The effect dialog as the document thread sees it: a transform to apply (or, in re-configure mode,
// one already in the document whose settings are changed in place), ended with OK or Cancel. The
// widgets come from the presentation; the settings live in the transform instance itself, which is
// why a change made here holds across the whole history.
#pragma once

#include "platform/ModalDialog.h"

#include <string>
#include <vector>

namespace tw {

class CTransformPlugin;

class CApplyDialog : public CModalDialog {
public:
    enum Mode { applyMode = 0, reconfigureMode = 1 };

    CApplyDialog(CTransformPlugin* transform, Mode mode) : m_transform(transform), m_mode(mode) {}

    std::string DialogName() const override { return "Apply"; }
    std::string GetWindowText() const override;
    // The header: "Effects" and the transform's name. The transform's own page, the preview and
    // the presets are not part of the dialog yet, so OK and Cancel follow the header directly.
    std::vector<CDialogField> GetFormFields() const override;

    CTransformPlugin* GetTransform() const { return m_transform; }
    Mode GetMode() const { return m_mode; }

private:
    CTransformPlugin* m_transform;
    Mode m_mode;
};

} // namespace tw
