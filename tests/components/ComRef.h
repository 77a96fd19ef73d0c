// References and texts across the component ABIs, as a plain host handles them.
#pragma once

#include <tidework/com.h>

#include <string>
#include <utility>

namespace twtest {

// Holds one reference; releases it at the end. put() serves typed and untyped out-parameters.
template <class T> class ComRef {
public:
    ComRef() = default;
    explicit ComRef(T* p) : p_(p) {}
    ~ComRef() { reset(); }
    ComRef(const ComRef&) = delete;
    ComRef& operator=(const ComRef&) = delete;
    ComRef(ComRef&& other) noexcept : p_(other.p_) { other.p_ = nullptr; }
    ComRef& operator=(ComRef&& other) noexcept {
        std::swap(p_, other.p_);
        return *this;
    }
    T* operator->() const { return p_; }
    T* get() const { return p_; }
    struct Out {
        T** p;
        operator T**() const { return p; }
        operator void**() const { return reinterpret_cast<void**>(p); }
    };
    Out put() {
        reset();
        return {&p_};
    }
    explicit operator bool() const { return p_ != nullptr; }
    void reset() {
        if (p_)
            p_->Release();
        p_ = nullptr;
    }

private:
    T* p_ = nullptr;
};

template <class I> ComRef<I> QueryAs(IUnknown* object, const GUID& iid) {
    ComRef<I> out;
    if (object == nullptr || FAILED(object->QueryInterface(iid, out.put())))
        out.reset();
    return out;
}

inline std::string Narrow(const char16_t* s) {
    std::string out;
    while (s != nullptr && *s)
        out.push_back(static_cast<char>(*s++));
    return out;
}

// Takes a BSTR's text and frees it.
inline std::string TakeBstr(BSTR s) {
    std::string out = Narrow(s);
    SysFreeString(s);
    return out;
}

} // namespace twtest
