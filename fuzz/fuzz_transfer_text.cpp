// Any text as a path to shorten, as transfer list lines, and any numbers as a
// progress tick: nothing may crash, and a shortened path keeps whole components
// at both ends of the original.
#include "transfer/ProgressTick.h"
#include "transfer/TransferText.h"

#include <QStringList>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool isSeparator(QChar c)
{
    return c == u'/' || c == u'\\';
}

void checkShortened(const QString &path, int maxChars)
{
    const QString shortened = korvan::ShortenPath(path, maxChars);
    if (shortened == path)
        return;
    require(shortened.size() < path.size());
    // Names may hold "..." themselves: one of its places must be the cut.
    bool cutFound = false;
    for (qsizetype cut = shortened.indexOf(u"..."); cut >= 0 && !cutFound; cut = shortened.indexOf(u"...", cut + 1)) {
        const QString head = shortened.left(cut);
        const QString tail = shortened.mid(cut + 3);
        cutFound = cut > 0 && path.startsWith(head) && isSeparator(head.back()) && path.endsWith(tail)
                   && !tail.isEmpty() && isSeparator(tail.front()) && head.size() + tail.size() < path.size();
    }
    require(cutFound);
}

double numberAt(const uint8_t *data, size_t size, size_t index)
{
    double value = 0;
    if ((index + 1) * sizeof(double) <= size)
        std::memcpy(&value, data + index * sizeof(double), sizeof(double));
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    for (int maxChars : {0, 8, 48, 200})
        checkShortened(text, maxChars);

    const QList<korvan::TransferItem> items = korvan::ParseTransferLines(text.split(u'\n'));
    for (const korvan::TransferItem &item : items) {
        require(!item.path.contains(u'\n'));
        require(item.size >= 0);
    }

    korvan::ProgressSnapshot snapshot;
    snapshot.bar1Value = numberAt(data, size, 0);
    snapshot.bar1Maximum = numberAt(data, size, 1);
    snapshot.bar2Value = numberAt(data, size, 2);
    snapshot.bar2Maximum = numberAt(data, size, 3);
    snapshot.elapsedSeconds = numberAt(data, size, 4);
    const std::optional<korvan::ProgressTexts> texts = korvan::ComputeProgressTick(snapshot);
    if (texts)
        require(texts->speedText.contains(u" KBytes/second  ") && texts->sizeText.endsWith(u" KBytes"));
    (void)korvan::FormatDuration(snapshot.elapsedSeconds);
    return 0;
}
