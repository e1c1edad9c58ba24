#pragma once
// File sizes as the file list shows them: the pattern "##,##0", i.e. a whole number
// with "," between groups of three digits, whatever the machine's locale.

#include <QString>
#include <QStringView>

namespace korvan {

// "1234" -> "1,234", "0" -> "0", "007" -> "7", "-1234" -> "-1,234",
// "12.5" -> "13" (fractions round half away from zero). Digits of any length are
// grouped as text, so sizes beyond 64 bits keep every digit. A word that is not an
// optional sign, digits and an optional "." with digits (e.g. "<DIR>", "1e3", "",
// "1,234") is returned unchanged.
QString FormatListingSize(QStringView word);

// A size as the listing shows it ("1,234") or as plain digits ("1234"); a size
// word that is no number counts as 0.
double SizeTextValue(const QString &text);
// The same as a byte count; a size beyond what 64 bits hold (a hostile listing's
// forty digits) is held at kLargestSize instead of overflowing.
inline constexpr qint64 kLargestSize = 9'000'000'000'000'000'000;
qint64 SizeTextBytes(const QString &text);

} // namespace korvan
