// COM-compatible ABI shared by the library, its hosts and its component modules.
//
// Interfaces are abstract classes without virtual destructors: IUnknown holds slots 0-2 and every
// interface's methods follow in their listed order, so a vtable here matches the Windows x64 layout
// of the same interface. Plain C++ hosts include this header and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__GNUC__)
#define TW_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define TW_EXPORT extern "C"
#endif

using HRESULT = int32_t;
using VARIANT_BOOL = int16_t;
using BSTR = char16_t*;
using ULONG = uint32_t;
using LONG = int32_t;
using VARTYPE = uint16_t;

constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000Bu);

inline bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
inline bool FAILED(HRESULT hr) {
    return hr < 0;
}

// 16 bytes: u32, u16, u16, 8 bytes, as Windows lays it out.
struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);
using IID = GUID;
using CLSID = GUID;

inline bool operator==(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3)
        return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i])
            return false;
    return true;
}
inline bool operator!=(const GUID& a, const GUID& b) {
    return !(a == b);
}

// {00000000-0000-0000-C000-000000000046}
constexpr GUID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
// {00000001-0000-0000-C000-000000000046}
constexpr GUID IID_IClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct IUnknown {
    virtual HRESULT QueryInterface(const GUID& iid, void** out) = 0; // slot 0
    virtual uint32_t AddRef() = 0;                                   // slot 1
    virtual uint32_t Release() = 0;                                  // slot 2
};

struct IClassFactory : IUnknown {
    virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) = 0; // slot 3
    virtual HRESULT LockServer(int32_t lock) = 0;                                     // slot 4
};

// {1CF2B120-547D-101B-8E65-08002B2BD119}
constexpr GUID IID_IErrorInfo = {
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

// Why the last call of an object that supports error information failed, in the system's words.
// A host takes it with GetErrorInfo right after the failed call, on the same thread.
struct IErrorInfo : IUnknown {
    virtual HRESULT GetGUID(GUID* guid) = 0;               // 3: the interface whose call failed
    virtual HRESULT GetSource(BSTR* source) = 0;           // 4: the class that reported it
    virtual HRESULT GetDescription(BSTR* description) = 0; // 5: the messages, as the user would read them
    virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;       // 6: empty
    virtual HRESULT GetHelpContext(uint32_t* context) = 0; // 7: 0
};

// SAFEARRAY and VARIANT keep their Windows x64 layouts (32 and 24 bytes).
struct SAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};

struct SAFEARRAY {
    uint16_t cDims;
    uint16_t fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    void* pvData;
    SAFEARRAYBOUND rgsabound[1];
};
static_assert(sizeof(SAFEARRAY) == 32);

enum : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
};

constexpr uint16_t FADF_HAVEVARTYPE = 0x0080;
constexpr uint16_t FADF_BSTR = 0x0100;
constexpr uint16_t FADF_UNKNOWN = 0x0200;
constexpr uint16_t FADF_VARIANT = 0x0800;

struct VARIANT {
    VARTYPE vt;
    uint16_t wReserved1;
    uint16_t wReserved2;
    uint16_t wReserved3;
    union {
        int64_t llVal;
        uint64_t ullVal;
        int32_t lVal;
        uint32_t ulVal;
        int16_t iVal;
        uint16_t uiVal;
        int8_t cVal;
        uint8_t bVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        HRESULT scode;
        BSTR bstrVal;
        IUnknown* punkVal;
        SAFEARRAY* parray;
        void* byref;
        struct {
            void* pvRecord;
            void* pRecInfo;
        } record;
    };
};
static_assert(sizeof(VARIANT) == 24);

// Runtime helpers, exported by libtidework.so under their Windows names.
TW_EXPORT BSTR SysAllocString(const char16_t* text);
TW_EXPORT BSTR SysAllocStringLen(const char16_t* text, uint32_t length);
TW_EXPORT void SysFreeString(BSTR text);
TW_EXPORT uint32_t SysStringLen(BSTR text);
TW_EXPORT SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG elements);
TW_EXPORT HRESULT SafeArrayDestroy(SAFEARRAY* array);
TW_EXPORT HRESULT SafeArrayAccessData(SAFEARRAY* array, void** data);
TW_EXPORT HRESULT SafeArrayUnaccessData(SAFEARRAY* array);
TW_EXPORT HRESULT SafeArrayGetLBound(SAFEARRAY* array, uint32_t dim, LONG* bound);
TW_EXPORT HRESULT SafeArrayGetUBound(SAFEARRAY* array, uint32_t dim, LONG* bound);
TW_EXPORT void VariantInit(VARIANT* v);
TW_EXPORT HRESULT VariantClear(VARIANT* v);
TW_EXPORT HRESULT CLSIDFromString(const char16_t* text, CLSID* out);
TW_EXPORT int32_t StringFromGUID2(const GUID& guid, char16_t* out, int32_t capacity);
TW_EXPORT HRESULT CoCreateInstance(const CLSID& clsid, IUnknown* outer, uint32_t context, const IID& iid,
                                   void** out);
// The calling thread's error information: Set replaces it (null clears); Get hands it over and
// clears it, S_FALSE with null when there is none.
TW_EXPORT HRESULT SetErrorInfo(uint32_t reserved, IErrorInfo* info);
TW_EXPORT HRESULT GetErrorInfo(uint32_t reserved, IErrorInfo** info);

constexpr uint32_t CLSCTX_INPROC_SERVER = 0x1;
