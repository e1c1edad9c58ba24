// The transfer dialog's tick: percentage, speed, remaining time and their texts.

#include "transfer/ProgressTick.h"

#include <algorithm>
#include <cmath>

namespace korvan {

namespace {

// Whole-number rounding of the old runtime: halves go to the even neighbour.
// Amounts beyond any real transfer (or not numbers at all) are held at a bound.
qint64 RoundHalfEven(double value)
{
    constexpr double bound = 4e18;
    if (std::isnan(value))
        return 0;
    return qint64(std::nearbyint(std::clamp(value, -bound, bound)));
}

QString TwoDigits(qint64 value)
{
    return QString::number(value).rightJustified(2, u'0');
}

} // namespace

QString FormatGrouped(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    const double rounded = std::round(std::fabs(value) * scale) / scale;
    const QString plain = QString::number(rounded, 'f', decimals);
    const qsizetype point = decimals > 0 ? plain.indexOf(u'.') : plain.size();
    QString grouped = plain.mid(point);
    for (qsizetype end = point; end > 0; end -= 3) {
        const qsizetype start = qMax<qsizetype>(0, end - 3);
        grouped.prepend(plain.mid(start, end - start));
        if (start > 0)
            grouped.prepend(u',');
    }
    return (value < 0 && rounded != 0 ? u"-"_qs : QString()) + grouped;
}

QString FormatDuration(double seconds)
{
    const qint64 total = RoundHalfEven(seconds);
    const qint64 secs = total % 60;
    const qint64 minutes = RoundHalfEven(double(total - secs) / 60) % 60;
    const qint64 hours = ((total - secs) / 60 - minutes) / 60;
    if (total < 0 || hours >= 24)
        return QString::number(hours) + u':' + QString::number(minutes) + u':' + QString::number(secs);
    return TwoDigits(hours) + u':' + TwoDigits(minutes) + u':' + TwoDigits(secs);
}

std::optional<ProgressTexts> ComputeProgressTick(const ProgressSnapshot &s)
{
    // Deliberately the bitwise AND of the two maxima, not a test of each: maxima
    // of 2 and 1 give 0, and the tick shows nothing.
    if ((RoundHalfEven(s.bar1Maximum) & RoundHalfEven(s.bar2Maximum)) == 0)
        return std::nullopt;
    if (s.bar2Maximum == 0 || s.elapsedSeconds <= 0)
        return std::nullopt;
    const qint64 percentage = RoundHalfEven(s.bar2Value / s.bar2Maximum * 100);
    const double speed = s.bar2Value / s.elapsedSeconds;
    const double remaining = speed != 0 ? (s.bar2Maximum - s.bar2Value) / speed : 0;

    ProgressTexts texts;
    texts.windowCaption = QString::number(percentage) + u" % "_qs + s.caption;
    texts.sizeText = FormatGrouped(s.bar1Value / 1024) + u'/' + FormatGrouped(s.bar1Maximum / 1024) + u" KBytes"_qs;
    // "elasped" is the dialog's own spelling.
    texts.speedText = FormatGrouped(speed / 1024, 1) + u" KBytes/second  "_qs + FormatDuration(s.elapsedSeconds)
                      + u" elasped  "_qs + FormatDuration(remaining) + u" remaining"_qs;
    return texts;
}

} // namespace korvan
