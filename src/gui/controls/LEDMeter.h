// A level meter of LED segments for up to eight channels, standing or lying, with a clip lamp per
// channel, a peak mark and a dB scale. Levels are fractions of an 80 dB span: 0 is -80 dB, 1 is full
// scale. The meter animates its own fall and peak hold (see CMeterBallistics) on a timer that runs
// only while something moves.
#pragma once

#include "gui/controls/MeterBallistics.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

#include <array>
#include <functional>
#include <vector>

namespace tw {

class CLEDMeter : public QWidget {
    Q_OBJECT

public:
    static constexpr int kMaxChannels = 8;
    static constexpr double kFloorDb = -80.0;
    // The milliseconds since some fixed start; the meter's ballistics run on it.
    using Clock = std::function<qint64()>;

    explicit CLEDMeter(QWidget* parent = nullptr);

    // 1 to 8; other counts are limited to that. Channels that go out of view forget their state.
    void SetChannels(int n);
    int Channels() const { return m_channels; }
    // A new reading for one channel; channels out of range are ignored, levels are limited to 0..1.
    void SetLevel(int channel, float level);
    // All channels dark at once: bars, peak marks and clip lamps.
    void Reset();
    void ClearClips();

    void SetOrientation(Qt::Orientation orientation);
    Qt::Orientation Orientation() const { return m_orientation; }
    void SetScaleVisible(bool visible);

    // What the meter shows now, after the fall and hold since the last reading; 0 out of range.
    float Level(int channel) const;
    float Peak(int channel) const;
    bool Clipped(int channel) const;
    // Where the segments of a channel are drawn, in widget coordinates; empty out of range.
    QRect BarRect(int channel) const;

    // Replaces the real-time clock, for a meter driven from recorded time; an empty clock restores it.
    void SetClock(Clock clock);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    // The name under a channel's bar; the number by default.
    virtual QString ChannelLabel(int channel) const;

    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    struct Layout {
        std::vector<QRect> bars;   // the segment area of each channel
        std::vector<QRect> lamps;  // the clip lamp of each channel
        std::vector<QRect> labels; // the name of each channel
        QRect scale;               // room for the dB marks, empty when hidden
        int segments = 0;          // segments along one bar
        int pitch = 0;             // pixels per segment, gap included
    };
    Layout ComputeLayout() const;
    qint64 Now() const;
    void CatchUp();
    void OnTick();
    void PaintBar(QPainter& p, const Layout& layout, int channel) const;
    void PaintScale(QPainter& p, const Layout& layout) const;

    int m_channels = 2;
    Qt::Orientation m_orientation = Qt::Vertical;
    bool m_scaleVisible = true;
    std::array<CMeterBallistics, kMaxChannels> m_meters;
    Clock m_clock;
    QElapsedTimer m_realTime;
    qint64 m_lastMs = 0;
    QTimer m_animation;
};

} // namespace tw
