// The ABI as a plain C++ host compiles it: only the two public headers. Layouts are what a host
// built by another compiler (or for the original platform's layout) relies on.
#include <tidework/com.h>
#include <tidework/tidework.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

TEST(Abi, HostInfo_FieldsLieInWireOrder) {
    EXPECT_EQ(offsetof(HostInfo, hostWindow), 0u);
    EXPECT_EQ(offsetof(HostInfo, hostProcessId), 4u);
    EXPECT_EQ(offsetof(HostInfo, protocol), 8u);
}

TEST(Abi, ComTypes_KeepTheirWindowsFieldOffsets) {
    EXPECT_EQ(offsetof(GUID, Data2), 4u);
    EXPECT_EQ(offsetof(GUID, Data3), 6u);
    EXPECT_EQ(offsetof(GUID, Data4), 8u);
    EXPECT_EQ(offsetof(SAFEARRAY, cbElements), 4u);
    EXPECT_EQ(offsetof(SAFEARRAY, cLocks), 8u);
    EXPECT_EQ(offsetof(SAFEARRAY, pvData), 16u);
    EXPECT_EQ(offsetof(SAFEARRAY, rgsabound), 24u);
    EXPECT_EQ(offsetof(VARIANT, llVal), 8u);
    EXPECT_EQ(offsetof(VARIANT, record.pRecInfo), 16u);
}

// A close callback is a one-slot interface: a host's object is called through slot 0.
struct Counting : ITkCloseCallback {
    void OnDocumentClosed(const char16_t* path) override { last = path; }
    const char16_t* last = nullptr;
};

TEST(Abi, CloseCallback_HasItsMethodInSlotZero) {
    Counting callback;
    using Slot = void (*)(ITkCloseCallback*, const char16_t*);
    ITkCloseCallback* object = &callback;
    const Slot* vtable = nullptr;
    std::memcpy(&vtable, static_cast<const void*>(object), sizeof vtable);
    vtable[0](object, u"/x.wav");
    EXPECT_EQ(std::u16string(callback.last), u"/x.wav");
}

} // namespace
