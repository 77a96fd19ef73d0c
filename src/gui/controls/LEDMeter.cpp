#include "gui/controls/LEDMeter.h"

#include "gui/controls/ControlLook.h"

#include <QFontMetrics>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr int kPadding = 6;
constexpr int kLampThickness = 4;
constexpr int kLampGap = 3;
constexpr int kBarGap = 3;
constexpr int kMaxBarThickness = 22;
constexpr int kTickLength = 3;
constexpr int kFrameMs = 30; // about 33 pictures a second while the bars fall

// The marks of the scale, most wanted first; a mark that would crowd one already placed is left out.
constexpr double kScaleMarks[] = {0, -80, -6, -12, -18, -24, -30, -36, -42, -48, -54, -60, -70, -3, -9};

double LevelToDb(double level) {
    return CLEDMeter::kFloorDb * (1.0 - level);
}

} // namespace

CLEDMeter::CLEDMeter(QWidget* parent) : QWidget(parent) {
    m_realTime.start();
    m_lastMs = Now();
    m_animation.setInterval(kFrameMs);
    connect(&m_animation, &QTimer::timeout, this, &CLEDMeter::OnTick);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    setToolTip(tr("Click to clear the clip lamps"));
}

void CLEDMeter::SetChannels(int n) {
    n = std::clamp(n, 1, kMaxChannels);
    if (n == m_channels)
        return;
    for (int c = n; c < kMaxChannels; ++c)
        m_meters[size_t(c)].Reset();
    m_channels = n;
    updateGeometry();
    update();
}

void CLEDMeter::SetLevel(int channel, float level) {
    if (channel < 0 || channel >= m_channels)
        return;
    CatchUp();
    m_meters[size_t(channel)].Feed(level);
    if (!m_meters[size_t(channel)].Resting() && !m_animation.isActive())
        m_animation.start();
    update();
}

void CLEDMeter::Reset() {
    for (CMeterBallistics& m : m_meters)
        m.Reset();
    m_animation.stop();
    update();
}

void CLEDMeter::ClearClips() {
    for (CMeterBallistics& m : m_meters)
        m.ClearClip();
    update();
}

void CLEDMeter::SetOrientation(Qt::Orientation orientation) {
    if (orientation == m_orientation)
        return;
    m_orientation = orientation;
    setSizePolicy(orientation == Qt::Vertical ? QSizePolicy::Preferred : QSizePolicy::Expanding,
                  orientation == Qt::Vertical ? QSizePolicy::Expanding : QSizePolicy::Preferred);
    updateGeometry();
    update();
}

void CLEDMeter::SetScaleVisible(bool visible) {
    m_scaleVisible = visible;
    updateGeometry();
    update();
}

float CLEDMeter::Level(int channel) const {
    return channel >= 0 && channel < m_channels ? m_meters[size_t(channel)].Level() : 0.0f;
}

float CLEDMeter::Peak(int channel) const {
    return channel >= 0 && channel < m_channels ? m_meters[size_t(channel)].Peak() : 0.0f;
}

bool CLEDMeter::Clipped(int channel) const {
    return channel >= 0 && channel < m_channels && m_meters[size_t(channel)].Clipped();
}

QRect CLEDMeter::BarRect(int channel) const {
    if (channel < 0 || channel >= m_channels)
        return {};
    return ComputeLayout().bars[size_t(channel)];
}

void CLEDMeter::SetClock(Clock clock) {
    m_clock = std::move(clock);
    m_lastMs = Now();
}

QString CLEDMeter::ChannelLabel(int channel) const {
    return QString::number(channel + 1);
}

qint64 CLEDMeter::Now() const {
    return m_clock ? m_clock() : m_realTime.elapsed();
}

void CLEDMeter::CatchUp() {
    const qint64 now = Now();
    const qint64 passed = now - m_lastMs;
    m_lastMs = now;
    if (passed <= 0)
        return;
    for (int c = 0; c < m_channels; ++c)
        m_meters[size_t(c)].Advance(double(passed) / 1000.0);
}

