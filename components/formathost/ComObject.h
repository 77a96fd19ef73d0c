// Reference counting and text helpers shared by the objects of the format library.
#pragma once

#include <tidework/formathost.h>

#include <atomic>
#include <string>
#include <string_view>

namespace fh {

// Counts references for an object that implements one or more interfaces. The object starts with
// one reference owned by its creator.
class CRefCount {
public:
    virtual ~CRefCount() = default;
    uint32_t AddRefImpl() { return ++m_refs; }
    uint32_t ReleaseImpl() {
        uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<uint32_t> m_refs{1};
};

#define FH_IUNKNOWN_REFCOUNT                                                                                 \
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

std::u16string ToUtf16(std::string_view utf8);
std::string ToUtf8(const char16_t* utf16);
std::string Lower(std::string text);

} // namespace fh
