// Class ids of the property pages of the pages module (libbuiltinpages.so in SCF/). A transform
// lists one of them in ITransform::GetPages; the system makes the page by class id (IPropertyPage)
// and gives it the transform through SetObjects.
#pragma once

#include <tidework/proppage.h>

// {D1A5A45E-E158-451C-AC80-3742EC2D9BED} The parameters page: a control with typed entry for every
// parameter of an object with ITransformParams (units, scales and steps from ITransformParamInfo
// when offered), and a response curve for the classes it knows (IPersist).
constexpr CLSID CLSID_TransformParamsPage = {
    0xD1A5A45E, 0xE158, 0x451C, {0xAC, 0x80, 0x37, 0x42, 0xEC, 0x2D, 0x9B, 0xED}};
