// The COM runtime helpers a host needs, with the Windows memory layouts: a BSTR is preceded by its
// length in bytes (u32) and followed by a zero unit; a SAFEARRAY created here carries its VARTYPE in
// the four bytes before the descriptor, as FADF_HAVEVARTYPE promises.
#include <tidework/com.h>
#include <tidework/proppage.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr HRESULT DISP_E_ARRAYISLOCKED = static_cast<HRESULT>(0x8002000Du);
constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3u);
constexpr size_t kArrayPrefix = 16; // keeps the descriptor 16-byte aligned; the VARTYPE sits at -4

uint32_t ElementSize(VARTYPE vt) {
    switch (vt) {
    case VT_I1:
    case VT_UI1:
        return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_UI4:
    case VT_R4:
    case VT_INT:
    case VT_UINT:
    case VT_ERROR:
        return 4;
    case VT_R8:
    case VT_I8:
    case VT_UI8:
        return 8;
    case VT_BSTR:
    case VT_UNKNOWN:
    case VT_DISPATCH:
        return sizeof(void*);
    case VT_VARIANT:
        return sizeof(VARIANT);
    default:
        return 0;
    }
}

uint16_t FeaturesFor(VARTYPE vt) {
    uint16_t features = FADF_HAVEVARTYPE;
    if (vt == VT_BSTR)
        features |= FADF_BSTR;
    else if (vt == VT_UNKNOWN || vt == VT_DISPATCH)
        features |= FADF_UNKNOWN;
    else if (vt == VT_VARIANT)
        features |= FADF_VARIANT;
    return features;
}

int HexValue(char16_t c) {
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

bool ReadHex(const char16_t*& p, int digits, uint64_t& value) {
    value = 0;
    for (int i = 0; i < digits; ++i) {
        const int v = HexValue(*p);
        if (v < 0)
            return false;
        value = (value << 4) | static_cast<uint64_t>(v);
        ++p;
    }
    return true;
}

} // namespace

TW_EXPORT BSTR SysAllocStringLen(const char16_t* text, uint32_t length) {
    if (length > (0xFFFFFFFFu - 8) / 2)
        return nullptr;
    const size_t bytes = static_cast<size_t>(length) * 2;
    auto* block = static_cast<uint8_t*>(std::malloc(4 + bytes + 2));
    if (block == nullptr)
        return nullptr;
    const uint32_t byteLength = static_cast<uint32_t>(bytes);
    std::memcpy(block, &byteLength, 4);
    auto* chars = reinterpret_cast<char16_t*>(block + 4);
    if (text != nullptr)
        std::memcpy(chars, text, bytes);
    else
        std::memset(chars, 0, bytes);
    chars[length] = 0;
    return chars;
}

TW_EXPORT BSTR SysAllocString(const char16_t* text) {
    if (text == nullptr)
        return nullptr;
    uint32_t length = 0;
    while (text[length] != 0)
        ++length;
    return SysAllocStringLen(text, length);
}

TW_EXPORT void SysFreeString(BSTR text) {
    if (text != nullptr)
        std::free(reinterpret_cast<uint8_t*>(text) - 4);
}

TW_EXPORT void* CoTaskMemAlloc(size_t bytes) {
    return std::malloc(bytes == 0 ? 1 : bytes);
}

TW_EXPORT void CoTaskMemFree(void* memory) {
    std::free(memory);
}

TW_EXPORT uint32_t SysStringLen(BSTR text) {
    if (text == nullptr)
        return 0;
    uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<uint8_t*>(text) - 4, 4);
    return bytes / 2;
}

TW_EXPORT SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG elements) {
    const uint32_t size = ElementSize(vt);
    if (size == 0)
        return nullptr;
    auto* block = static_cast<uint8_t*>(std::calloc(1, kArrayPrefix + sizeof(SAFEARRAY)));
    if (block == nullptr)
        return nullptr;
    const uint32_t vartype = vt;
    std::memcpy(block + kArrayPrefix - 4, &vartype, 4);
    auto* array = reinterpret_cast<SAFEARRAY*>(block + kArrayPrefix);
    array->cDims = 1;
    array->fFeatures = FeaturesFor(vt);
    array->cbElements = size;
    array->cLocks = 0;
    array->rgsabound[0].cElements = elements;
    array->rgsabound[0].lLbound = lowerBound;
    const size_t bytes = static_cast<size_t>(elements) * size;
    // Zeroed data: null BSTRs and interfaces, VT_EMPTY variants, so destroying a fresh array is safe.
    array->pvData = std::calloc(bytes == 0 ? 1 : bytes, 1);
    if (array->pvData == nullptr) {
        std::free(block);
        return nullptr;
    }
    return array;
}