void CLEDMeter::OnTick() {
    CatchUp();
    const bool moving = std::any_of(m_meters.begin(), m_meters.begin() + m_channels,
                                    [](const CMeterBallistics& m) { return !m.Resting(); });
    if (!moving)
        m_animation.stop();
    update();
}

QSize CLEDMeter::sizeHint() const {
    const QFontMetrics fm(look::SmallFont(font()));
    const int scale = m_scaleVisible ? fm.horizontalAdvance(QStringLiteral("-60")) + 8 : 0;
    const int across = 2 * kPadding + m_channels * 10 + (m_channels - 1) * kBarGap;
    if (m_orientation == Qt::Vertical)
        return {across + scale, 200};
    return {260, across + (m_scaleVisible ? fm.height() + 4 : 0)};
}

QSize CLEDMeter::minimumSizeHint() const {
    const QSize hint = sizeHint();
    return m_orientation == Qt::Vertical ? QSize(hint.width(), 80) : QSize(100, hint.height());
}

CLEDMeter::Layout CLEDMeter::ComputeLayout() const {
    Layout out;
    const QFontMetrics fm(look::SmallFont(font()));
    const QRect r = rect().adjusted(kPadding, kPadding, -kPadding, -kPadding);
    const int n = m_channels;
    const bool vertical = m_orientation == Qt::Vertical;

    // Across the bars: the room shared by the channels, with the scale beside them.
    const int scaleAcross = !m_scaleVisible ? 0
                            : vertical      ? fm.horizontalAdvance(QStringLiteral("-60")) + kTickLength + 5
                                            : fm.height() + kTickLength + 2;
    int labelAlong = fm.height() + 2;
    if (!vertical) {
        labelAlong = 0;
        for (int c = 0; c < n; ++c)
            labelAlong = std::max(labelAlong, fm.horizontalAdvance(ChannelLabel(c)) + 6);
    }
    const int roomAcross = (vertical ? r.width() : r.height()) - scaleAcross;
    const int thickness = std::clamp((roomAcross - kBarGap * (n - 1)) / n, 2, kMaxBarThickness);
    const int group = n * thickness + (n - 1) * kBarGap;
    const int groupStart = (vertical ? r.left() : r.top()) + std::max(0, (roomAcross - group) / 2);

    // Along the bars: whole segments, so that every segment has the same size and gap.
    const int roomAlong = (vertical ? r.height() : r.width()) - labelAlong - kLampThickness - kLampGap;
    out.pitch = roomAlong >= 120 ? 4 : 3;
    out.segments = std::max(1, roomAlong / out.pitch);
    const int along = out.segments * out.pitch;

    for (int c = 0; c < n; ++c) {
        const int across = groupStart + c * (thickness + kBarGap);
        if (vertical) {
            const int bottom = r.bottom() - labelAlong;
            const QRect bar(across, bottom - along + 1, thickness, along);
            out.bars.push_back(bar);
            out.lamps.emplace_back(across, bar.top() - kLampGap - kLampThickness, thickness, kLampThickness);
            out.labels.emplace_back(across - kBarGap, bottom + 2, thickness + 2 * kBarGap, labelAlong - 2);
        } else {
            const int left = r.left() + labelAlong;
            const QRect bar(left, across, along, thickness);
            out.bars.push_back(bar);
            out.lamps.emplace_back(bar.right() + 1 + kLampGap, across, kLampThickness, thickness);
            out.labels.emplace_back(r.left(), across, labelAlong - 4, thickness);
        }
    }
    if (m_scaleVisible) {
        const QRect& first = out.bars.front();
        const QRect& last = out.bars.back();
        out.scale = vertical ? QRect(last.right() + 3, first.top(), scaleAcross - 3, along)
                             : QRect(first.left(), last.bottom() + 3, along, scaleAcross - 3);
    }
    return out;
}

