// The meter of the meter bar: a standing LED meter whose channels carry the speaker names of the
// usual layouts for their count, in the order interleaved audio stores them.
#pragma once

#include "gui/controls/LEDMeter.h"

namespace tw {

class CSurroundLED : public CLEDMeter {
    Q_OBJECT

public:
    explicit CSurroundLED(QWidget* parent = nullptr);

    // The speaker of `channel` in a layout of `count` channels ("L", "R", "C", "LFE", ...); the
    // channel's number where the layout has no name for it.
    static QString SpeakerName(int count, int channel);

protected:
    QString ChannelLabel(int channel) const override;
};

} // namespace tw
