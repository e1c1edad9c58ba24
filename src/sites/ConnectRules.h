#pragma once
// The checks both connect dialogs make on what the user typed.

#include <QString>

#include <optional>

namespace korvan::connectRules {

// The value of a text that reads as a number ("21", " 30 ", "2.5", "1e3"), or
// nothing for text that does not (empty, "abc").
std::optional<double> numericValue(const QString &text);

// The same rounded to a 32-bit integer, or nothing when it does not fit.
std::optional<qint32> integerValue(const QString &text);

// A server name is accepted with at least three dot-separated parts, or four
// when its first part is a number (a dotted address). One- and two-part names,
// such as a bare machine name, are refused on purpose.
bool serverNameAccepted(const QString &server);

// "anonymous" in any letter case.
bool isAnonymousUser(const QString &user);

} // namespace korvan::connectRules
