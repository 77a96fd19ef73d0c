// Error information of windowless calls: what a call shows (and the details noted below it) reaches
// the host as the thread's error information when the call fails, once, and only on that thread.
#include "platform/ErrorInfo.h"
#include "platform/Presentation.h"
#include "platform/Utf.h"

#include <gtest/gtest.h>

#include <thread>

using namespace tw;

namespace {

constexpr IID kSomeInterface = {0x12345678, 0x1, 0x2, {3, 4, 5, 6, 7, 8, 9, 10}};

// The thread's error description, taken (and so cleared); "-" when there is none.
std::string TakeDescription() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || info == nullptr)
        return "-";
    BSTR text = nullptr;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    GUID iid{};
    EXPECT_EQ(info->GetGUID(&iid), S_OK);
    EXPECT_EQ(iid, kSomeInterface);
    const std::string description = ToUtf8(std::u16string_view(text, SysStringLen(text)));
    SysFreeString(text);
    info->Release();
    return description;
}

TEST(ErrorInfo, AFailedCallHandsOnWhatItShowedAndWhyOnceAndOnlyOnItsThread) {
    SetPresentation(std::make_shared<CHeadlessPresentation>());
    {
        CErrorScope call(kSomeInterface, "Test");
        NoteFailureDetail("File not found");
        ShowMessageBox("An error occurred while reading from the file /a.wav.");
        NoteFailureDetail("File not found"); // said once
        EXPECT_EQ(call.Finish(E_FAIL), E_FAIL);
    }
    std::string elsewhere;
    std::thread([&] { elsewhere = TakeDescription(); }).join();
    EXPECT_EQ(elsewhere, "-");
    EXPECT_EQ(TakeDescription(), "An error occurred while reading from the file /a.wav. File not found");
    EXPECT_EQ(TakeDescription(), "-"); // taking it cleared it

    // A call that succeeds clears what an earlier one left; one that fails silently leaves nothing.
    {
        CErrorScope failed(kSomeInterface, "Test");
        ShowMessageBox("first");
        failed.Finish(E_FAIL);
    }
    {
        CErrorScope succeeded(kSomeInterface, "Test");
        ShowMessageBox("a warning on the way");
        succeeded.Finish(S_OK);
    }
    EXPECT_EQ(TakeDescription(), "-");
    {
        CErrorScope silent(kSomeInterface, "Test");
        silent.Finish(E_FAIL);
    }
    EXPECT_EQ(TakeDescription(), "-");

    // An inner call's messages belong to the outer call too; outside any call nothing is kept.
    ShowMessageBox("shown outside a call");
    {
        CErrorScope outer(kSomeInterface, "Test");
        {
            CErrorScope inner(kSomeInterface, "Test");
            ShowMessageBox("inner");
        }
        outer.Publish();
    }
    EXPECT_EQ(TakeDescription(), "inner");
}

} // namespace
