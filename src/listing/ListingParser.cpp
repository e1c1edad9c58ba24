#include "listing/ListingParser.h"

#include "listing/ListingDate.h"
#include "listing/ListingSize.h"
#include "listing/TextScan.h"

#include "ftp/ReplyRules.h"
#include "shell/FreshPages.h"

#include <cstring>
#include <span>
#include <vector>

namespace korvan {

namespace {

constexpr QStringView kLinkArrow = u" -> ";

// Where the fields of one style stand, by word index.
struct Columns {
    qsizetype dateFirst;
    qsizetype dateLast;
    qsizetype nameFirst;
    qsizetype sizeWord;
    qsizetype typeWord;
};

Columns columnsOf(ListingStyle style)
{
    switch (style) {
    case ListingStyle::Dos:
        return {0, 1, 3, 2, 2};
    case ListingStyle::UnixWithGroup:
        return {5, 7, 8, 4, 0};
    case ListingStyle::UnixWithoutGroup:
        return {4, 6, 7, 3, 0};
    case ListingStyle::Unknown:
        break;
    }
    return {};
}

// Where " -> " starts in `name`, or -1. Searching for the rare ">" is cheaper than
// searching for the whole arrow.
qsizetype findLinkArrow(QStringView name)
{
    for (qsizetype gt = findChar(name, u'>', 2); gt >= 0; gt = findChar(name, u'>', gt + 1)) {
        if (gt + 1 < name.size() && name.mid(gt - 2, 4) == kLinkArrow)
            return gt - 2;
    }
    return -1;
}

class LineParser {
public:
    LineParser(int currentYear, ListingParseState &state) : currentYear(currentYear), state(state) {}

    // Fills `slot` from the current line's `words` and says whether the line is an
    // entry. `entryCount` is the number of entries accepted so far: the style is
    // detected only while it is 0.
    bool parse(qint32 entryCount, TFILE &slot)
    {
        if (words.size() < 4)
            return false;
        if (entryCount == 0)
            detectStyle();
        if (state.style == ListingStyle::Unknown)
            return false;

        const Columns columns = columnsOf(state.style);
        const QStringView name = joined(columns.nameFirst, words.size() - 1);
        if (name.startsWith(u'.'))
            return false;

        const QStringView typeWord = word(columns.typeWord);
        slot.bFolder = typeWord.startsWith(u'd') || typeWord == u"<DIR>";
        if (!slot.bFolder)
            slot.FileSize = formattedSize(word(columns.sizeWord));

        if (state.hasAttributes) {
            slot.FileAttr = shared(lastAttr, typeWord);
            setNameAndLink(name, slot);
        } else {
            slot.FileName = name.toString();
        }
        slot.FileDate = formattedDate(columns.dateFirst, columns.dateLast);
        return true;
    }

    // The words of the current line, split at every blank; filled by the caller.
    std::vector<QStringView> words;
    // False when the line holds no ">", so no link arrow: set with the words.
    bool mayHoldLink = true;

private:
    bool isDate(qsizetype first, qsizetype last) const
    {
        return RecognizeListingDate(wordRange(first, last), currentYear).has_value();
    }

    void detectStyle()
    {
        state.style = ListingStyle::Unknown;
        if (isDate(0, 1)) {
            state.style = ListingStyle::Dos;
            state.hasAttributes = false;
        } else if (words.size() >= 8) {
            if (isDate(5, 7))
                state.style = ListingStyle::UnixWithGroup;
            else if (isDate(4, 6))
                state.style = ListingStyle::UnixWithoutGroup;
            if (state.style != ListingStyle::Unknown)
                state.hasAttributes = true;
        }
    }

    // Once the style is fixed, shorter lines are read with the same columns:
    // missing words read as empty.
    QStringView word(qsizetype index) const
    {
        return index < qsizetype(words.size()) ? words[size_t(index)] : QStringView();
    }

    // Words first to last, as far as they exist.
    std::span<const QStringView> wordRange(qsizetype first, qsizetype last) const
    {
        last = std::min(last, qsizetype(words.size()) - 1);
        if (first > last)
            return {};
        return {words.data() + first, size_t(last - first + 1)};
    }

