// The parameters of one object as a page shows them, read once when the page is given the object:
// caption, unit, range, scale and steps from ITransformParamInfo when the object offers it, otherwise
// from the name ("Delay (ms)") and range alone. Values are read and written straight on the object,
// which others (the play thread, a preset chosen elsewhere) use at the same time.
#pragma once

#include "ComBase.h"

#include <tidework/transform.h>

#include <QString>
#include <QStringList>

#include <vector>

namespace tp {

struct ParamSpec {
    QString label;
    QString unit;
    float low = 0.0f;
    float high = 1.0f;
    float defaultValue = 0.0f;
    float step = 0.0f; // 0: free
    int decimals = 1;
    uint32_t flags = 0;  // kParam* of ITransformParamInfo
    QStringList choices; // the names of low, low + 1, ... of a choice

    bool IsChoice() const { return (flags & kParamChoice) != 0 && !choices.isEmpty(); }
    bool IsLogarithmic() const { return (flags & kParamLogarithmic) != 0 && low > 0.0f; }
};

class CParamList {
public:
    // More parameters than any page can lay out mean a broken object.
    static constexpr int32_t kMaxParams = 256;

    // Reads the descriptions of `object`'s parameters. E_NOINTERFACE when it has no
    // ITransformParams, the object's error when it cannot tell its count.
    HRESULT Read(IUnknown* object);

    int Count() const { return static_cast<int>(m_specs.size()); }
    const ParamSpec& Spec(int index) const { return m_specs[static_cast<size_t>(index)]; }
    QString Title() const { return m_title; }
    const CLSID& ClassId() const { return m_classId; }

    // The object's value now; the last one read when it refuses to tell.
    float Value(int index);
    // Writes `value` into the object and returns what it took (it may clamp).
    float SetValue(int index, float value);

private:
    ParamSpec Describe(int32_t index, ITransformParamInfo* info);

    ComPtr<ITransformParams> m_params;
    std::vector<ParamSpec> m_specs;
    std::vector<float> m_last;
    QString m_title;
    CLSID m_classId{};
};

// "Delay (ms)" as the caption "Delay" and the unit "ms"; a name without a final bracket is all caption.
void SplitName(const QString& name, QString* label, QString* unit);

} // namespace tp
