#pragma once
// The byte-level conversions behind cEncode::Conv. Each one is a pure function
// that accepts any input (see the modes in korvan/cEncode.h for the readings).

#include <QByteArray>

namespace korvan::codec {

// The value of the two hex digits (either case) at `pos`, or -1 when there are
// not two hex digits there (including when the text ends first).
int hexPairAt(const QByteArray &text, qsizetype pos);
// Writes (appends) "=" and the byte as two upper-case hex digits; writeEscaped
// returns the position after the three characters.
char *writeEscaped(char *out, unsigned char byte);
void appendEscaped(QByteArray &out, unsigned char byte);

QByteArray escapeBytes(const QByteArray &bytes);
QByteArray unescapeBytes(const QByteArray &text);

// `lineLength` 0 writes one line; otherwise lines of that many characters
// joined by CR LF.
QByteArray base64Encode(const QByteArray &bytes, qsizetype lineLength = 0);
QByteArray base64Decode(const QByteArray &text);

QByteArray uuEncode(const QByteArray &bytes);
QByteArray uuDecode(const QByteArray &text);

QByteArray quotedPrintableEncode(const QByteArray &bytes);
QByteArray quotedPrintableDecode(const QByteArray &text);

} // namespace korvan::codec
