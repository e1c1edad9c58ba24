#pragma once
// The single-byte code page that stands in for the "ANSI" code page of the
// system the site store and the cipher come from: Windows-1252, with Latin-1
// for the five bytes Windows-1252 leaves undefined (0x81, 0x8D, 0x8F, 0x90,
// 0x9D). Every byte thus maps to exactly one character and back.

#include <QByteArray>
#include <QString>

namespace korvan::windows1252 {

// The character a byte stands for.
QChar toChar(unsigned char byte);

// The byte of a character, or '?' when the code page has no such character
// (what Windows writes for an unmappable character, too).
unsigned char toByte(QChar c);

// Whole texts. A surrogate pair (a character outside the BMP) becomes one '?'.
QByteArray fromUnicode(const QString &text);
QString toUnicode(const QByteArray &bytes);

} // namespace korvan::windows1252
