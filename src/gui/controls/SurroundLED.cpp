#include "gui/controls/SurroundLED.h"

#include <array>

namespace tw {

namespace {

// Front pair first, then centre and low-frequency channel, then the rear and side pairs: the
// channel order of multichannel wave files.
const std::array<std::array<const char*, 8>, 8> kLayouts = {{
    {"M"},
    {"L", "R"},
    {"L", "R", "C"},
    {"L", "R", "Ls", "Rs"},
    {"L", "R", "C", "Ls", "Rs"},
    {"L", "R", "C", "LFE", "Ls", "Rs"},
    {"L", "R", "C", "LFE", "Cs", "Ls", "Rs"},
    {"L", "R", "C", "LFE", "Lb", "Rb", "Ls", "Rs"},
}};

} // namespace

CSurroundLED::CSurroundLED(QWidget* parent) : CLEDMeter(parent) {
    SetChannels(kMaxChannels);
}

QString CSurroundLED::SpeakerName(int count, int channel) {
    if (count < 1 || count > kMaxChannels || channel < 0 || channel >= count)
        return QString::number(channel + 1);
    return QString::fromLatin1(kLayouts[size_t(count - 1)][size_t(channel)]);
}

QString CSurroundLED::ChannelLabel(int channel) const {
    return SpeakerName(Channels(), channel);
}

} // namespace tw