    // Words first to last with one blank between them: the line itself from the
    // first word's start, as blanks come single.
    QStringView joined(qsizetype first, qsizetype last) const
    {
        const std::span<const QStringView> range = wordRange(first, last);
        if (range.empty())
            return {};
        return QStringView(range.front().data(), range.back().data() + range.back().size());
    }

    void setNameAndLink(QStringView name, TFILE &slot) const
    {
        const qsizetype arrow = mayHoldLink ? findLinkArrow(name) : -1;
        if (arrow < 0) {
            slot.FileName = name.toString();
            return;
        }
        slot.FileName = name.left(arrow).toString();
        const QStringView target = name.mid(arrow + kLinkArrow.size());
        const qsizetype nextArrow = findLinkArrow(target);
        slot.FileLink = (nextArrow < 0 ? target : target.left(nextArrow)).toString();
    }

    QString formattedDate(qsizetype first, qsizetype last)
    {
        const QStringView raw = joined(first, last);
        if (raw.isEmpty())
            return {};
        if (raw != lastRawDate) {
            lastRawDate = raw.toString();
            const auto date = RecognizeListingDate(wordRange(first, last), currentYear);
            // A line read after the style was fixed may hold no date there: its
            // text is kept as it stands.
            lastFormattedDate = date ? FormatListingDate(*date) : lastRawDate;
        }
        return lastFormattedDate;
    }

    // Neighbouring entries often have the same size (empty files, blocks).
    QString formattedSize(QStringView word)
    {
        if (word != lastSizeWord) {
            lastSizeWord = word.toString();
            lastSize = FormatListingSize(word);
        }
        return lastSize;
    }

    // Consecutive entries mostly repeat the same permission word: share one copy.
    static QString shared(QString &last, QStringView value)
    {
        if (value != last)
            last = value.toString();
        return last;
    }

    const int currentYear;
    ListingParseState &state;
    QString lastAttr;
    QString lastSizeWord;
    QString lastSize;
    QString lastRawDate;
    QString lastFormattedDate;
};

// Runs of blanks in one line (which holds no CR LF) become one blank, which ends
// a word: the collapsed line goes to `line`, its words to `words`.
template <typename Char>
void SplitLine(const Char *in, qsizetype size, std::vector<char16_t> &line, std::vector<QStringView> &words)
{
    line.resize(size_t(size));
    char16_t *const out = line.data();
    qsizetype used = 0;
    qsizetype i = 0;
    for (;;) {
        const qsizetype wordStart = used;
        for (; i < size && in[i] != Char(' '); ++i)
            out[used++] = char16_t(in[i]);
        words.emplace_back(out + wordStart, used - wordStart);
        if (i == size)
            return;
        out[used++] = u' ';
        while (++i < size && in[i] == Char(' ')) {
        }
    }
}

// Eight bytes at a time: nearly every listing is ASCII throughout.
bool IsAscii(const uchar *bytes, qsizetype size)
{
    quint64 any = 0;
    qsizetype i = 0;
    for (; i + 8 <= size; i += 8) {
        quint64 eight;
        std::memcpy(&eight, bytes + i, sizeof eight);
        any |= eight;
    }
    for (; i < size; ++i)
        any |= bytes[i];
    return (any & 0x8080808080808080ULL) == 0;
}

// One listing's parse, line by line; the caller hands it each line without its CR LF.
class Lines {
public:
    Lines(int currentYear, ListingParseState &state, QVector<TFILE> &table, qsizetype lineFeeds)
        : parser(currentYear, state), table(table)
    {
        table.clear();
        // Every CR LF is also an LF: enough room for the table without a reallocation.
        table.reserve(lineFeeds + 1);
        PopulateFreshPages(table.data(), table.capacity() * qsizetype(sizeof(TFILE)));
    }

    template <typename Char>
    void parse(const Char *line, qsizetype size, bool mayHoldLink = true)
    {
        ++lines;
        parser.mayHoldLink = mayHoldLink;
        SplitLine(line, size, text, parser.words);
        TFILE entry;
        if (!text.empty() && parser.parse(entries, entry)) {
            table.append(std::move(entry));
            ++entries;
        }
        parser.words.clear();
    }

