// The engine as tideclip meets it: libtidework.so loaded from the tool's own folder, the runtime
// helpers and class creation resolved by name, and small owners for the strings, arrays and
// interface pointers that cross the ABI.
#pragma once

#include <tidework/com.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tideclip {

// Exit statuses: the result of the work, never a raw result code (which does not fit in a byte).
enum ExitStatus : int {
    kExitOk = 0,
    kExitUsage = 1,       // wrong command line
    kExitNoEngine = 2,    // the library or one of its exports is missing
    kExitCannotRead = 3,  // the input cannot be opened or restored
    kExitCannotWrite = 4, // an output file cannot be made or written
    kExitBadArgument = 5, // the engine refused an argument (E_INVALIDARG, an index out of range)
    kExitFailed = 6,      // any other failure the engine reported
};

// The exit status that tells a failed result code.
int ExitFor(HRESULT result);
// A result code in words, with the code beside them: "an argument is out of range (0x80070057)".
std::string Words(HRESULT result);
// "0x80004005" and the like.
std::string Hex(HRESULT result);

class Engine {
public:
    // Loads the library beside the executable; Ready() tells whether every export resolved.
    Engine();
    bool Ready() const { return m_ready; }
    const std::string& Error() const { return m_error; }

    // A new object of `clsid` asked for `iid`, or null with the result in `result`.
    void* Create(const CLSID& clsid, const IID& iid, HRESULT& result) const;

    BSTR AllocString(const std::string& utf8) const;
    void FreeString(BSTR text) const;
    // The text of a BSTR the engine gave, freed afterwards.
    std::string TakeString(BSTR text) const;

    SAFEARRAY* CreateArray(VARTYPE type, uint32_t elements) const;
    void DestroyArray(SAFEARRAY* array) const;
    // A copy of an array's bytes (element size * count); the array stays.
    std::vector<uint8_t> ArrayBytes(SAFEARRAY* array) const;
    // A pointer to the array's data while accessed.
    void* Access(SAFEARRAY* array) const;
    void Unaccess(SAFEARRAY* array) const;

    void InitVariant(VARIANT* value) const;
    HRESULT CanUnloadNow() const;
    // The description of the error information the last failed call left on this thread (the
    // system's messages, in words), taken and cleared; empty when there is none.
    std::string TakeErrorDescription() const;

private:
    template <class T> bool Resolve(const char* name, T& out);

    void* m_library = nullptr;
    bool m_ready = false;
    std::string m_error;
    HRESULT (*m_coCreateInstance)(const CLSID&, IUnknown*, uint32_t, const IID&, void**) = nullptr;
    BSTR (*m_sysAllocString)(const char16_t*) = nullptr;
    void (*m_sysFreeString)(BSTR) = nullptr;
    uint32_t (*m_sysStringLen)(BSTR) = nullptr;
    SAFEARRAY* (*m_safeArrayCreateVector)(VARTYPE, LONG, ULONG) = nullptr;
    HRESULT (*m_safeArrayDestroy)(SAFEARRAY*) = nullptr;
    HRESULT (*m_safeArrayAccessData)(SAFEARRAY*, void**) = nullptr;
    HRESULT (*m_safeArrayUnaccessData)(SAFEARRAY*) = nullptr;
    void (*m_variantInit)(VARIANT*) = nullptr;
    HRESULT (*m_dllCanUnloadNow)() = nullptr;
    HRESULT (*m_getErrorInfo)(uint32_t, IErrorInfo**) = nullptr;
};

// An interface pointer released when it goes.
template <class I> class Ref {
public:
    Ref() = default;
    explicit Ref(I* pointer) : m_pointer(pointer) {}
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    Ref(Ref&& other) noexcept : m_pointer(other.m_pointer) { other.m_pointer = nullptr; }
    Ref& operator=(Ref&& other) noexcept {
        if (this != &other) {
            Reset(other.m_pointer);
            other.m_pointer = nullptr;
        }
        return *this;
    }
    ~Ref() { Reset(); }
    void Reset(I* pointer = nullptr) {
        if (m_pointer != nullptr)
            m_pointer->Release();
        m_pointer = pointer;
    }
    I* operator->() const { return m_pointer; }
    I* Get() const { return m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

private:
    I* m_pointer = nullptr;
};

// Another interface of the same object, or an empty Ref.
template <class I> Ref<I> QueryAs(IUnknown* object, const IID& iid) {
    void* out = nullptr;
    if (object == nullptr || FAILED(object->QueryInterface(iid, &out)))
        return Ref<I>();
    return Ref<I>(static_cast<I*>(out));
}

} // namespace tideclip
