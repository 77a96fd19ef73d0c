#include "platform/ComRegistry.h"

#include <tidework/com.h>

#include <atomic>
#include <cstring>
#include <gtest/gtest.h>

namespace {

// A counted object to watch releases.
class Counted final : public IUnknown {
public:
    explicit Counted(std::atomic<int>& alive) : m_alive(alive) { ++m_alive; }
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (iid == IID_IUnknown) {
            *out = this;
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override {
        const uint32_t left = --m_refs;
        if (left == 0) {
            --m_alive;
            delete this;
        }
        return left;
    }

private:
    std::atomic<int>& m_alive;
    uint32_t m_refs = 1;
};

std::atomic<int> g_alive{0};

class Factory : public IClassFactory {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IClassFactory) {
            *out = this;
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override {
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        auto* object = new Counted(g_alive);
        const HRESULT hr = object->QueryInterface(iid, out);
        object->Release();
        return hr;
    }
    HRESULT LockServer(int32_t) override { return S_OK; }
};

HRESULT GetFactory(const IID& iid, void** out) {
    static Factory factory;
    return factory.QueryInterface(iid, out);
}

constexpr CLSID kTestClass = {0x56E0D200, 0xD77C, 0x414B, {0x8C, 0xF4, 0xF1, 0xFA, 0xE7, 0x87, 0xF0, 0x6D}};

} // namespace

TEST(ComRuntime, Bstr_HasItsByteLengthBeforeItAndATerminatorAfter) {
    BSTR text = SysAllocString(u"Tide");
    ASSERT_NE(text, nullptr);
    uint32_t prefix;
    std::memcpy(&prefix, reinterpret_cast<uint8_t*>(text) - 4, 4);
    EXPECT_EQ(prefix, 8u);
    EXPECT_EQ(SysStringLen(text), 4u);
    EXPECT_EQ(text[4], 0);
    SysFreeString(text);

    const char16_t withZero[] = {u'a', 0, u'b'};
    BSTR binary = SysAllocStringLen(withZero, 3);
    EXPECT_EQ(SysStringLen(binary), 3u) << "the length, not the terminator, bounds a BSTR";
    EXPECT_EQ(binary[2], u'b');
    SysFreeString(binary);

    BSTR blank = SysAllocStringLen(nullptr, 2);
    EXPECT_EQ(blank[0], 0);
    EXPECT_EQ(SysStringLen(blank), 2u);
    SysFreeString(blank);
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
}

TEST(ComRuntime, SafeArrayVector_HasElementSizesFeaturesAndBounds) {
    struct Case {
        VARTYPE vt;
        uint32_t size;
        uint16_t feature;
    } cases[] = {{VT_UI1, 1, 0},
                 {VT_I2, 2, 0},
                 {VT_I4, 4, 0},
                 {VT_R4, 4, 0},
                 {VT_R8, 8, 0},
                 {VT_BSTR, 8, FADF_BSTR},
                 {VT_VARIANT, 24, FADF_VARIANT},
                 {VT_UNKNOWN, 8, FADF_UNKNOWN}};
    for (const Case& c : cases) {
        SAFEARRAY* array = SafeArrayCreateVector(c.vt, -2, 5);
        ASSERT_NE(array, nullptr) << c.vt;
        EXPECT_EQ(array->cDims, 1);
        EXPECT_EQ(array->cbElements, c.size) << c.vt;
        EXPECT_EQ(array->fFeatures, FADF_HAVEVARTYPE | c.feature) << c.vt;
        uint32_t storedType;
        std::memcpy(&storedType, reinterpret_cast<uint8_t*>(array) - 4, 4);
        EXPECT_EQ(storedType, c.vt);
        LONG lower = 0, upper = 0;
        EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), S_OK);
        EXPECT_EQ(SafeArrayGetUBound(array, 1, &upper), S_OK);
        EXPECT_EQ(lower, -2);
        EXPECT_EQ(upper, 2);
        EXPECT_EQ(SafeArrayGetLBound(array, 2, &lower), DISP_E_BADINDEX);
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    }
    EXPECT_EQ(SafeArrayCreateVector(VARTYPE(36), 0, 1), nullptr);
}

TEST(ComRuntime, LockedArray_CannotBeDestroyed) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_R4, 0, 4);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
    static_cast<float*>(data)[3] = 1.5f;
    EXPECT_EQ(array->cLocks, 1u);
    EXPECT_NE(SafeArrayDestroy(array), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), S_OK);
    EXPECT_EQ(SafeArrayUnaccessData(array), E_UNEXPECTED);
    EXPECT_EQ(SafeArrayDestroy(array), S_OK);
}

