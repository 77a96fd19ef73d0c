#include "ValueScale.h"

#include <algorithm>
#include <cmath>

namespace tp {

CValueScale::CValueScale(const ParamSpec& spec)
    : m_low(spec.low), m_high(spec.high), m_step(spec.step), m_decimals(spec.decimals),
      m_log(spec.IsLogarithmic()), m_unit(spec.unit) {
    const double span = m_high - m_low;
    // A coarse step gets one position per step, so that the slider cannot stand between two values.
    if (!m_log && m_step > 0.0 && span / m_step <= kFinePositions)
        m_positions = std::max(1, static_cast<int>(std::lround(span / m_step)));
    else
        m_positions = span > 0.0 ? kFinePositions : 0;
}

int CValueScale::PositionOf(double value) const {
    if (m_positions == 0)
        return 0;
    value = std::clamp(value, m_low, m_high);
    const double share =
        m_log ? std::log(value / m_low) / std::log(m_high / m_low) : (value - m_low) / (m_high - m_low);
    return std::clamp(static_cast<int>(std::lround(share * m_positions)), 0, m_positions);
}

double CValueScale::ValueAt(int position) const {
    if (m_positions == 0)
        return m_low;
    const double share = std::clamp(position, 0, m_positions) / static_cast<double>(m_positions);
    const double value = m_log ? m_low * std::pow(m_high / m_low, share) : m_low + share * (m_high - m_low);
    return Limit(value);
}

double CValueScale::Limit(double value) const {
    if (!std::isfinite(value))
        return m_low;
    const double quantum = m_step > 0.0 ? m_step : std::pow(10.0, -m_decimals);
    double stepped = std::round(value / quantum) * quantum;
    // A range end that is no whole step (a minimum of 0.1 with whole steps) stays reachable.
    if (stepped < m_low || stepped > m_high)
        stepped = std::clamp(value, m_low, m_high);
    return std::clamp(stepped, m_low, m_high);
}

double CValueScale::Stepped(double value, int steps) const {
    if (m_log || m_step <= 0.0) {
        const int per = std::max(1, m_positions / 100);
        const double moved = ValueAt(PositionOf(value) + steps * per);
        // Where the positions are coarser than the digits shown, one step still moves the value.
        if (!Same(moved, value) || steps == 0)
            return moved;
        return Limit(value + steps * (m_step > 0.0 ? m_step : std::pow(10.0, -m_decimals)));
    }
    return Limit(value + steps * m_step);
}

QString CValueScale::Format(double value) const {
    QString text = QString::number(value, 'f', m_decimals);
    // "-0.0" reads as a fault to a person; a value that rounds to nothing has no sign.
    if (text.startsWith(u'-') && text.mid(1).toDouble() == 0.0)
        text.remove(0, 1);
    return text;
}

std::optional<double> CValueScale::Parse(const QString& typed) const {
    QString text = typed.trimmed();
    if (!m_unit.isEmpty() && text.endsWith(m_unit, Qt::CaseInsensitive))
        text = text.left(text.size() - m_unit.size()).trimmed();
    text.replace(u',', u'.');
    double factor = 1.0;
    if (text.endsWith(u'k', Qt::CaseInsensitive)) {
        factor = 1000.0;
        text = text.left(text.size() - 1).trimmed();
    }
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok || !std::isfinite(number))
        return std::nullopt;
    return Limit(number * factor);
}

bool CValueScale::Same(double a, double b) const {
    return std::fabs(a - b) <= 1e-6 * std::max(1.0, std::fabs(a));
}

} // namespace tp