TW_EXPORT HRESULT SafeArrayDestroy(SAFEARRAY* array) {
    if (array == nullptr)
        return S_OK;
    if (array->cLocks > 0)
        return DISP_E_ARRAYISLOCKED;
    const ULONG count = array->rgsabound[0].cElements;
    if (array->pvData != nullptr) {
        if (array->fFeatures & FADF_BSTR) {
            auto* items = static_cast<BSTR*>(array->pvData);
            for (ULONG i = 0; i < count; ++i)
                SysFreeString(items[i]);
        } else if (array->fFeatures & FADF_UNKNOWN) {
            auto* items = static_cast<IUnknown**>(array->pvData);
            for (ULONG i = 0; i < count; ++i)
                if (items[i] != nullptr)
                    items[i]->Release();
        } else if (array->fFeatures & FADF_VARIANT) {
            auto* items = static_cast<VARIANT*>(array->pvData);
            for (ULONG i = 0; i < count; ++i)
                VariantClear(&items[i]);
        }
        std::free(array->pvData);
    }
    std::free(reinterpret_cast<uint8_t*>(array) - kArrayPrefix);
    return S_OK;
}

TW_EXPORT HRESULT SafeArrayAccessData(SAFEARRAY* array, void** data) {
    if (array == nullptr || data == nullptr)
        return E_INVALIDARG;
    ++array->cLocks;
    *data = array->pvData;
    return S_OK;
}

TW_EXPORT HRESULT SafeArrayUnaccessData(SAFEARRAY* array) {
    if (array == nullptr)
        return E_INVALIDARG;
    if (array->cLocks == 0)
        return E_UNEXPECTED;
    --array->cLocks;
    return S_OK;
}

TW_EXPORT HRESULT SafeArrayGetLBound(SAFEARRAY* array, uint32_t dim, LONG* bound) {
    if (array == nullptr || bound == nullptr)
        return E_INVALIDARG;
    if (dim != 1 || array->cDims != 1)
        return DISP_E_BADINDEX;
    *bound = array->rgsabound[0].lLbound;
    return S_OK;
}

TW_EXPORT HRESULT SafeArrayGetUBound(SAFEARRAY* array, uint32_t dim, LONG* bound) {
    if (array == nullptr || bound == nullptr)
        return E_INVALIDARG;
    if (dim != 1 || array->cDims != 1)
        return DISP_E_BADINDEX;
    *bound = static_cast<LONG>(static_cast<int64_t>(array->rgsabound[0].lLbound) +
                               static_cast<int64_t>(array->rgsabound[0].cElements) - 1);
    return S_OK;
}

TW_EXPORT void VariantInit(VARIANT* v) {
    if (v != nullptr)
        std::memset(static_cast<void*>(v), 0, sizeof(VARIANT));
}

TW_EXPORT HRESULT VariantClear(VARIANT* v) {
    if (v == nullptr)
        return E_INVALIDARG;
    if ((v->vt & VT_BYREF) == 0) {
        if (v->vt & VT_ARRAY) {
            const HRESULT hr = SafeArrayDestroy(v->parray);
            if (FAILED(hr))
                return hr;
        } else if (v->vt == VT_BSTR) {
            SysFreeString(v->bstrVal);
        } else if (v->vt == VT_UNKNOWN || v->vt == VT_DISPATCH) {
            if (v->punkVal != nullptr)
                v->punkVal->Release();
        }
    }
    v->vt = VT_EMPTY;
    v->llVal = 0;
    return S_OK;
}

TW_EXPORT HRESULT CLSIDFromString(const char16_t* text, CLSID* out) {
    if (text == nullptr || out == nullptr)
        return E_INVALIDARG;
    const char16_t* p = text;
    uint64_t a, b, c, d, e;
    if (*p++ != u'{' || !ReadHex(p, 8, a) || *p++ != u'-' || !ReadHex(p, 4, b) || *p++ != u'-' ||
        !ReadHex(p, 4, c) || *p++ != u'-' || !ReadHex(p, 4, d) || *p++ != u'-' || !ReadHex(p, 12, e) ||
        *p++ != u'}' || *p != 0)
        return CO_E_CLASSSTRING;
    out->Data1 = static_cast<uint32_t>(a);
    out->Data2 = static_cast<uint16_t>(b);
    out->Data3 = static_cast<uint16_t>(c);
    out->Data4[0] = static_cast<uint8_t>(d >> 8);
    out->Data4[1] = static_cast<uint8_t>(d);
    for (int i = 0; i < 6; ++i)
        out->Data4[2 + i] = static_cast<uint8_t>(e >> (8 * (5 - i)));
    return S_OK;
}

TW_EXPORT int32_t StringFromGUID2(const GUID& guid, char16_t* out, int32_t capacity) {
    constexpr int32_t kChars = 39; // {8-4-4-4-12} and the terminator
    if (out == nullptr || capacity < kChars)
        return 0;
    static const char16_t kHex[] = u"0123456789ABCDEF";
    int32_t n = 0;
    auto put = [&](uint64_t value, int digits) {
        for (int i = digits - 1; i >= 0; --i)
            out[n++] = kHex[(value >> (4 * i)) & 0xF];
    };
    out[n++] = u'{';
    put(guid.Data1, 8);
    out[n++] = u'-';
    put(guid.Data2, 4);
    out[n++] = u'-';
    put(guid.Data3, 4);
    out[n++] = u'-';
    put(guid.Data4[0], 2);
    put(guid.Data4[1], 2);
    out[n++] = u'-';
    for (int i = 2; i < 8; ++i)
        put(guid.Data4[i], 2);
    out[n++] = u'}';
    out[n++] = 0;
    return n;
}
