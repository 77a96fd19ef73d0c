#include "audio/AudioDeviceMgr.h"
#include "audio/AudioIn.h"
#include "audio/AudioOut.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

using namespace tw;

namespace {

std::vector<std::shared_ptr<CVirtualDevice>> Devices(const std::string& prefix, int count) {
    std::vector<std::shared_ptr<CVirtualDevice>> out;
    for (int i = 0; i < count; ++i)
        out.push_back(std::make_shared<CVirtualDevice>(prefix + std::to_string(i)));
    return out;
}

// Opens a device made for global number `id` and says whether it opened.
bool Opens(CAudioDeviceMgr& head, int32_t id) {
    std::unique_ptr<CAudioOut> out(head.CreateOutput(id));
    return out && out->Open(8000, 1, 16, 100, 0);
}

} // namespace

TEST(AudioDeviceMgr, TwoManagers_NumberTheirDevicesOnFromEachOther) {
    auto* head = new CVirtualDeviceMgr(Devices("in-a", 2), Devices("out-a", 3));
    auto* next = new CVirtualDeviceMgr(Devices("in-b", 1), Devices("out-b", 2));
    std::unique_ptr<CAudioDeviceMgr> chain(head);
    chain->Append(next);

    EXPECT_EQ(std::tuple(head->GetFirstInput(), head->GetFirstOutput(), next->GetFirstInput(),
                         next->GetFirstOutput()),
              std::tuple(0, 0, 2, 3));

    std::vector<std::string> outputs, inputs;
    chain->GetOutputNames(outputs);
    chain->GetInputNames(inputs);
    EXPECT_EQ(outputs, (std::vector<std::string>{"Virtual: out-a0", "Virtual: out-a1", "Virtual: out-a2",
                                                 "Virtual: out-b0", "Virtual: out-b1"}));
    EXPECT_EQ(inputs, (std::vector<std::string>{"Virtual: in-a0", "Virtual: in-a1", "Virtual: in-b0"}));

    // The mixer answers with the local index of whichever manager owns the number.
    EXPECT_EQ((std::vector<int32_t>{chain->GetMixerId(2), chain->GetMixerId(3), chain->GetMixerId(4),
                                    chain->GetMixerId(5), chain->GetMixerId(-1)}),
              (std::vector<int32_t>{2, 0, 1, 0, 0}));
}

TEST(AudioDeviceMgr, CreateByGlobalNumber_ReachesTheDeviceAtThatPlaceInTheList) {
    auto* head = new CVirtualDeviceMgr(Devices("in-a", 1), Devices("out-a", 2));
    auto* next = new CVirtualDeviceMgr(Devices("in-b", 2), Devices("out-b", 2));
    std::unique_ptr<CAudioDeviceMgr> chain(head);
    chain->Append(next);

    // Unplug exactly one endpoint per manager and see which numbers stop opening.
    head->GetOutputDevice(1)->SetPresent(false);
    next->GetOutputDevice(0)->SetPresent(false);
    EXPECT_EQ((std::vector<bool>{Opens(*chain, 0), Opens(*chain, 1), Opens(*chain, 2), Opens(*chain, 3)}),
              (std::vector<bool>{true, false, false, true}));
    EXPECT_EQ(std::tuple(chain->CreateOutput(4), chain->CreateOutput(-1), chain->CreateInput(3)),
              std::tuple(nullptr, nullptr, nullptr));

    next->GetInputDevice(1)->SetPresent(false);
    std::unique_ptr<CAudioIn> present(chain->CreateInput(1));
    std::unique_ptr<CAudioIn> gone(chain->CreateInput(2));
    ASSERT_NE(present, nullptr);
    ASSERT_NE(gone, nullptr);
    EXPECT_TRUE(present->Open(8000, 1, 16, 80, 0));
    EXPECT_FALSE(gone->Open(8000, 1, 16, 80, 0));
}

TEST(AudioDeviceMgr, AppendingAChain_NumbersEveryManagerOfIt) {
    auto* a = new CVirtualDeviceMgr(Devices("i", 1), Devices("o", 2));
    auto* b = new CVirtualDeviceMgr(Devices("i", 0), Devices("o", 1));
    auto* c = new CVirtualDeviceMgr(Devices("i", 3), Devices("o", 4));
    b->Append(c); // b's own chain, numbered from 0
    EXPECT_EQ(c->GetFirstOutput(), 1);
    std::unique_ptr<CAudioDeviceMgr> chain(a);
    chain->Append(b);
    EXPECT_EQ(std::tuple(b->GetFirstOutput(), b->GetFirstInput(), c->GetFirstOutput(), c->GetFirstInput(),
                         chain->GetMixerId(6)),
              std::tuple(2, 1, 3, 1, 3));
    std::vector<std::string> names;
    chain->GetOutputNames(names);
    EXPECT_EQ(names.size(), 7u);
}
