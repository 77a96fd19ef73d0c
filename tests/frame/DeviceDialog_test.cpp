// The device settings over a frame: the boxes list the chain's names in device-number order, select
// the stored devices (by default the first input and the first device behind the chain's head) and
// write the chosen positions back on OK; a number no device has selects nothing and stays stored.
#include "FrameTestSupport.h"

#include "audio/DeviceChain.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "frame/DeviceDialog.h"
#include "platform/Settings.h"

namespace tw::test {
namespace {

std::vector<std::shared_ptr<CVirtualDevice>> Devices(std::initializer_list<const char*> names) {
    std::vector<std::shared_ptr<CVirtualDevice>> devices;
    for (const char* name : names)
        devices.push_back(std::make_shared<CVirtualDevice>(name));
    return devices;
}

TEST_F(FrameTest, TheDeviceSettingsSelectTheStoredDevicesAndWriteBackThePositionsChosen) {
    // Two back ends: the second's devices are numbered on from the first's.
    CVirtualDeviceMgr chain(Devices({"Line", "Mic"}), Devices({"Speakers"}));
    chain.Append(new CVirtualDeviceMgr(Devices({"Desk"}), Devices({"Phones", "Room"})));
    SetDeviceChain(&chain);
    constexpr int32_t kNone = -7; // nothing stored
    const struct {
        int32_t storedInput, storedOutput;
        const char *shown, *chooseInput, *chooseOutput;
        int32_t writtenInput, writtenOutput;
    } cases[] = {
        {kNone, kNone, "0 1", nullptr, nullptr, 0, 1}, // the first output behind the head
        {2, 2, "2 2", "1", "0", 1, 0},
        {7, -3, "-1 -1", nullptr, nullptr, 7, -3}, // a card taken out
        {9, 0, "-1 0", "2", "3", 2, 0},            // a position outside the list is no choice
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shown);
        DeleteSetting("Audio", "InputDevice");
        DeleteSetting("Audio", "OutputDevice");
        if (c.storedInput != kNone)
            PutSettingInt("Audio", "InputDevice", c.storedInput);
        if (c.storedOutput != kNone)
            PutSettingInt("Audio", "OutputDevice", c.storedOutput);
        CDialogField input, output;
        When<CDeviceDialog>("DeviceSettings", [&](CDeviceDialog& dialog) {
            input = FieldOf(dialog, "input");
            output = FieldOf(dialog, "output");
            if (c.chooseInput != nullptr)
                dialog.SetFormField("input", c.chooseInput);
            if (c.chooseOutput != nullptr)
                dialog.SetFormField("output", c.chooseOutput);
            dialog.OnOK();
        });
        EXPECT_EQ(Command(CMainFrame::kDeviceSettings), 1);
        EXPECT_EQ(input.options,
                  (std::vector<std::string>{"Virtual: Line", "Virtual: Mic", "Virtual: Desk"}));
        EXPECT_EQ(output.options,
                  (std::vector<std::string>{"Virtual: Speakers", "Virtual: Phones", "Virtual: Room"}));
        EXPECT_EQ(input.value + " " + output.value, c.shown);
        EXPECT_EQ(GetSettingInt("Audio", "InputDevice", kNone), c.writtenInput);
        EXPECT_EQ(GetSettingInt("Audio", "OutputDevice", kNone), c.writtenOutput);
    }

    // Cancel writes nothing; without a chain the boxes are empty and OK keeps what is stored.
    When<CDeviceDialog>("DeviceSettings", [](CDeviceDialog& dialog) {
        dialog.SetFormField("output", "2");
        dialog.OnCancel();
    });
    EXPECT_EQ(frame->OpenDeviceSettings(), IDCANCEL);
    SetDeviceChain(nullptr);
    When<CDeviceDialog>("DeviceSettings", [](CDeviceDialog& dialog) { dialog.OnOK(); });
    EXPECT_EQ(frame->OpenDeviceSettings(), IDOK);
    EXPECT_EQ(GetSettingInt("Audio", "OutputDevice", kNone), 0);
}

} // namespace
} // namespace tw::test
