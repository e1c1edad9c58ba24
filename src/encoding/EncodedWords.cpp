// RFC 2047 encoded words: cEncode::ENC and its inverse.
#include "korvan/cEncode.h"

#include "encoding/Codecs.h"
#include "encoding/Windows1252.h"

#include <QList>
#include <QStringList>
#include <QStringView>

#include <algorithm>

namespace korvan {

namespace {

// An encoded word may not be longer than this (RFC 2047, section 2).
constexpr qsizetype maxWordLength = 75;
// Longer words are read too (real mail breaks the rule), up to this length.
constexpr qsizetype maxDecodedWordLength = 1024;

enum class WordForm { Q, B };

bool isQLiteral(char c)
{
    // The characters RFC 2047 allows as themselves in a phrase.
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '!' || c == '*'
           || c == '+' || c == '-' || c == '/';
}

QByteArray encodeQ(const QByteArray &bytes)
{
    QByteArray out;
    for (const char c : bytes) {
        if (c == ' ')
            out.append('_');
        else if (isQLiteral(c))
            out.append(c);
        else
            codec::appendEscaped(out, static_cast<unsigned char>(c));
    }
    return out;
}

QByteArray decodeQ(QByteArray text)
{
    text.replace('_', ' ');
    QByteArray out;
    for (qsizetype i = 0; i < text.size();) {
        const int value = text.at(i) == '=' ? codec::hexPairAt(text, i + 1) : -1;
        out.append(value < 0 ? text.at(i) : static_cast<char>(value));
        i += value < 0 ? 1 : 3;
    }
    return out;
}

QByteArray encodeForm(const QByteArray &bytes, WordForm form)
{
    return form == WordForm::Q ? encodeQ(bytes) : codec::base64Encode(bytes);
}

// The byte sequences of the text's characters, so that a word never splits one.
QList<QByteArray> characterBytes(const QString &text, bool utf8)
{
    QList<QByteArray> characters;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool pair = text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const QString character = text.mid(i, pair ? 2 : 1);
        characters.append(utf8 ? character.toUtf8() : windows1252::fromUnicode(character));
        i += pair ? 1 : 0;
    }
    return characters;
}

QString wordOf(const QByteArray &prefix, const QByteArray &bytes, WordForm form)
{
    return QString::fromLatin1(prefix + encodeForm(bytes, form) + "?=");
}

QStringList encodeWords(const QList<QByteArray> &characters, const QByteArray &prefix, WordForm form)
{
    const qsizetype room = maxWordLength - prefix.size() - 2;
    QStringList words;
    QByteArray current;
    for (const QByteArray &character : characters) {
        if (!current.isEmpty() && encodeForm(current + character, form).size() > room) {
            words.append(wordOf(prefix, current, form));
            current.clear();
        }
        current.append(character);
    }
    if (!current.isEmpty())
        words.append(wordOf(prefix, current, form));
    return words;
}

// Decodes the bytes of a word in the named charset; false for a charset we do not read.
bool decodeCharset(const QByteArray &bytes, const QString &charset, QString &text)
{
    const QString name = charset.toLower();
    if (name == u"utf-8")
        text = QString::fromUtf8(bytes);
    else if (name == u"windows-1252" || name == u"cp1252")
        text = windows1252::toUnicode(bytes);
    else if (name == u"iso-8859-1" || name == u"us-ascii")
        text = QString::fromLatin1(bytes);
    else
        return false;
    return true;
}

// Reads the encoded word starting at `pos` ("=?charset?Q|B?text?="). On success
// sets the decoded text and the position after the word.
bool readWord(const QString &text, qsizetype pos, QString &decoded, qsizetype &end)
{
    // Bounding the look-ahead keeps a text full of unclosed "=?" linear.
    const QStringView word = QStringView(text).mid(pos, maxDecodedWordLength);
    if (!word.startsWith(u"=?"))
        return false;
    const qsizetype charsetEnd = word.indexOf(u'?', 2);
    if (charsetEnd < 0 || charsetEnd + 2 >= word.size() || word.at(charsetEnd + 2) != u'?')
        return false;
    const QChar form = word.at(charsetEnd + 1).toUpper();
    const qsizetype payloadStart = charsetEnd + 3;
    const qsizetype payloadEnd = word.indexOf(u"?=", payloadStart);
    if (payloadEnd < 0 || (form != u'Q' && form != u'B'))
        return false;
    const QStringView payload = word.mid(payloadStart, payloadEnd - payloadStart);
    if (std::any_of(payload.cbegin(), payload.cend(), [](QChar c) { return c.isSpace() || c.unicode() > 126; }))
        return false;
    const QByteArray encoded = payload.toLatin1();
    const QByteArray bytes = form == u'Q' ? decodeQ(encoded) : codec::base64Decode(encoded);
    if (!decodeCharset(bytes, word.mid(2, charsetEnd - 2).toString(), decoded))
        return false;
    end = pos + payloadEnd + 2;
    return true;
}

bool isWordSeparator(QChar c)
{
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n';
}

} // namespace

QString cEncode::ENC(const QString &text)
{
    // Plain text that holds "=?" would read back as an encoded word.
    if (!IsBinary(text) && !text.contains(u"=?"))
        return text;
    const bool fitsCodePage = windows1252::toUnicode(windows1252::fromUnicode(text)) == text;
    const QByteArray charset = fitsCodePage ? "windows-1252" : "utf-8";
    const QByteArray bytes = fitsCodePage ? windows1252::fromUnicode(text) : text.toUtf8();
    const WordForm form = encodeQ(bytes).size() <= codec::base64Encode(bytes).size() ? WordForm::Q : WordForm::B;
    const QByteArray prefix = "=?" + charset + (form == WordForm::Q ? "?Q?" : "?B?");
    return encodeWords(characterBytes(text, !fitsCodePage), prefix, form).join(u' ');
}

QString cEncode::DecodeENC(const QString &text)
{
    QString out;
    QString pendingSeparators; // dropped when they stand between two encoded words
    bool afterWord = false;
    qsizetype pos = 0;
    while (pos < text.size()) {
        QString decoded;
        qsizetype end = 0;
        if (readWord(text, pos, decoded, end)) {
            if (!afterWord)
                out.append(pendingSeparators);
            pendingSeparators.clear();
            out.append(decoded);
            afterWord = true;
            pos = end;
        } else if (isWordSeparator(text.at(pos))) {
            pendingSeparators.append(text.at(pos++));
        } else {
            out.append(pendingSeparators);
            pendingSeparators.clear();
            out.append(text.at(pos++));
            afterWord = false;
        }
    }
    out.append(pendingSeparators);
    return out;
}

} // namespace korvan
