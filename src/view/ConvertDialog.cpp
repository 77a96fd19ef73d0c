#include "view/ConvertDialog.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "view/EditDialogs.h"

#include <algorithm>
#include <cstdlib>

namespace tw {

namespace {

constexpr const char* kSection = "FormatConversion";
constexpr uint32_t kFirstFilterText = 624;
constexpr int kFilterTexts = 3;
constexpr uint32_t kFirstBitsText = 269;
constexpr int kBitsTexts = 4;
constexpr uint32_t kFirstRateText = 611;
constexpr int kRateTexts = 8;
constexpr uint32_t kFirstDownMixText = 621;
constexpr int kDownMixTexts = 3;
constexpr uint32_t kRateNotSupported = 248;
constexpr int32_t kLowestRate = 101;
constexpr int32_t kHighestRate = 512000;
constexpr int kHalfWidths[kFilterTexts] = {10, 30, 50};
constexpr int kBits[kBitsTexts] = {8, 16, 24, 32};
const char* const kChannelTexts[] = {"Mono", "Stereo", "6 channels (5.1 surround)",
                                     "8 channels (7.1 surround)"};

std::vector<std::string> Texts(uint32_t first, int count) {
    std::vector<std::string> texts;
    for (int i = 0; i < count; ++i)
        texts.push_back(LoadString(first + static_cast<uint32_t>(i)));
    return texts;
}

// A position given by the window; out of range keeps what stands.
void TakeIndex(const std::string& value, int count, int& index) {
    char* end = nullptr;
    const long n = std::strtol(value.c_str(), &end, 10);
    if (end != value.c_str() && *end == '\0' && n >= 0 && n < count)
        index = static_cast<int>(n);
}

int BitsIndex(const std::string& text) {
    const int bits = std::atoi(text.c_str());
    for (int i = 0; i < kBitsTexts; ++i)
        if (kBits[i] == bits)
            return i;
    return 1;
}

} // namespace

CConvertDialog::CConvertDialog(int channels)
    : m_documentChannels(channels),
      m_filter(std::clamp(GetSettingInt(kSection, "Filter", 1), 0, kFilterTexts - 1)),
      m_channelCode(std::clamp(GetSettingInt(kSection, "ChannelCode", 1), 0, 3)),
      m_resolution(BitsIndex(GetSettingString(kSection, "Resolution", "16"))),
      m_downMix(std::clamp(GetSettingInt(kSection, "DownMixMode", 0), 0, kDownMixTexts - 1)),
      m_rateText(GetSettingString(kSection, "SampleRate", "44100")) {}

bool CConvertDialog::DownMixAllowed() const {
    return m_documentChannels > 2 && GetChannels() == 2;
}

int CConvertDialog::GetBits() const {
    return kBits[m_resolution];
}

int CConvertDialog::GetChannels() const {
    switch (m_channelCode) {
    case 0:
        return 1;
    case 2:
        return 6;
    case 3:
        return 8;
    default:
        return 2;
    }
}

int CConvertDialog::GetHalfWidth() const {
    return kHalfWidths[m_filter];
}

int CConvertDialog::StoredHalfWidth() {
    return kHalfWidths[std::clamp(GetSettingInt(kSection, "Filter", 1), 0, kFilterTexts - 1)];
}

std::vector<CDialogField> CConvertDialog::GetFormFields() const {
    std::vector<CDialogField> fields;
    fields.push_back({"rate", "Sample rate:", CDialogField::Kind::TextChoice, m_rateText,
                      Texts(kFirstRateText, kRateTexts), true});
    fields.push_back({"bits", "Resolution:", CDialogField::Kind::Choice, std::to_string(m_resolution),
                      Texts(kFirstBitsText, kBitsTexts), true});
    CDialogField channels{"channels",
                          "Channels",
                          CDialogField::Kind::Radio,
                          std::to_string(m_channelCode),
                          std::vector<std::string>(std::begin(kChannelTexts), std::end(kChannelTexts)),
                          true};
    // The down-mix box follows the channel choice at once.
    channels.live = true;
    fields.push_back(channels);
    fields.push_back({"downMix", "Down-mix:", CDialogField::Kind::Choice, std::to_string(m_downMix),
                      Texts(kFirstDownMixText, kDownMixTexts), DownMixAllowed()});
    fields.push_back({"filter", "Quality:", CDialogField::Kind::Choice, std::to_string(m_filter),
                      Texts(kFirstFilterText, kFilterTexts), true});
    return fields;
}

void CConvertDialog::SetFormField(const std::string& key, const std::string& value) {
    if (key == "rate") {
        m_rateText = value;
        m_refused = false;
    } else if (key == "bits") {
        TakeIndex(value, kBitsTexts, m_resolution);
    } else if (key == "channels") {
        TakeIndex(value, 4, m_channelCode);
    } else if (key == "downMix") {
        TakeIndex(value, kDownMixTexts, m_downMix);
    } else if (key == "filter") {
        TakeIndex(value, kFilterTexts, m_filter);
    }
}

void CConvertDialog::OnOK() {
    const int32_t rate = CFormatDialog::RateOfText(m_rateText);
    if (rate < kLowestRate || rate > kHighestRate) {
        m_refused = true;
        ShowMessageBox(LoadString(kRateNotSupported), MB_ICONWARNING, GetSafeHandle());
        if (IsRunning())
            Presentation().DialogChanged(*this);
        return;
    }
    m_rate = rate;
    PutSettingInt(kSection, "Filter", m_filter);
    PutSettingInt(kSection, "ChannelCode", m_channelCode);
    PutSettingString(kSection, "Resolution", std::to_string(GetBits()));
    PutSettingString(kSection, "SampleRate", std::to_string(rate));
    PutSettingInt(kSection, "DownMixMode", GetDownMixMode());
    CModalDialog::OnOK();
}

} // namespace tw
