#include "listing/ListingParser.h"

#include "listing/ListingDate.h"
#include "listing/ListingSize.h"
#include "listing/TextScan.h"

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

// Qt's character search is vectorised: faster than counting character by character.
qsizetype countLineFeeds(QStringView text)
{
    qsizetype count = 0;
    for (qsizetype at = text.indexOf(u'\n'); at >= 0; at = text.indexOf(u'\n', at + 1))
        ++count;
    return count;
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
            slot.FileSize = FormatListingSize(word(columns.sizeWord));

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
        const qsizetype arrow = findLinkArrow(name);
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
    QString lastRawDate;
    QString lastFormattedDate;
};

} // namespace

qint32 ParseListing(QString text, int currentYear, ListingParseState &state, QVector<TFILE> &table)
{
    table.clear();
    if (text.isEmpty())
        return 0;
    // Every CR LF is also an LF: enough room for the table without a reallocation.
    table.reserve(countLineFeeds(text) + 1);

    LineParser parser(currentYear, state);
    qint32 entries = 0;
    const auto parseLine = [&](QStringView lastWord, bool lineIsEmpty) {
        parser.words.push_back(lastWord);
        TFILE entry;
        if (!lineIsEmpty && parser.parse(entries, entry)) {
            table.append(std::move(entry));
            ++entries;
        }
        parser.words.clear();
    };

    // One pass, in place: runs of blanks are collapsed into one blank, which ends
    // a word; CR LF ends a line. Everything before `out` is already collapsed.
    char16_t *data = reinterpret_cast<char16_t *>(text.data());
    const qsizetype size = text.size();
    qsizetype out = 0;
    qsizetype lineStart = 0;
    qsizetype wordStart = 0;
    qsizetype lines = 1;
    for (qsizetype in = 0; in < size; ++in) {
        const char16_t c = data[in];
        if (c == u' ') {
            if (out > 0 && data[out - 1] == u' ')
                continue;
            parser.words.emplace_back(reinterpret_cast<const QChar *>(data + wordStart), out - wordStart);
            wordStart = out + 1;
        } else if (c == u'\n' && out > 0 && data[out - 1] == u'\r') {
            const qsizetype lineEnd = out - 1;
            parseLine(QStringView(data + wordStart, lineEnd - wordStart), lineEnd == lineStart);
            ++lines;
            lineStart = wordStart = out + 1;
        }
        data[out++] = c;
    }
    parseLine(QStringView(data + wordStart, out - wordStart), out == lineStart);

    table.resize(lines);
    return entries;
}

} // namespace korvan
