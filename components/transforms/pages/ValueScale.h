// How one parameter's value meets its controls: slider positions (even in value or, for frequencies
// and times, in ratio), whole steps, the text of a value and the reading of typed text.
#pragma once

#include "ParamList.h"

#include <QString>

#include <optional>

namespace tp {

class CValueScale {
public:
    // A slider of a free or finely stepped value has this many positions.
    static constexpr int kFinePositions = 1000;

    explicit CValueScale(const ParamSpec& spec);

    int Positions() const { return m_positions; }
    int PositionOf(double value) const;
    double ValueAt(int position) const;

    // `value` within the range and on a whole step (or on the last digit shown when free).
    double Limit(double value) const;
    // `value` moved by `steps` arrow-key steps: whole steps, or for a ratio scale a hundredth of
    // the range's positions each.
    double Stepped(double value, int steps) const;

    QString Format(double value) const;
    // A typed value: a number with or without the unit, a "k" for thousands ("1.5k"), a decimal comma
    // taken as a point; limited to the range. Nothing when the text holds no number.
    std::optional<double> Parse(const QString& text) const;

    // Whether two values read the same, given float storage on the object's side.
    bool Same(double a, double b) const;

private:
    double m_low;
    double m_high;
    double m_step;
    int m_decimals;
    bool m_log;
    int m_positions;
    QString m_unit;
};

} // namespace tp
