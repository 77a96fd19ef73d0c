#include "view/EditDialogs.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace tw {

namespace {

// The ranges a person may type. Frequencies reach half the highest rate the format dialog offers;
// a frequency of 0 is taken as it stands (saw-tooth and square then give a constant). Six hours of
// signal still count as 32-bit frames at 192 kHz.
CDialogField FrequencyField(const char* key, const char* label, float hertz, bool enabled) {
    CDialogField field{key, label, CDialogField::Kind::Number, FieldNumberText(hertz, 1), {}, enabled};
    field.minimum = 0;
    field.maximum = 96000;
    field.step = 10;
    field.decimals = 1;
    field.unit = "Hz";
    return field;
}

constexpr double kLongestSeconds = 21600;

// The format dialog's entries: the rates from 192 kHz down, the bit depths from 8 up.
constexpr uint32_t kFirstRateText = 611;
constexpr int kRateTexts = 8;
constexpr int kCdRate = 3; // "44100 Hz (CD)"
constexpr uint32_t kFirstBitsText = 269;
constexpr int kBitsTexts = 4;
constexpr uint32_t kRateNotSupported = 248;
constexpr int32_t kLowestRate = 101;
constexpr int32_t kHighestRate = 512000;
constexpr int kQuietestDb = -90;

int DecibelsOf(float amplitude) {
    if (!(amplitude > 0))
        return kQuietestDb;
    return std::clamp(static_cast<int>(std::lround(20.0 * std::log10(amplitude))), kQuietestDb, 0);
}

} // namespace

std::vector<CDialogField> CSignalGeneratorDlg::GetFormFields() const {
    const bool tones = m_settings.type == SignalGeneratorSettings::tones;
    CDialogField type{
        "type", "Signal", CDialogField::Kind::Radio, std::to_string(tones ? 0 : 1), {"Tones", "Noise"}, true};
    // The other fields follow the choice of signal at once.
    type.live = true;
    CDialogField waveform{"waveform",
                          "Waveform:",
                          CDialogField::Kind::Choice,
                          std::to_string(std::clamp(m_settings.waveform, 0, 2)),
                          {"Sine", "Saw-tooth", "Square"},
                          tones};
    CDialogField color{"noiseColor",
                       "Noise color:",
                       CDialogField::Kind::Choice,
                       std::to_string(std::clamp(m_settings.noiseColor, 0, 2)),
                       {"White", "Pink", "Brown"},
                       !tones};
    CDialogField duration{
        "duration", "Duration:", CDialogField::Kind::Number, FieldNumberText(m_settings.duration, 2),
        {},         true};
    duration.minimum = 0.01;
    duration.maximum = kLongestSeconds;
    duration.step = 1;
    duration.decimals = 2;
    duration.unit = "s";
    CDialogField amplitude{"amplitude",
                           "Amplitude",
                           CDialogField::Kind::Slider,
                           std::to_string(DecibelsOf(m_settings.amplitude)),
                           {},
                           true};
    amplitude.minimum = kQuietestDb;
    amplitude.maximum = 0;
    amplitude.unit = "dB";
    return {type,
            waveform,
            color,
            FrequencyField("startFrequency", "Start frequency:", m_settings.startFrequency, tones),
            FrequencyField("endFrequency", "End frequency:", m_settings.endFrequency, tones),
            duration,
            amplitude};
}

void CSignalGeneratorDlg::SetFormField(const std::string& key, const std::string& value) {
    auto index = [&value](int count) {
        return value.size() == 1 && value[0] >= '0' && value[0] < '0' + count ? value[0] - '0' : -1;
    };
    if (key == "type" && index(2) >= 0) {
        m_settings.type = index(2);
    } else if (key == "waveform" && index(3) >= 0) {
        m_settings.waveform = index(3);
    } else if (key == "noiseColor" && index(3) >= 0) {
        m_settings.noiseColor = index(3);
    } else if (key == "amplitude") {
        double decibels = 0;
        // The slider moves in whole decibels: an amplitude between two steps stays as it was
        // unless the slider was moved off it.
        if (ParseFieldNumber(value, decibels) &&
            static_cast<int>(decibels) != DecibelsOf(m_settings.amplitude))
            m_settings.amplitude =
                AmplitudeFromDecibels(std::clamp(static_cast<int>(decibels), kQuietestDb, 0));
    } else if (key == "startFrequency" || key == "endFrequency" || key == "duration") {
        for (const CDialogField& field : GetFormFields()) {
            if (field.key != key)
                continue;
            double number = 0;
            if (!ParseFieldNumber(value, number) || number < field.minimum || number > field.maximum) {
                m_refused = key;
                return;
            }
            if (key == "duration")
                m_settings.duration = number;
            else
                (key == "startFrequency" ? m_settings.startFrequency : m_settings.endFrequency) =
                    static_cast<float>(number);
            if (m_refused == key)
                m_refused.clear();
        }
    }
}

