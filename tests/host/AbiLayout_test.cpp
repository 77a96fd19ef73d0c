// The ABI as a plain C++ host compiles it: only the two public headers. Layouts are what a host
// built by another compiler (or for the original platform's layout) relies on.
#include <tidework/com.h>
#include <tidework/tidework.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

TEST(Abi, HostInfo_IsTwelveBytesInWireOrder) {
    EXPECT_EQ(sizeof(HostInfo), 12u);
    EXPECT_EQ(offsetof(HostInfo, hostWindow), 0u);
    EXPECT_EQ(offsetof(HostInfo, hostProcessId), 4u);
    EXPECT_EQ(offsetof(HostInfo, protocol), 8u);
}

TEST(Abi, ComTypes_KeepTheirWindowsLayouts) {
    EXPECT_EQ(sizeof(GUID), 16u);
    EXPECT_EQ(offsetof(GUID, Data2), 4u);
    EXPECT_EQ(offsetof(GUID, Data3), 6u);
    EXPECT_EQ(offsetof(GUID, Data4), 8u);
    EXPECT_EQ(sizeof(SAFEARRAY), 32u);
    EXPECT_EQ(offsetof(SAFEARRAY, pvData), 16u);
    EXPECT_EQ(offsetof(SAFEARRAY, rgsabound), 24u);
    EXPECT_EQ(sizeof(VARIANT), 24u);
    EXPECT_EQ(offsetof(VARIANT, llVal), 8u);
    EXPECT_EQ(sizeof(VARIANT_BOOL), 2u);
    EXPECT_EQ(VARIANT_TRUE, -1);
}

TEST(Abi, NotificationCodes_AndResults_HaveTheirFixedValues) {
    EXPECT_EQ(TK_NOTIFY_TEXT, 1u);
    EXPECT_EQ(TK_NOTIFY_STARTED, 2u);
    EXPECT_EQ(TK_NOTIFY_ERROR, 3u);
    EXPECT_EQ(TK_NOTIFY_OPENED, 4u);
    EXPECT_EQ(TK_NOTIFY_FATAL, 5u);
    EXPECT_EQ(TK_NOTIFY_CLOSING, 8u);
    EXPECT_EQ(TK_NOTIFY_SAVED, 10u);
    EXPECT_EQ(static_cast<uint32_t>(CLASS_E_CLASSNOTAVAILABLE), 0x80040111u);
    EXPECT_EQ(static_cast<uint32_t>(E_POINTER), 0x80004003u);
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
