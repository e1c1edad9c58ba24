// Any bytes as a LIST reply: the parse must never crash, hang or break the table's
// promises, and every accessor must answer for every slot of the table.
#include "ftp/RemotePath.h"
#include "ftp/ReplyRules.h"
#include "korvan/cFTPList.h"
#include "listing/ListingParser.h"
#include "listing/ListingSize.h"

#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void requireOutOfRange(const korvan::cFTPList &list, qint32 index)
{
    try {
        (void)list.FileName(index);
    } catch (const korvan::SubscriptOutOfRange &) {
        return;
    }
    std::abort();
}

void checkPath(const QString &path)
{
    const QString normal = korvan::NormalizeRemotePath(path);
    require(normal.startsWith(u'/') && normal.endsWith(u'/') && !normal.contains(u"//"));
    require(korvan::NormalizeRemotePath(normal) == normal);
}

bool sameEntry(const korvan::TFILE &a, const korvan::TFILE &b)
{
    return a.FileName == b.FileName && a.FileSize == b.FileSize && a.FileAttr == b.FileAttr
           && a.FileLink == b.FileLink && a.FileDate == b.FileDate && a.bFolder == b.bFolder;
}

// The bytes as the server sent them read as the text decoded from them.
void checkBytesReadAsText(const QByteArray &bytes)
{
    using namespace korvan;
    QSet<QString> textLatin1, bytesLatin1;
    const QString text = DecodeWireLines(bytes, &textLatin1);
    ListingParseState textState, bytesState;
    QVector<TFILE> fromText, fromBytes;
    const qint32 textCount = ParseListing(text, 2026, textState, fromText);
    require(ParseListingBytes(bytes, 2026, bytesState, fromBytes, &bytesLatin1) == textCount);
    require(textState.style == bytesState.style && textState.hasAttributes == bytesState.hasAttributes);
    require(fromText.size() == fromBytes.size() && textLatin1 == bytesLatin1);
    for (qsizetype i = 0; i < fromText.size(); ++i)
        require(sameEntry(fromText[i], fromBytes[i]));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The first byte picks the decoding, as the wire may carry either.
    const bool latin1 = size > 0 && (data[0] & 1);
    const auto *text = reinterpret_cast<const char *>(data);
    QString listing = latin1 ? QString::fromLatin1(text, qsizetype(size)) : QString::fromUtf8(text, qsizetype(size));

    korvan::cFTPList list;
    list.setFolder(u"/home/me/"_qs);
    list.setFTPFileList(listing);
    require(listing.isEmpty());
    require(list.FileNumb() >= 0 && list.FileNumb() <= list.TableSize());

    for (qint32 i = 0; i < list.TableSize(); ++i) {
        const QString name = list.FileName(i);
        const QString fileSize = list.FileSize(i);
        const QString fields[] = {name, fileSize, list.FileDate(i), list.FileAttr(i), list.FileLink(i)};
        for (const QString &field : fields)
            require(!field.contains(u"  ") && !field.contains(u"\r\n"));
        if (i < list.FileNumb())
            require(!name.startsWith(u'.'));
        require(korvan::FormatListingSize(fileSize) == fileSize);
        require(list.IsLink(i) == !list.FileLink(i).isEmpty());
        (void)list.Path(i);
        list.setIsFolder(i, true);
        const QString folderPath = list.Path(i);
        if (list.IsLink(i))
            checkPath(u"/home/me/"_qs + list.FileLink(i) + u'/');
        else
            require(folderPath == u"/home/me/"_qs + name + u'/');
    }
    requireOutOfRange(list, -1);
    requireOutOfRange(list, list.TableSize());
    checkPath(QString::fromLatin1(text, qsizetype(size)));
    checkBytesReadAsText(QByteArray(text, qsizetype(size)));
    return 0;
}
