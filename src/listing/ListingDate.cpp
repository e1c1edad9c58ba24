#include "listing/ListingDate.h"

#include "listing/TextScan.h"

#include <QDate>

#include <array>
#include <string_view>

namespace korvan {

namespace {

constexpr int kMaxDateWords = 3;

bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

// The value of `minDigits` to `maxDigits` decimal digits, or -1.
int smallNumber(QStringView text, qsizetype minDigits, qsizetype maxDigits)
{
    if (text.size() < minDigits || text.size() > maxDigits)
        return -1;
    int value = 0;
    for (QChar c : text) {
        if (!isDigit(c))
            return -1;
        value = value * 10 + (c.unicode() - u'0');
    }
    return value;
}

char16_t asciiLower(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'A' && u <= u'Z') ? char16_t(u + (u'a' - u'A')) : u;
}

bool isAsciiLetter(QChar c)
{
    const char16_t lower = asciiLower(c);
    return lower >= u'a' && lower <= u'z';
}

bool equalsIgnoringAsciiCase(QStringView text, std::u16string_view lowerWord)
{
    if (text.size() != qsizetype(lowerWord.size()))
        return false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (asciiLower(text[i]) != lowerWord[size_t(i)])
            return false;
    }
    return true;
}

// 1-12 for an English month name, abbreviated or in full; 0 otherwise.
int monthNumber(QStringView word)
{
    static constexpr std::array<std::u16string_view, 12> names = {u"january",   u"february", u"march",    u"april",
                                                                  u"may",       u"june",     u"july",     u"august",
                                                                  u"september", u"october",  u"november", u"december"};
    if (word.size() < 3 || !isAsciiLetter(word[0]))
        return 0;
    // Three letters in one number: the abbreviations are compared at once.
    const auto key = [](char16_t a, char16_t b, char16_t c) { return quint64(a) << 32 | quint64(b) << 16 | c; };
    const quint64 wordKey = key(asciiLower(word[0]), asciiLower(word[1]), asciiLower(word[2]));
    for (size_t i = 0; i < names.size(); ++i) {
        const std::u16string_view name = names[i];
        if (wordKey != key(name[0], name[1], name[2]))
            continue;
        if (word.size() == 3 || equalsIgnoringAsciiCase(word, name))
            return int(i) + 1;
        return 0;
    }
    return 0;
}

int fullYear(int year, qsizetype digits)
{
    if (digits == 4)
        return year;
    return year <= 68 ? 2000 + year : 1900 + year;
}

struct TimeOfDay {
    int hour = 0;
    int minute = 0;
};

// "AM" -> 0, "PM" -> 12, anything else -> -1.
int meridiemOffset(QStringView word)
{
    if (equalsIgnoringAsciiCase(word, u"am"))
        return 0;
    if (equalsIgnoringAsciiCase(word, u"pm"))
        return 12;
    return -1;
}

// "H:MM" or "HH:MM", 24-hour, or 12-hour with an AM/PM suffix glued on or given as
// `separateMeridiem`.
std::optional<TimeOfDay> recognizeTime(QStringView word, QStringView separateMeridiem = {})
{
    const qsizetype colon = findChar(word, u':');
    if (colon < 0)
        return std::nullopt;
    const int hour = smallNumber(word.left(colon), 1, 2);
    const int minute = smallNumber(word.mid(colon + 1, 2), 2, 2);
    if (hour < 0 || minute < 0 || minute > 59)
        return std::nullopt;

    QStringView meridiem = word.mid(colon + 3);
    if (!separateMeridiem.isEmpty()) {
        if (!meridiem.isEmpty())
            return std::nullopt;
        meridiem = separateMeridiem;
    }
    if (meridiem.isEmpty()) {
        if (hour > 23)
            return std::nullopt;
        return TimeOfDay{hour, minute};
    }
    const int offset = meridiemOffset(meridiem);
    if (offset < 0 || hour < 1 || hour > 12)
        return std::nullopt;
    return TimeOfDay{hour % 12 + offset, minute};
}

std::optional<ListingDateTime> validated(int year, int month, int day, TimeOfDay time)
{
    if (!QDate::isValid(year, month, day))
        return std::nullopt;
    return ListingDateTime{year, month, day, time.hour, time.minute};
}

