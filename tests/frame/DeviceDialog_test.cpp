// The device settings over a frame: the boxes list the chain's names in device-number order, select
// the stored devices (by default the first input and the first device behind the chain's head) and
// write the chosen positions back on OK; a stored number no device has selects nothing and stays.
#include "FrameTestSupport.h"

#include "audio/DeviceChain.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "frame/DeviceDialog.h"
#include "platform/Settings.h"

#include <memory>
#include <optional>

namespace tw::test {
namespace {

constexpr int32_t kUnset = -7;

std::vector<std::shared_ptr<CVirtualDevice>> Devices(std::initializer_list<const char*> names) {
    std::vector<std::shared_ptr<CVirtualDevice>> devices;
    for (const char* name : names)
        devices.push_back(std::make_shared<CVirtualDevice>(name));
    return devices;
}

class DeviceSettingsTest : public FrameTest {
protected:
    void SetUp() override {
        FrameTest::SetUp();
        // Two back ends: the second's devices are numbered on from the first's.
        chain = std::make_unique<CVirtualDeviceMgr>(Devices({"Line", "Mic"}), Devices({"Speakers"}));
        chain->Append(new CVirtualDeviceMgr(Devices({"Desk"}), Devices({"Phones", "Room"})));
        SetDeviceChain(chain.get());
    }
    void TearDown() override {
        SetDeviceChain(nullptr);
        FrameTest::TearDown();
    }
    std::unique_ptr<CVirtualDeviceMgr> chain;
};

TEST_F(DeviceSettingsTest, TheStoredDevicesAreSelectedAndThePositionsChosenAreWrittenBack) {
    const struct {
        std::optional<int32_t> storedInput, storedOutput;
        const char* shownInput;
        const char* shownOutput;
        const char* chooseInput; // null: left as shown
        const char* chooseOutput;
        int32_t writtenInput, writtenOutput;
    } cases[] = {
        // Nothing stored: the first input, and the first output behind the head, as playback takes.
        {std::nullopt, std::nullopt, "0", "1", nullptr, nullptr, 0, 1},
        {2, 2, "2", "2", "1", "0", 1, 0},
        // Numbers no device has (a card taken out): nothing selected, nothing written.
        {7, -3, "-1", "-1", nullptr, nullptr, 7, -3},
        {9, 0, "-1", "0", "2", nullptr, 2, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.shownInput) + " " + c.shownOutput);
        DeleteSetting("Audio", "InputDevice");
        DeleteSetting("Audio", "OutputDevice");
        if (c.storedInput)
            PutSettingInt("Audio", "InputDevice", *c.storedInput);
        if (c.storedOutput)
            PutSettingInt("Audio", "OutputDevice", *c.storedOutput);
        CDialogField input, output;
        std::string title;
        When<CDeviceDialog>("DeviceSettings", [&](CDeviceDialog& dialog) {
            title = dialog.GetWindowText();
            input = FieldOf(dialog, "input");
            output = FieldOf(dialog, "output");
            if (c.chooseInput != nullptr)
                dialog.SetFormField("input", c.chooseInput);
            if (c.chooseOutput != nullptr)
                dialog.SetFormField("output", c.chooseOutput);
            dialog.OnOK();
        });
        EXPECT_EQ(Command(CMainFrame::kDeviceSettings), 1);
        EXPECT_EQ(title, "Device Settings");
        EXPECT_EQ(input.label, "Input device:");
        EXPECT_EQ(input.options,
                  (std::vector<std::string>{"Virtual: Line", "Virtual: Mic", "Virtual: Desk"}));
        EXPECT_EQ(output.label, "Output device:");
        EXPECT_EQ(output.options,
                  (std::vector<std::string>{"Virtual: Speakers", "Virtual: Phones", "Virtual: Room"}));
        EXPECT_EQ(input.value, c.shownInput);
        EXPECT_EQ(output.value, c.shownOutput);
        EXPECT_EQ(GetSettingInt("Audio", "InputDevice", kUnset), c.writtenInput);
        EXPECT_EQ(GetSettingInt("Audio", "OutputDevice", kUnset), c.writtenOutput);
    }
}

TEST_F(DeviceSettingsTest, CancelAndPositionsOutsideTheListsWriteNothing) {
    When<CDeviceDialog>("DeviceSettings", [](CDeviceDialog& dialog) {
        dialog.SetFormField("input", "3");
        dialog.SetFormField("output", "x");
        EXPECT_EQ(dialog.GetInput(), 0);
        EXPECT_EQ(dialog.GetOutput(), 1);
        dialog.SetFormField("output", "2");
        dialog.OnCancel();
    });
    EXPECT_EQ(frame->OpenDeviceSettings(), IDCANCEL);
    EXPECT_EQ(GetSettingInt("Audio", "InputDevice", kUnset), kUnset);
    EXPECT_EQ(GetSettingInt("Audio", "OutputDevice", kUnset), kUnset);

    // Without a device chain the boxes are empty and OK keeps what is stored.
    SetDeviceChain(nullptr);
    PutSettingInt("Audio", "OutputDevice", 4);
    When<CDeviceDialog>("DeviceSettings", [](CDeviceDialog& dialog) {
        EXPECT_TRUE(FieldOf(dialog, "output").options.empty());
        dialog.OnOK();
    });
    EXPECT_EQ(frame->OpenDeviceSettings(), IDOK);
    EXPECT_EQ(GetSettingInt("Audio", "OutputDevice", kUnset), 4);
    EXPECT_EQ(GetSettingInt("Audio", "InputDevice", kUnset), kUnset);
}

} // namespace
} // namespace tw::test
