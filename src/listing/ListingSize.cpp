#include "listing/ListingSize.h"

#include "listing/TextScan.h"

namespace korvan {

namespace {

bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

bool allDigits(QStringView text)
{
    for (QChar c : text) {
        if (!isDigit(c))
            return false;
    }
    return true;
}

// Adds one to a non-empty string of decimal digits.
QString incremented(QStringView digits)
{
    QString result = digits.toString();
    for (qsizetype i = result.size() - 1; i >= 0; --i) {
        if (result[i] != u'9') {
            result[i] = QChar(result[i].unicode() + 1);
            return result;
        }
        result[i] = u'0';
    }
    return u'1' + result;
}

QString grouped(QStringView digits, bool negative)
{
    const qsizetype separators = (digits.size() - 1) / 3;
    QString result(digits.size() + separators + (negative ? 1 : 0), Qt::Uninitialized);
    QChar *out = result.data();
    if (negative)
        *out++ = u'-';
    qsizetype untilSeparator = digits.size() % 3 == 0 ? 3 : digits.size() % 3;
    for (QChar digit : digits) {
        if (untilSeparator == 0) {
            *out++ = u',';
            untilSeparator = 3;
        }
        *out++ = digit;
        --untilSeparator;
    }
    return result;
}

} // namespace

QString FormatListingSize(QStringView word)
{
    QStringView rest = word;
    bool negative = false;
    if (!rest.isEmpty() && (rest.front() == u'+' || rest.front() == u'-')) {
        negative = rest.front() == u'-';
        rest = rest.mid(1);
    }
    const qsizetype point = findChar(rest, u'.');
    QStringView whole = point < 0 ? rest : rest.left(point);
    const QStringView fraction = point < 0 ? QStringView() : rest.mid(point + 1);
    if ((whole.isEmpty() && fraction.isEmpty()) || !allDigits(whole) || !allDigits(fraction))
        return word.toString();

    while (whole.size() > 1 && whole.front() == u'0')
        whole = whole.mid(1);
    QString roundedUp;
    if (!fraction.isEmpty() && fraction.front() >= u'5') {
        roundedUp = incremented(whole.isEmpty() ? QStringView(u"0") : whole);
        whole = roundedUp;
    }
    if (whole.isEmpty() || whole == u"0")
        return QStringLiteral("0");
    return grouped(whole, negative);
}

double SizeTextValue(const QString &text)
{
    bool ok = false;
    const double size = QString(text).remove(u',').trimmed().toDouble(&ok);
    return ok && size > 0 ? size : 0;
}

qint64 SizeTextBytes(const QString &text)
{
    const double value = SizeTextValue(text);
    return value < double(kLargestSize) ? qint64(value) : kLargestSize;
}

} // namespace korvan
