// The ALSA device manager's list and numbering, from ALSA's device hints (no sound server needed),
// and the rule that finds a PCM's mixer.
#include "audio/AlsaDeviceList.h"
#include "audio/MMEDeviceMgr.h"
#include "audio/MMEIn.h"
#include "audio/MMEOut.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <tuple>

using namespace tw;

TEST(MMEDeviceMgr, ListsEveryDeviceAsALSA_WithTheDefaultDeviceLast_AndCountsItAsOneMore) {
    CMMEDeviceMgr manager;
    const CAlsaDeviceList& devices = manager.GetDevices();
    std::vector<std::string> outputs, inputs;
    manager.GetOutputNames(outputs);
    manager.GetInputNames(inputs);
    ASSERT_EQ(outputs.size(), devices.GetOutputs().size() + 1);
    ASSERT_EQ(inputs.size(), devices.GetInputs().size() + 1);
    EXPECT_EQ(std::tuple(manager.GetOutputCount(), manager.GetInputCount(), outputs.back(), inputs.back()),
              std::tuple(int32_t(outputs.size()), int32_t(inputs.size()), "ALSA: (default device)",
                         "ALSA: (default device)"));
    for (const std::string& name : outputs)
        EXPECT_EQ(name.rfind("ALSA: ", 0), 0u) << name;
    // `default` is the mapper and nothing else; the discard device comes after the real ones.
    for (const CAlsaDeviceList::Device& d : devices.GetOutputs())
        EXPECT_NE(d.name, "default");
    const auto& list = devices.GetOutputs();
    const auto null = std::find_if(list.begin(), list.end(), [](const auto& d) { return d.name == "null"; });
    if (null != list.end()) {
        EXPECT_EQ(null + 1, list.end());
        EXPECT_EQ(outputs[list.size() - 1], "ALSA: " + null->description);
    }
}

TEST(MMEDeviceMgr, MakesDevicesByLocalIndex_TheMapperOnTheDefaultDevice_AndAnswersItsMixerByIndex) {
    auto* head = new CMMEDeviceMgr;
    std::unique_ptr<CAudioDeviceMgr> chain(head);
    chain->Append(new CVirtualDeviceMgr({}, {std::make_shared<CVirtualDevice>("card")}));
    const int32_t mapper = head->GetOutputCount() - 1;

    std::unique_ptr<CAudioOut> out(chain->CreateOutput(mapper));
    ASSERT_NE(dynamic_cast<CMMEOut*>(out.get()), nullptr);
    EXPECT_EQ(static_cast<CMMEOut*>(out.get())->GetPcmName(), "default");
    std::unique_ptr<CAudioIn> in(chain->CreateInput(head->GetInputCount() - 1));
    ASSERT_NE(dynamic_cast<CMMEIn*>(in.get()), nullptr);
    EXPECT_EQ(static_cast<CMMEIn*>(in.get())->GetPcmName(), "default");
    if (!head->GetDevices().GetOutputs().empty()) {
        std::unique_ptr<CAudioOut> first(chain->CreateOutput(0));
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(static_cast<CMMEOut*>(first.get())->GetPcmName(), head->GetDevices().GetOutputs()[0].name);
    }
    EXPECT_EQ(std::pair(chain->GetMixerId(mapper), chain->GetMixerId(0)), std::pair(mapper, 0));
    // The number after the mapper is the next back end's first device.
    std::unique_ptr<CAudioOut> next(chain->CreateOutput(mapper + 1));
    EXPECT_EQ(dynamic_cast<CMMEOut*>(next.get()), nullptr);
    EXPECT_NE(next, nullptr);
    EXPECT_EQ(chain->CreateOutput(mapper + 2), nullptr);
}

TEST(AlsaDeviceList, FindsTheControlDeviceOfAPcm) {
    const struct {
        const char* pcm;
        const char* control;
    } cases[] = {
        {"default", "default"},
        {"null", ""},
        {"", ""},
        {"hw:CARD=PCH,DEV=0", "hw:CARD=PCH"},
        {"plughw:CARD=NVidia,DEV=3", "hw:CARD=NVidia"},
        {"sysdefault:CARD=Intel", "hw:CARD=Intel"},
        {"front:CARD=Audio,DEV=0", "hw:CARD=Audio"},
        {"hw:1,0", "hw:1"},
        {"plughw:2", "hw:2"},
        // A plug-in without a control device of its own plays through the default device.
        {"tw_no_such_plugin", "default"},
        {"upmix:8", "default"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CAlsaDeviceList::ControlDeviceOf(c.pcm), c.control) << c.pcm;
}

TEST(AlsaDeviceList, NamesADeviceByItsDescription_OrByItsNameWithoutOne_AndLocalIndicesByList) {
    EXPECT_EQ(CAlsaDeviceList::DisplayName({"hw:CARD=PCH,DEV=0", "HDA Intel PCH, ALC892 Analog"}),
              "ALSA: HDA Intel PCH, ALC892 Analog");
    EXPECT_EQ(CAlsaDeviceList::DisplayName({"mine", ""}), "ALSA: mine");
    const CAlsaDeviceList list = CAlsaDeviceList::Enumerate();
    const int32_t count = static_cast<int32_t>(list.GetOutputs().size());
    EXPECT_EQ(
        (std::vector<std::string>{list.OutputPcm(count), list.OutputPcm(count + 1), list.OutputPcm(-1)}),
        (std::vector<std::string>{"default", "", ""}));
}
