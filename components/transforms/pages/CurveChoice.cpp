#include "CurveChoice.h"

#include "CompressorCurve.h"
#include "EqualizerCurve.h"
#include "FadeCurve.h"

#include <tidework/builtin.h>

namespace tp {

CResponseCurve* MakeCurve(const CLSID& classId, QWidget* parent) {
    if (classId == CLSID_BuiltinEqualizer)
        return new CEqualizerCurve(parent);
    if (classId == CLSID_BuiltinCompressor)
        return new CCompressorCurve(parent);
    if (classId == CLSID_BuiltinFadeIn)
        return new CFadeCurve(parent, true);
    if (classId == CLSID_BuiltinFadeOut)
        return new CFadeCurve(parent, false);
    return nullptr;
}

int CurveHeight(const CLSID& classId) {
    if (classId == CLSID_BuiltinEqualizer || classId == CLSID_BuiltinCompressor)
        return 200;
    if (classId == CLSID_BuiltinFadeIn || classId == CLSID_BuiltinFadeOut)
        return 150;
    return 0;
}

} // namespace tp
