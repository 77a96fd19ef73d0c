// Which response curve a page shows for an object, by the class id the object was made by (IPersist):
// only a class whose parameters the curve knows gets one.
#pragma once

#include <tidework/com.h>

class QWidget;

namespace tp {

class CResponseCurve;

// A new curve for objects of `classId` as a child of `parent`, or null for a class without one.
CResponseCurve* MakeCurve(const CLSID& classId, QWidget* parent);

// The height of that curve on the page; 0 when there is none.
int CurveHeight(const CLSID& classId);

} // namespace tp
