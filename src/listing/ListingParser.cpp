#include "listing/ListingParser.h"

#include "listing/ListingDate.h"
#include "listing/ListingSize.h"

#include <span>
#include <vector>

namespace korvan {

namespace {

constexpr QStringView kLineEnd = u"\r\n";
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

// Every run of blanks becomes one blank, in place.
void collapseBlanks(QString &text)
{
    const qsizetype firstPair = text.indexOf(u"  ");
    if (firstPair < 0)
        return;
    QChar *data = text.data();
    const qsizetype size = text.size();
    qsizetype out = firstPair + 1;
    for (qsizetype in = firstPair + 2; in < size; ++in) {
        if (data[in] == u' ' && data[out - 1] == u' ')
            continue;
        data[out++] = data[in];
    }
    text.truncate(out);
}

qsizetype countLines(QStringView text)
{
    if (text.isEmpty())
        return 0;
    qsizetype lines = 1;
    for (qsizetype at = text.indexOf(kLineEnd); at >= 0; at = text.indexOf(kLineEnd, at + 2))
        ++lines;
    return lines;
}

class LineParser {
public:
    LineParser(int currentYear, ListingParseState &state) : currentYear(currentYear), state(state) {}

    // Fills `slot` from `line` and says whether the line is an entry. `entryCount`
    // is the number of entries accepted so far: the style is detected only while
    // it is 0.
    bool parse(QStringView line, qint32 entryCount, TFILE &slot)
    {
        splitWords(line);
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

private:
    void splitWords(QStringView line)
    {
        words.clear();
        qsizetype start = 0;
        for (qsizetype i = 0; i < line.size(); ++i) {
            if (line[i] == u' ') {
                words.push_back(line.mid(start, i - start));
                start = i + 1;
            }
        }
        words.push_back(line.mid(start));
    }

    bool isDate(qsizetype first, qsizetype last) const
    {
        const std::span<const QStringView> dateWords(words.data() + first, size_t(last - first + 1));
        return RecognizeListingDate(dateWords, currentYear).has_value();
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

    // Words first to last (as far as they exist) with one blank between them: the
    // line itself from the first word's start, as blanks come single.
    QStringView joined(qsizetype first, qsizetype last) const
    {
        last = std::min(last, qsizetype(words.size()) - 1);
        if (first > last)
            return {};
        return QStringView(words[size_t(first)].data(), words[size_t(last)].data() + words[size_t(last)].size());
    }

    void setNameAndLink(QStringView name, TFILE &slot) const
    {
        const qsizetype arrow = name.indexOf(kLinkArrow);
        if (arrow < 0) {
            slot.FileName = name.toString();
            return;
        }
        slot.FileName = name.left(arrow).toString();
        const QStringView target = name.mid(arrow + kLinkArrow.size());
        const qsizetype nextArrow = target.indexOf(kLinkArrow);
        slot.FileLink = (nextArrow < 0 ? target : target.left(nextArrow)).toString();
    }

    QString formattedDate(qsizetype first, qsizetype last)
    {
        const QStringView raw = joined(first, last);
        if (raw.isEmpty())
            return {};
        if (raw != lastRawDate) {
            lastRawDate = raw.toString();
            last = std::min(last, qsizetype(words.size()) - 1);
            const std::span<const QStringView> dateWords(words.data() + first, size_t(last - first + 1));
            const auto date = RecognizeListingDate(dateWords, currentYear);
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
    std::vector<QStringView> words;
    QString lastAttr;
    QString lastRawDate;
    QString lastFormattedDate;
};

} // namespace

qint32 ParseListing(QString text, int currentYear, ListingParseState &state, QVector<TFILE> &table)
{
    collapseBlanks(text);
    const QStringView all(text);
    table.clear();
    table.resize(countLines(all));
    TFILE *firstSlot = table.data();

    LineParser parser(currentYear, state);
    qint32 entries = 0;
    qsizetype start = 0;
    while (start < all.size()) {
        const qsizetype end = all.indexOf(kLineEnd, start);
        const QStringView line = end < 0 ? all.mid(start) : all.mid(start, end - start);
        if (!line.isEmpty() && parser.parse(line, entries, firstSlot[entries]))
            ++entries;
        if (end < 0)
            break;
        start = end + kLineEnd.size();
    }
    return entries;
}

} // namespace korvan
