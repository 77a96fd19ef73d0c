#include "gui/controls/MeterBar.h"

#include "gui/controls/ControlLook.h"
#include "gui/controls/Knob.h"
#include "gui/controls/SurroundLED.h"

#include <QBoxLayout>
#include <QSignalBlocker>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr double kFullScaleReciprocal = 1.5258789e-05; // 1/65536
constexpr double kWideRatio = 1.4;                     // wider than this times the height: lie the meter down

QString BalanceText(int balance) {
    if (balance == 0)
        return CMeterBar::tr("C");
    return balance < 0 ? CMeterBar::tr("L %1").arg(-balance) : CMeterBar::tr("R %1").arg(balance);
}

uint32_t ToHalf(double gain) {
    if (!(gain > 0.0)) // also the NaN of an infinite gain times a closed side
        return 0;
    return uint32_t(std::min(gain, 1.0) * 65535.0);
}

} // namespace

CMeterBar::CMeterBar(QWidget* parent) : QWidget(parent) {
    // A meter bridge is dark whatever the window around it, so that the lamps stand out.
    setPalette(look::DarkPalette(palette()));
    setAutoFillBackground(true);

    m_meter = new CSurroundLED(this);
    m_meter->SetChannels(m_channels);

    m_volumeDial = new CExKnob(this);
    m_volumeDial->setObjectName(QStringLiteral("volume"));
    m_volumeDial->setRange(kMinVolumeDb, kMaxVolumeDb);
    m_volumeDial->setSingleStep(1);
    m_volumeDial->setPageStep(6);
    m_volumeDial->SetDefaultValue(kMaxVolumeDb);
    m_volumeDial->SetCaption(tr("Volume"));
    m_volumeDial->SetSuffix(tr("dB"));
    m_volumeDial->setToolTip(tr("Output volume"));

    m_balanceDial = new CExKnob(this);
    m_balanceDial->setObjectName(QStringLiteral("balance"));
    m_balanceDial->setRange(-kMaxBalance, kMaxBalance);
    m_balanceDial->setSingleStep(1);
    m_balanceDial->setPageStep(10);
    m_balanceDial->SetDefaultValue(0);
    m_balanceDial->SetCaption(tr("Balance"));
    m_balanceDial->SetFormatter(&BalanceText);
    m_balanceDial->setToolTip(tr("Output balance"));

    m_dials = new QBoxLayout(QBoxLayout::LeftToRight);
    m_dials->setSpacing(4);
    m_dials->addWidget(m_volumeDial);
    m_dials->addWidget(m_balanceDial);
    m_layout = new QBoxLayout(QBoxLayout::TopToBottom, this);
    m_layout->setContentsMargins(4, 4, 4, 4);
    m_layout->setSpacing(6);
    m_layout->addWidget(m_meter, 1);
    m_layout->addLayout(m_dials);

    connect(m_volumeDial, &QAbstractSlider::valueChanged, this, &CMeterBar::OnVolumeDial);
    connect(m_balanceDial, &QAbstractSlider::valueChanged, this, &CMeterBar::OnBalanceDial);
    SetVolumeAccess(nullptr, nullptr);
}

void CMeterBar::SetVolumeAccess(VolumeReader read, VolumeWriter write) {
    m_write = std::move(write);
    uint32_t packed = 0;
    const bool hasMixer = read && read(packed);
    m_volumeDb = hasMixer ? StartVolumeDb(packed) : kMaxVolumeDb;
    m_balance = 0;
    {
        // Showing the device's volume is no turn of a dial: nothing is written back.
        const QSignalBlocker blockVolume(m_volumeDial);
        const QSignalBlocker blockBalance(m_balanceDial);
        m_volumeDial->setValue(m_volumeDb);
        m_balanceDial->setValue(m_balance);
    }
    m_volumeDial->setEnabled(hasMixer);
    m_balanceDial->setEnabled(hasMixer);
}

void CMeterBar::SetChannels(int n) {
    m_channels = std::clamp(n, 1, 8);
    m_meter->SetChannels(m_channels);
}

void CMeterBar::SetLevels(const std::vector<int>& levels) {
    for (int c = 0; c < m_channels; ++c) {
        const int value = size_t(c) < levels.size() ? levels[size_t(c)] : 0;
        m_meter->SetLevel(c, float(value / 100.0));
    }
    m_meter->update();
}

void CMeterBar::Reset() {
    m_meter->Reset();
}

int CMeterBar::StartVolumeDb(uint32_t packed) {
    const uint32_t v = std::max(packed & 0xFFFFu, packed >> 16);
    if (v == 0)
        return kMinVolumeDb;
    const double dB = 20.0 * std::log10(v * kFullScaleReciprocal);
    return int(std::clamp(dB, double(kMinVolumeDb), double(kMaxVolumeDb)));
}

uint32_t CMeterBar::PackVolume(int volumeDb, int balancePercent) {
    const double g = std::pow(10.0, volumeDb / 20.0);
    const double b = std::clamp(balancePercent, -kMaxBalance, kMaxBalance) / 100.0;
    const double left = std::min(1.0, 1.0 - b) * g;
    const double right = std::min(1.0, 1.0 + b) * g;
    return ToHalf(left) | (ToHalf(right) << 16);
}

void CMeterBar::OnVolumeDial(int volumeDb) {
    m_volumeDb = volumeDb;
    m_balance = m_balanceDial->value();
    WriteVolume();
}

void CMeterBar::OnBalanceDial(int balance) {
    m_balance = balance;
    m_volumeDb = m_volumeDial->value();
    WriteVolume();
}

void CMeterBar::WriteVolume() {
    if (m_write)
        m_write(PackVolume(m_volumeDb, m_balance));
}

void CMeterBar::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    FitDirection();
}

void CMeterBar::FitDirection() {
    // Docked along the top or bottom the bar is wide: the meter lies down with the dials beside it.
    const bool wide = width() > height() * kWideRatio;
    const QBoxLayout::Direction direction = wide ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom;
    if (m_layout->direction() == direction)
        return;
    m_layout->setDirection(direction);
    m_meter->SetOrientation(wide ? Qt::Horizontal : Qt::Vertical);
}

} // namespace tw
