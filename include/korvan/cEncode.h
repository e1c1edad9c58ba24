#pragma once
// cEncode: converts text to and from the printable forms that mail, news and
// our own site store use: "=XX" byte escapes, Base64, uuencode and
// quoted-printable.
//
// Text model. A QString is handled as the bytes of its characters in the
// "ANSI" code page Windows-1252 (Latin-1 for the five bytes Windows-1252 leaves
// undefined), so every byte 0..255 is one character and back. A character the
// code page does not have becomes "?" before encoding. Decoded bytes come back
// as Windows-1252 characters. The ConvBytes overload works on raw bytes.
//
// Decoders never fail: they accept any input, skip or keep what they cannot
// read as documented per mode, and never read past the end of their input.
// Line breaks written by the encoders are CR LF; the decoders accept CR LF and
// a bare LF.

#include <QByteArray>
#include <QString>

namespace korvan {

class cEncode {
public:
    enum Mode : int {
        // Every byte becomes "=" and two upper-case hex digits ("Ab" -> "=41=62").
        EscapeBytes = 258,
        // Inverse of EscapeBytes, in the reading the password cipher relies on:
        //  1. every "_" becomes a space;
        //  2. "=XX" with XX below 0x81 is that byte (three characters consumed);
        //  3. "=XX" with XX of 0x81 or more is a double-byte lead: the two hex
        //     digits four and five characters after the "=" are its trail byte
        //     and six characters are consumed, whatever the third character is
        //     ("=E9=41" and "=E9x41" both give bytes E9 41). Our code page is
        //     single-byte, so lead and trail come out as two characters, which
        //     keeps every escaped Windows-1252 text intact. Without two hex
        //     digits for the trail, the lead byte stands alone;
        //  4. an "=" without two hex digits after it (a truncated escape, "=G1",
        //     "=" at the end) is copied as it stands; so is any other character.
        UnescapeBytes = 259,
        // RFC 4648 Base64, standard alphabet, "=" padding, no line breaks.
        Base64Encode = 260,
        // Base64 back to bytes. Characters outside the alphabet (line breaks,
        // blanks, anything else) are skipped; the first "=" ends the data. A
        // lone trailing sextet that makes no whole byte is dropped.
        Base64Decode = 261,
        // MIME Base64 (RFC 2045): as Base64Encode, in lines of 76 characters
        // separated by CR LF (no break after the last line).
        Base64LinesEncode = 262,
        // MIME Base64 back to bytes: the same lenient reading as Base64Decode.
        Base64LinesDecode = 263,
        // uuencode body: lines of up to 45 bytes, each a length character and
        // four characters per three bytes (32 + value, "`" for 0), ended by
        // CR LF, then the empty line "`". No "begin"/"end" envelope is written.
        UuEncode = 264,
        // uuencode back to bytes. A "begin ..." line is skipped; the data ends
        // at a line "end" or a zero-length line. Each line gives exactly the
        // byte count its first character states; characters missing at the end
        // of a line (stripped trailing blanks) count as 0. Blank lines are skipped.
        UuDecode = 265,
        // Quoted-printable (RFC 2045): bytes 33..126 but "=" stay, blanks stay
        // unless they end a line or the text, everything else is "=XX"; CR LF in
        // the data stays a line break; lines are at most 76 characters, longer
        // ones broken by a soft break "=" CR LF.
        QuotedPrintableEncode = 266,
        // Quoted-printable back to bytes: "=XX" (either case of hex digits) is a
        // byte, "=" followed by blanks and a line break is a soft break (dropped),
        // a line break (CR LF or LF) is CR LF, blanks at the end of a line or of
        // the text are dropped (transports add them), and an "=" that starts no
        // escape is kept as it stands.
        QuotedPrintableDecode = 267,
    };

    // Converts `text` in `mode` (one of Mode; any other number returns the
    // text unchanged).
    static QString Conv(const QString &text, int mode);
    static QByteArray ConvBytes(const QByteArray &bytes, int mode);

    // Whether the text needs an encoding to pass a 7-bit text channel: true
    // when it holds a control character other than TAB, CR and LF, DEL, or any
    // character beyond ASCII.
    static bool IsBinary(const QString &text);
    static bool IsBinary(const QByteArray &bytes);

    // Strips one pair of double quotes that both starts and ends the text
    // ("\"a b\"" -> "a b", "\"\"x\"\"" -> "\"x\""); any other text comes back as
    // it is, a lone "\"" included.
    static QString TrimQuotes(const QString &text);

    // Makes a text safe for a 7-bit header-like channel, choosing the encoding
    // itself: a text that IsBinary calls plain and that holds no "=?" (which
    // would read back as the start of a word) comes back unchanged; any other
    // becomes RFC 2047 encoded words "=?charset?Q?...?=" or "=?charset?B?...?="
    // (whichever form is shorter, Q on a tie), each at most 75 characters, joined
    // by single blanks. The charset is windows-1252 when the code page holds
    // every character of the text, otherwise utf-8; a word never splits a character.
    static QString ENC(const QString &text);

    // The inverse of ENC: decodes every well-formed encoded word (charsets
    // windows-1252, iso-8859-1, us-ascii and utf-8, any letter case; Q or B)
    // and drops the blanks between two adjacent encoded words. Malformed words,
    // words longer than 1024 characters and words in other charsets stay as
    // they are, as does all other text.
    static QString DecodeENC(const QString &text);
};

} // namespace korvan