void CLEDMeter::paintEvent(QPaintEvent*) {
    QPainter p(this);
    look::FillPanel(p, rect(), 5.0);
    const Layout layout = ComputeLayout();
    for (int c = 0; c < m_channels; ++c)
        PaintBar(p, layout, c);
    PaintScale(p, layout);
}

void CLEDMeter::PaintBar(QPainter& p, const Layout& layout, int channel) const {
    const CMeterBallistics& meter = m_meters[size_t(channel)];
    const QRect& bar = layout.bars[size_t(channel)];
    const bool vertical = m_orientation == Qt::Vertical;
    const int n = layout.segments;
    const int lit = int(std::lround(double(meter.Level()) * n));
    const int peak = int(std::lround(double(meter.Peak()) * n)) - 1;

    // A recessed well under the segments.
    p.fillRect(bar.adjusted(-1, -1, 1, 1), QColor(0, 0, 0, 90));
    for (int i = 0; i < n; ++i) {
        const QRect seg =
            vertical
                ? QRect(bar.left(), bar.bottom() + 1 - (i + 1) * layout.pitch, bar.width(), layout.pitch - 1)
                : QRect(bar.left() + i * layout.pitch, bar.top(), layout.pitch - 1, bar.height());
        QColor colour = look::MeterColour(LevelToDb((i + 0.5) / n));
        if (i == peak && i >= lit)
            colour = colour.lighter(125);
        else if (i >= lit)
            colour.setAlpha(38); // an unlit LED still shows its colour faintly
        p.fillRect(seg, colour);
    }

    QColor lamp = look::MeterRed();
    if (!meter.Clipped())
        lamp.setAlpha(45);
    p.fillRect(layout.lamps[size_t(channel)], lamp);

    p.setFont(look::SmallFont(font()));
    p.setPen(look::DimText());
    p.drawText(layout.labels[size_t(channel)],
               (vertical ? Qt::AlignHCenter : Qt::AlignRight) | Qt::AlignVCenter, ChannelLabel(channel));
}

void CLEDMeter::PaintScale(QPainter& p, const Layout& layout) const {
    if (layout.scale.isEmpty())
        return;
    const QRect& s = layout.scale;
    const bool vertical = m_orientation == Qt::Vertical;
    const QFont small = look::SmallFont(font());
    const QFontMetrics fm(small);
    p.setFont(small);
    const int along = layout.segments * layout.pitch;

    std::vector<int> placed;
    for (const double dB : kScaleMarks) {
        const double level = 1.0 - dB / kFloorDb;
        const QString text = QString::number(int(dB));
        const int pos = vertical ? s.top() + int(std::lround((1.0 - level) * along))
                                 : s.left() + int(std::lround(level * along));
        const int need = vertical ? fm.height() : fm.horizontalAdvance(QStringLiteral("-60")) + 4;
        if (std::any_of(placed.begin(), placed.end(),
                        [&](int other) { return std::abs(pos - other) < need; }))
            continue;
        placed.push_back(pos);
        p.setPen(look::DimText().darker(130));
        if (vertical) {
            p.drawLine(s.left(), pos, s.left() + kTickLength - 1, pos);
            p.setPen(look::DimText());
            p.drawText(QRect(s.left() + kTickLength + 2, pos - fm.height() / 2, s.width(), fm.height()),
                       Qt::AlignLeft | Qt::AlignVCenter, text);
        } else {
            p.drawLine(pos, s.top(), pos, s.top() + kTickLength - 1);
            p.setPen(look::DimText());
            const int w = fm.horizontalAdvance(text);
            const int x = std::clamp(pos - w / 2, s.left() - 4, s.right() - w + 4);
            p.drawText(QRect(x, s.top() + kTickLength, w + 1, fm.height()), Qt::AlignCenter, text);
        }
    }
}

void CLEDMeter::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        ClearClips();
    QWidget::mousePressEvent(event);
}

} // namespace tw