TEST(ComRuntime, DestroyingContainers_FreesStringsAndReleasesObjects) {
    const int before = g_alive.load();
    SAFEARRAY* objects = SafeArrayCreateVector(VT_UNKNOWN, 0, 2);
    static_cast<IUnknown**>(objects->pvData)[0] = new Counted(g_alive);
    SAFEARRAY* variants = SafeArrayCreateVector(VT_VARIANT, 0, 3);
    auto* items = static_cast<VARIANT*>(variants->pvData);
    items[0].vt = VT_UNKNOWN;
    items[0].punkVal = new Counted(g_alive);
    items[1].vt = VT_BSTR;
    items[1].bstrVal = SysAllocString(u"inside");
    items[2].vt = VT_ARRAY | VT_UNKNOWN;
    items[2].parray = objects;
    EXPECT_EQ(g_alive.load(), before + 2);

    VARIANT outer;
    VariantInit(&outer);
    EXPECT_EQ(outer.vt, VT_EMPTY);
    outer.vt = VT_ARRAY | VT_VARIANT;
    outer.parray = variants;
    EXPECT_EQ(VariantClear(&outer), S_OK);
    EXPECT_EQ(outer.vt, VT_EMPTY);
    EXPECT_EQ(g_alive.load(), before) << "every object inside was released";

    SAFEARRAY* strings = SafeArrayCreateVector(VT_BSTR, 0, 2);
    static_cast<BSTR*>(strings->pvData)[1] = SysAllocString(u"freed by the array");
    EXPECT_EQ(SafeArrayDestroy(strings), S_OK); // the address sanitizer build checks the free
}

TEST(ComRuntime, Guid_RoundTripsThroughItsText) {
    CLSID parsed{};
    ASSERT_EQ(CLSIDFromString(u"{56e0d200-d77c-414b-8cf4-f1fae787f06d}", &parsed), S_OK);
    EXPECT_TRUE(parsed == kTestClass);
    char16_t text[39];
    EXPECT_EQ(StringFromGUID2(parsed, text, 39), 39);
    EXPECT_EQ(std::u16string(text), u"{56E0D200-D77C-414B-8CF4-F1FAE787F06D}");
    EXPECT_EQ(StringFromGUID2(parsed, text, 38), 0);
    for (const char16_t* bad :
         {u"56E0D200-D77C-414B-8CF4-F1FAE787F06D", u"{56E0D200-D77C-414B-8CF4-F1FAE787F06}",
          u"{56E0D200-D77C-414B-8CF4-F1FAE787F06DX}", u"{56E0D200 D77C-414B-8CF4-F1FAE787F06D}",
          u"{G6E0D200-D77C-414B-8CF4-F1FAE787F06D}", u""})
        EXPECT_LT(CLSIDFromString(bad, &parsed), 0);
}

TEST(ComRuntime, CoCreateInstance_FindsRegisteredClassesAndRefusesUnknownOnes) {
    tw::RegisterClassObject(kTestClass, &GetFactory, "Test Class");
    IUnknown* object = nullptr;
    ASSERT_EQ(CoCreateInstance(kTestClass, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               reinterpret_cast<void**>(&object)),
              S_OK);
    ASSERT_NE(object, nullptr);
    object->Release();
    bool listed = false;
    for (const tw::RegisteredClass& c : tw::RegisteredClasses())
        listed |= c.clsid == kTestClass && c.friendlyName == "Test Class";
    EXPECT_TRUE(listed);

    constexpr CLSID unknown = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(CoCreateInstance(unknown, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &none),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr), E_POINTER);
}

// The test component's interface. Declared with external linkage, as interfaces shared between
// modules are: with a local type the compiler may assume no object of another module implements it.
struct ITestAnswer : IUnknown {
    virtual int32_t Answer() = 0; // slot 3
};

TEST(ComRuntime, CoCreateInstance_LoadsAComponentModuleFromItsFolder) {
    constexpr CLSID componentClass = {
        0x8D6C1F40, 0x2B7E, 0x4C3A, {0x9E, 0x51, 0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F}};
    constexpr IID answerIid = {0x8D6C1F41, 0x2B7E, 0x4C3A, {0x9E, 0x51, 0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F}};
    ITestAnswer* answer = nullptr;
    tw::AddComponentFolder(TW_TEST_COMPONENT_DIR);
    ASSERT_EQ(CoCreateInstance(componentClass, nullptr, CLSCTX_INPROC_SERVER, answerIid,
                               reinterpret_cast<void**>(&answer)),
              S_OK);
    EXPECT_EQ(answer->Answer(), 4711);
    EXPECT_EQ(answer->Release(), 0u);
    // A second creation uses the module already loaded; an interface it lacks is refused by it.
    IUnknown* other = nullptr;
    const IID missing = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    EXPECT_EQ(CoCreateInstance(componentClass, nullptr, CLSCTX_INPROC_SERVER, missing,
                               reinterpret_cast<void**>(&other)),
              E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
}
