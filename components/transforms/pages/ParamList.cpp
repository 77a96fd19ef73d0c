#include "ParamList.h"

#include <cmath>
#include <utility>

namespace tp {

namespace {

// Takes a BSTR's text and frees it.
QString TakeBstr(BSTR text) {
    QString s = text != nullptr ? QString::fromUtf16(text, SysStringLen(text)) : QString();
    SysFreeString(text);
    return s;
}

// Digits after the point that tell a value of a range of width `span` apart: a value of thousands
// needs none, one of tenths two.
int DecimalsFor(double span) {
    return span >= 100.0 ? 0 : (span >= 10.0 ? 1 : 2);
}

} // namespace

void SplitName(const QString& name, QString* label, QString* unit) {
    const QString trimmed = name.trimmed();
    const qsizetype open = trimmed.lastIndexOf(QLatin1String(" ("));
    if (trimmed.endsWith(u')') && open > 0) {
        *label = trimmed.left(open);
        *unit = trimmed.mid(open + 2, trimmed.size() - open - 3).trimmed();
    } else {
        *label = trimmed;
        unit->clear();
    }
}

HRESULT CParamList::Read(IUnknown* object) {
    if (object == nullptr)
        return E_POINTER;
    auto params = ComPtr<ITransformParams>::Query(object, IID_ITransformParams);
    if (!params)
        return E_NOINTERFACE;
    int32_t count = 0;
    const HRESULT hr = params->GetCount(&count);
    if (FAILED(hr))
        return hr;
    if (count < 0 || count > kMaxParams)
        return E_UNEXPECTED;
    auto info = ComPtr<ITransformParamInfo>::Query(object, IID_ITransformParamInfo);
    m_specs.clear();
    m_last.clear();
    m_params = params;
    for (int32_t i = 0; i < count; ++i) {
        m_specs.push_back(Describe(i, info.Get()));
        m_last.push_back(m_specs.back().defaultValue);
        Value(i); // what the object holds now, which a preset may have set
    }
    if (auto transform = ComPtr<ITransform>::Query(object, IID_ITransform)) {
        BSTR name = nullptr;
        if (SUCCEEDED(transform->GetName(&name)))
            m_title = TakeBstr(name);
        else
            SysFreeString(name);
    }
    if (m_title.isEmpty())
        m_title = QStringLiteral("Parameters");
    m_classId = CLSID{};
    if (auto persist = ComPtr<IPersist>::Query(object, IID_IPersist))
        if (FAILED(persist->GetClassID(&m_classId)))
            m_classId = CLSID{};
    return S_OK;
}

ParamSpec CParamList::Describe(int32_t index, ITransformParamInfo* info) {
    ParamSpec spec;
    BSTR name = nullptr;
    if (FAILED(m_params->GetParamName(index, &name))) {
        SysFreeString(name);
        name = nullptr;
    }
    SplitName(TakeBstr(name), &spec.label, &spec.unit);
    if (spec.label.isEmpty())
        spec.label = QStringLiteral("Parameter %1").arg(index + 1);

    float low = 0.0f, high = 1.0f;
    if (FAILED(m_params->GetRange(index, &low, &high)) || !std::isfinite(low) || !std::isfinite(high))
        low = 0.0f, high = 1.0f;
    if (low > high)
        std::swap(low, high);
    spec.low = low;
    spec.high = high;
    spec.decimals = DecimalsFor(static_cast<double>(high) - low);
    float now = low;
    if (SUCCEEDED(m_params->GetValue(index, &now)) && std::isfinite(now))
        spec.defaultValue = std::fmin(std::fmax(now, low), high);
    else
        spec.defaultValue = low;
    if (info == nullptr)
        return spec;

    TRANSFORMPARAMINFO facts{};
    facts.cb = sizeof(facts);
    if (SUCCEEDED(info->GetParamInfo(index, &facts))) {
        spec.flags = facts.flags;
        if (std::isfinite(facts.defaultValue))
            spec.defaultValue = std::fmin(std::fmax(facts.defaultValue, low), high);
        spec.step = std::isfinite(facts.step) && facts.step > 0.0f ? facts.step : 0.0f;
        spec.decimals = facts.decimals >= 0 && facts.decimals <= 6 ? facts.decimals : spec.decimals;
    }
    if ((spec.flags & (kParamInteger | kParamChoice)) != 0) {
        spec.step = std::fmax(spec.step, 1.0f);
        spec.decimals = 0;
    }
    BSTR text = nullptr;
    if (SUCCEEDED(info->GetParamLabel(index, &text)) && text != nullptr && SysStringLen(text) > 0)
        spec.label = TakeBstr(text);
    else
        SysFreeString(text);
    text = nullptr;
    if (SUCCEEDED(info->GetParamUnit(index, &text)))
        spec.unit = TakeBstr(text);
    else
        SysFreeString(text);
    if ((spec.flags & kParamChoice) != 0 && high - low < kMaxParams) {
        for (int32_t v = static_cast<int32_t>(std::ceil(low)); v <= static_cast<int32_t>(high); ++v) {
            text = nullptr;
            if (FAILED(info->GetParamChoice(index, v, &text))) {
                SysFreeString(text);
                spec.choices.push_back(QString::number(v));
            } else {
                spec.choices.push_back(TakeBstr(text));
            }
        }
    }
    return spec;
}

float CParamList::Value(int index) {
    float value = 0.0f;
    if (m_params && SUCCEEDED(m_params->GetValue(index, &value)) && std::isfinite(value))
        m_last[static_cast<size_t>(index)] = value;
    return m_last[static_cast<size_t>(index)];
}

float CParamList::SetValue(int index, float value) {
    if (m_params)
        m_params->SetValue(index, value);
    return Value(index);
}

} // namespace tp