// "Jan 15 10:20" or "Jan 15 2003".
std::optional<ListingDateTime> recognizeUnixDate(std::span<const QStringView> words, int currentYear)
{
    if (words.size() != 3)
        return std::nullopt;
    const int month = monthNumber(words[0]);
    const int day = smallNumber(words[1], 1, 2);
    if (month == 0 || day < 0)
        return std::nullopt;
    if (const int year = smallNumber(words[2], 4, 4); year >= 0)
        return validated(year, month, day, {});
    if (const auto time = recognizeTime(words[2]))
        return validated(currentYear, month, day, *time);
    return std::nullopt;
}

// "01-15-03 10:20AM", "1/15/2003 22:20", "01-15-03 10:20 PM", "01-15-03".
std::optional<ListingDateTime> recognizeDosDate(std::span<const QStringView> words)
{
    const QStringView date = words[0];
    const qsizetype dash = findChar(date, u'-');
    const qsizetype first = dash >= 0 ? dash : findChar(date, u'/');
    if (first < 0)
        return std::nullopt;
    const QChar separator = date[first];
    const qsizetype second = findChar(date, separator.unicode(), first + 1);
    if (second < 0)
        return std::nullopt;
    const int month = smallNumber(date.left(first), 1, 2);
    const int day = smallNumber(date.mid(first + 1, second - first - 1), 1, 2);
    const QStringView yearText = date.mid(second + 1);
    const int year = yearText.size() == 3 ? -1 : smallNumber(yearText, 2, 4);
    if (month < 0 || day < 0 || year < 0)
        return std::nullopt;

    TimeOfDay time;
    if (words.size() >= 2) {
        const auto recognized = recognizeTime(words[1], words.size() == 3 ? words[2] : QStringView());
        if (!recognized)
            return std::nullopt;
        time = *recognized;
    }
    return validated(fullYear(year, yearText.size()), month, day, time);
}

// Writes 0-99 with one or two digits (at least `minDigits`); returns the end.
char16_t *writeSmall(char16_t *out, int value, int minDigits)
{
    if (value >= 10 || minDigits == 2)
        *out++ = char16_t(u'0' + value / 10);
    *out++ = char16_t(u'0' + value % 10);
    return out;
}

// Writes 0-9999 with four digits.
char16_t *writeYear(char16_t *out, int year)
{
    out = writeSmall(out, year / 100, 2);
    return writeSmall(out, year % 100, 2);
}

} // namespace

std::optional<ListingDateTime> RecognizeListingDate(std::span<const QStringView> words, int currentYear)
{
    if (words.empty() || words.size() > kMaxDateWords)
        return std::nullopt;
    if (monthNumber(words[0]) != 0)
        return recognizeUnixDate(words, currentYear);
    return recognizeDosDate(words);
}

std::optional<ListingDateTime> RecognizeListingDate(QStringView text, int currentYear)
{
    std::array<QStringView, kMaxDateWords> words;
    size_t count = 0;
    qsizetype start = 0;
    for (;;) {
        const qsizetype blank = findChar(text, u' ', start);
        if (count == words.size())
            return std::nullopt;
        words[count++] = blank < 0 ? text.mid(start) : text.mid(start, blank - start);
        if (blank < 0)
            break;
        start = blank + 1;
    }
    return RecognizeListingDate(std::span<const QStringView>(words.data(), count), currentYear);
}

QString FormatListingDate(const ListingDateTime &date)
{
    char16_t text[32];
    char16_t *out = writeSmall(text, date.month, 1);
    *out++ = u'/';
    out = writeSmall(out, date.day, 1);
    *out++ = u'/';
    out = writeYear(out, date.year);
    *out++ = u' ';
    out = writeSmall(out, date.hour % 12 == 0 ? 12 : date.hour % 12, 1);
    *out++ = u':';
    out = writeSmall(out, date.minute, 2);
    *out++ = u' ';
    *out++ = date.hour < 12 ? u'A' : u'P';
    *out++ = u'M';
    return QString(reinterpret_cast<const QChar *>(text), out - text);
}

QString ReformatListingDate(QStringView text, int currentYear)
{
    if (const auto date = RecognizeListingDate(text, currentYear))
        return FormatListingDate(*date);
    return text.toString();
}

} // namespace korvan