    qint32 finish()
    {
        table.resize(lines);
        return entries;
    }

private:
    LineParser parser;
    QVector<TFILE> &table;
    std::vector<char16_t> text;
    qint32 entries = 0;
    qsizetype lines = 0;
};

// Calls lineEnd(position of the CR) for every CR LF of the text.
template <typename Char, typename FindLineFeed, typename LineEnd>
void ForEachLineEnd(const Char *data, qsizetype size, FindLineFeed findLineFeed, LineEnd lineEnd)
{
    for (qsizetype at = findLineFeed(0); at >= 0 && at < size; at = findLineFeed(at + 1)) {
        if (at > 0 && data[at - 1] == Char('\r'))
            lineEnd(at - 1);
    }
}

// A line of bytes that is not all ASCII, read as DecodeWireLines reads it: each
// piece up to a line feed on its own, UTF-8 when valid, otherwise Latin-1.
QString DecodeLine(QByteArrayView line, QSet<QString> *latin1Lines)
{
    QString text;
    for (qsizetype start = 0; start < line.size();) {
        const qsizetype lineFeed = line.indexOf('\n', start);
        const qsizetype end = lineFeed < 0 ? line.size() : lineFeed + 1;
        text += DecodeWireLine(line.sliced(start, end - start), latin1Lines);
        start = end;
    }
    return text;
}

} // namespace

qint32 ParseListing(QString text, int currentYear, ListingParseState &state, QVector<TFILE> &table)
{
    if (text.isEmpty()) {
        table.clear();
        return 0;
    }
    const QStringView view(text);
    Lines lines(currentYear, state, table, view.count(u'\n'));
    const char16_t *data = view.utf16();
    qsizetype start = 0;
    ForEachLineEnd(
        data, view.size(), [view](qsizetype from) { return view.indexOf(u'\n', from); },
        [&](qsizetype lineEnd) {
            lines.parse(data + start, lineEnd - start);
            start = lineEnd + 2;
        });
    lines.parse(data + start, view.size() - start);
    return lines.finish();
}

qint32 ParseListingBytes(QByteArrayView bytes, int currentYear, ListingParseState &state, QVector<TFILE> &table,
                         QSet<QString> *latin1Lines)
{
    // A text of nothing but a byte order mark decodes to no text at all.
    if (bytes.size() <= 3 && DecodeWireLines(bytes.toByteArray()).isEmpty()) {
        table.clear();
        return 0;
    }
    Lines lines(currentYear, state, table, CountLineFeeds(bytes));
    // After the table, which would otherwise take this room: the entries' texts
    // (names, sizes, dates) take about twice the listing's bytes.
    const PopulatedHeap texts(2 * bytes.size());
    const auto *data = reinterpret_cast<const uchar *>(bytes.data());
    const auto parseLine = [&](qsizetype start, qsizetype end, qsizetype decodeEnd) {
        if (IsAscii(data + start, end - start)) {
            lines.parse(data + start, end - start, std::memchr(data + start, '>', size_t(end - start)) != nullptr);
            return;
        }
        // Decoded with its CR LF, as the whole text would be; the CR LF is then cut.
        QString text = DecodeLine(bytes.sliced(start, decodeEnd - start), latin1Lines);
        text.chop(decodeEnd - end);
        lines.parse(reinterpret_cast<const char16_t *>(text.utf16()), text.size());
    };
    qsizetype start = 0;
    ForEachLineEnd(
        data, bytes.size(),
        [bytes](qsizetype from) {
            const void *found = std::memchr(bytes.data() + from, '\n', size_t(bytes.size() - from));
            return found ? static_cast<const char *>(found) - bytes.data() : qsizetype(-1);
        },
        [&](qsizetype lineEnd) {
            parseLine(start, lineEnd, lineEnd + 2);
            start = lineEnd + 2;
        });
    parseLine(start, bytes.size(), bytes.size());
    return lines.finish();
}

} // namespace korvan