void CSignalGeneratorDlg::OnOK() {
    if (!m_refused.empty()) {
        for (const CDialogField& field : GetFormFields())
            if (field.key == m_refused)
                ShowMessageBox(FieldRangeMessage(field), MB_ICONWARNING, GetSafeHandle());
        return;
    }
    m_settings.Save();
    CModalDialog::OnOK();
}

CFormatDialog::CFormatDialog() : m_rateText(LoadString(kFirstRateText + kCdRate)) {
    m_format.wFormatTag = 1;
    m_format.nChannels = 2;
    m_format.nSamplesPerSec = 44100;
    m_format.wBitsPerSample = 16;
    m_format.nBlockAlign = 4;
    m_format.nAvgBytesPerSec = 44100 * 4;
}

std::vector<CDialogField> CFormatDialog::GetFormFields() const {
    std::vector<std::string> rates;
    for (int i = 0; i < kRateTexts; ++i)
        rates.push_back(LoadString(kFirstRateText + i));
    std::vector<std::string> depths;
    for (int i = 0; i < kBitsTexts; ++i)
        depths.push_back(LoadString(kFirstBitsText + i));
    return {{"rate", "Sample rate:", CDialogField::Kind::TextChoice, m_rateText, rates, true},
            {"bits", "Resolution:", CDialogField::Kind::Choice, std::to_string(m_resolution), depths, true},
            {"stereo", "Stereo", CDialogField::Kind::Check, m_stereo ? "1" : "0", {}, true}};
}

void CFormatDialog::SetFormField(const std::string& key, const std::string& value) {
    if (key == "rate") {
        m_rateText = value;
        m_refused = false;
    } else if (key == "bits" && value.size() == 1 && value[0] >= '0' && value[0] < '0' + kBitsTexts) {
        m_resolution = value[0] - '0';
    } else if (key == "stereo") {
        m_stereo = value == "1";
    }
}

int32_t CFormatDialog::RateOfText(const std::string& text) {
    static const char kNoBreakSpace[] = "\xC2\xA0";
    std::string packed;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ' ')
            continue;
        if (text.compare(i, 2, kNoBreakSpace) == 0) {
            ++i;
            continue;
        }
        packed += text[i];
    }
    // Read as the C library's integer conversion reads: leading white space, a sign, digits.
    size_t at = 0;
    while (at < packed.size() && (packed[at] == '\t' || packed[at] == '\n' || packed[at] == '\v' ||
                                  packed[at] == '\f' || packed[at] == '\r'))
        ++at;
    bool negative = false;
    if (at < packed.size() && (packed[at] == '+' || packed[at] == '-'))
        negative = packed[at++] == '-';
    int64_t number = 0;
    for (; at < packed.size() && packed[at] >= '0' && packed[at] <= '9'; ++at)
        number = std::min<int64_t>(number * 10 + (packed[at] - '0'), int64_t{INT_MAX} + 1);
    if (negative)
        return static_cast<int32_t>(std::max<int64_t>(-number, INT_MIN));
    return static_cast<int32_t>(std::min<int64_t>(number, INT_MAX));
}

void CFormatDialog::OnOK() {
    const int32_t rate = RateOfText(m_rateText);
    if (rate < kLowestRate || rate > kHighestRate) {
        m_refused = true;
        ShowMessageBox(LoadString(kRateNotSupported), MB_ICONWARNING, GetSafeHandle());
        return;
    }
    // The bit depth is the leading number of its entry, as the rate is of the rate's.
    const uint16_t bits = static_cast<uint16_t>(std::atoi(LoadString(kFirstBitsText + m_resolution).c_str()));
    m_format.wFormatTag = 1;
    m_format.nChannels = m_stereo ? 2 : 1;
    m_format.nSamplesPerSec = static_cast<uint32_t>(rate);
    m_format.wBitsPerSample = bits;
    m_format.nBlockAlign = static_cast<uint16_t>(bits / 8 * m_format.nChannels);
    m_format.nAvgBytesPerSec = m_format.nBlockAlign * m_format.nSamplesPerSec;
    m_format.cbSize = 0;
    CModalDialog::OnOK();
}

} // namespace tw
