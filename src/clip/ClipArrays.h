// The clip's side of the type library's arrays and strings: checked access to arrays a host
// passes, and new arrays and strings handed out (the host destroys them).
#pragma once

#include <tidework/com.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

// Locks a one-dimensional array of `elementBytes`-byte elements for the life of this object.
// Valid() is false for null, another element size or more dimensions, or a lock that failed.
class CArrayAccess {
public:
    CArrayAccess(SAFEARRAY* array, uint32_t elementBytes);
    ~CArrayAccess();
    CArrayAccess(const CArrayAccess&) = delete;
    CArrayAccess& operator=(const CArrayAccess&) = delete;

    bool Valid() const { return m_data != nullptr; }
    void* Data() const { return m_data; }
    uint32_t Count() const { return m_count; }

private:
    SAFEARRAY* m_array;
    void* m_data = nullptr;
    uint32_t m_count = 0;
};

// A new array of 4-byte floats or single bytes holding `values`; null when out of memory.
SAFEARRAY* MakeFloatArray(const float* values, size_t count);
SAFEARRAY* MakeByteArray(const std::vector<uint8_t>& bytes);

// A new BSTR of UTF-8 text; stores it in *out.
HRESULT GiveString(const std::string& text, BSTR* out);

} // namespace tw
