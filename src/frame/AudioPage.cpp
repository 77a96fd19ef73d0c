#include "frame/AudioPage.h"

#include "platform/Settings.h"
#include "platform/StringTable.h"

#include <array>
#include <charconv>

namespace tw {

namespace {
constexpr const char* kSection = "AudioOutput";
constexpr std::array<int32_t, 4> kBits = {8, 16, 24, 32};
constexpr int32_t kDefaultBits = 16;
constexpr uint32_t kBitTexts = 269;     // "8 Bit (Telephone)" and the three after it
constexpr uint32_t kNoFilter = 541;     // "None"
constexpr uint32_t kFilterTexts = 601;  // "IIR filter (2nd order)", "FIR filter (3 taps)"
constexpr uint32_t kVirtualTexts = 622; // the two virtual surround modes
constexpr int32_t kFilterCount = 3;
constexpr int32_t kSurroundCount = 3;

int32_t PositionOfBits(int32_t bits) {
    for (size_t i = 0; i < kBits.size(); ++i)
        if (kBits[i] == bits)
            return static_cast<int32_t>(i);
    return PositionOfBits(kDefaultBits);
}

// A stored position outside its box shows the default instead.
int32_t Within(int32_t position, int32_t count, int32_t fallback) {
    return position >= 0 && position < count ? position : fallback;
}

bool ParsePosition(const std::string& text, int32_t count, int32_t& position) {
    int32_t parsed = -1;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || parsed < 0 || parsed >= count)
        return false;
    position = parsed;
    return true;
}

CDialogField Check(const char* key, const char* label, bool checked) {
    return CDialogField{key, label, CDialogField::Kind::Check, checked ? "1" : "0", {}, true};
}

CDialogField Box(const char* key, const char* label, int32_t position, std::vector<std::string> options) {
    return CDialogField{key, label, CDialogField::Kind::Choice, std::to_string(position), std::move(options)};
}
} // namespace

CAudioPage::CAudioPage()
    : m_dithering(GetSettingInt(kSection, "Dithering", 0) != 0),
      m_noiseShaping(Within(GetSettingInt(kSection, "NoiseShapingFilter", 1), kFilterCount, 1)),
      m_restoreVolume(GetSettingInt(kSection, "RestoreVolume", 1) != 0),
      m_resolution(PositionOfBits(GetSettingInt(kSection, "Resolution", kDefaultBits))),
      m_surround(Within(GetSettingInt(kSection, "SurroundMode", 0), kSurroundCount, 0)) {}

std::vector<CDialogField> CAudioPage::GetFields() const {
    CDialogField dithering =
        Check("dithering", "Use dithering when converting to lower bit depths", m_dithering);
    // The filter box follows the check at once.
    dithering.live = true;
    CDialogField filter =
        Box("noiseShaping", "Noise shaping filter:", m_noiseShaping,
            {LoadString(kNoFilter), LoadString(kFilterTexts), LoadString(kFilterTexts + 1)});
    filter.enabled = m_dithering;
    std::vector<std::string> bits;
    for (uint32_t i = 0; i < kBits.size(); ++i)
        bits.push_back(LoadString(kBitTexts + i));
    return {
        dithering, filter,
        Check("restoreVolume", "Restore wave output volume when closing Vond Tidewright", m_restoreVolume),
        Box("resolution", "Bit depth during playback:", m_resolution, std::move(bits)),
        Box("surround", "Play surround audio as:", m_surround,
            {"Multichannel audio (true surround sound)", LoadString(kVirtualTexts),
             LoadString(kVirtualTexts + 1)})};
}

bool CAudioPage::SetField(const std::string& key, const std::string& value) {
    if (key == "dithering")
        m_dithering = value == "1";
    else if (key == "restoreVolume")
        m_restoreVolume = value == "1";
    else if (key == "noiseShaping")
        ParsePosition(value, kFilterCount, m_noiseShaping);
    else if (key == "resolution")
        ParsePosition(value, static_cast<int32_t>(kBits.size()), m_resolution);
    else if (key == "surround")
        ParsePosition(value, kSurroundCount, m_surround);
    else
        return false;
    return true;
}

void CAudioPage::OnOK(WindowHandle) {
    PutSettingInt(kSection, "Dithering", m_dithering ? 1 : 0);
    // The key holds the box's position ("None", IIR, FIR), while the sinks read it as a filter
    // number (0 IIR, 1 FIR, anything else: the coefficients stay as they were). The two readings
    // disagree; the box's is kept here, as the sinks keep theirs.
    PutSettingInt(kSection, "NoiseShapingFilter", m_noiseShaping);
    PutSettingInt(kSection, "RestoreVolume", m_restoreVolume ? 1 : 0);
    PutSettingInt(kSection, "Resolution", kBits[static_cast<size_t>(m_resolution)]);
    PutSettingInt(kSection, "SurroundMode", m_surround);
}

} // namespace tw
