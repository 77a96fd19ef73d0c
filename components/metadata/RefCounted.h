// Reference counting and text conversion shared by the objects of the tag library.
#pragma once

#include <tidework/com.h>

#include <atomic>
#include <string>
#include <string_view>

namespace vmd {

// Counts references for an object; it starts with one reference, its creator's.
class CRefCounted {
public:
    virtual ~CRefCounted() = default;

protected:
    uint32_t AddRefImpl() { return ++m_refs; }
    uint32_t ReleaseImpl() {
        const uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<uint32_t> m_refs{1};
};

#define VMD_IUNKNOWN_REFCOUNT                                                                                \
    uint32_t AddRef() override {                                                                             \
        return AddRefImpl();                                                                                 \
    }                                                                                                        \
    uint32_t Release() override {                                                                            \
        return ReleaseImpl();                                                                                \
    }

// Hands out `object` as `out` with a new reference.
template <class I> HRESULT Give(I* object, void** out) {
    object->AddRef();
    *out = object;
    return S_OK;
}

// Null-safe: a null pointer gives an empty string.
std::string ToUtf8(const char16_t* utf16);
std::u16string ToUtf16(std::string_view utf8);
// ASCII letters lowered, as extensions are compared.
std::string Lower(std::string text);

} // namespace vmd
