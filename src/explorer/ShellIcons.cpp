// Icons and type texts by file name, from the MIME database and the icon theme.

#include "explorer/ShellIcons.h"

#include <QHash>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QVector>

#include <algorithm>
#include <initializer_list>

namespace korvan {

namespace {

// The sizes the views ask for: small icons, the tree and details (16), large
// icons (32), and high-density screens.
constexpr int kIconSizes[] = {16, 22, 24, 32, 48, 64};

struct KindData {
    QIcon icon;
    QIcon linkIcon; // made on first use: most kinds are never links
    QString typeText;
};

struct IconCache {
    QVector<KindData> kinds;
    QHash<QString, ShellIcons::Kind> kindOfSuffix;
    QIcon treeFolder[2];
};

IconCache &Cache()
{
    static IconCache cache;
    return cache;
}

// The first of `names` the theme has, else the style's own `fallback`.
QIcon ThemeIcon(std::initializer_list<const char *> names, const QIcon &fallback = {})
{
    ShellIcons::ensureIconTheme();
    for (const char *name : names) {
        const QString iconName = QString::fromLatin1(name);
        if (QIcon::hasThemeIcon(iconName))
            return QIcon::fromTheme(iconName);
    }
    return fallback;
}

QString Capitalized(QString text)
{
    if (!text.isEmpty())
        text[0] = text.at(0).toUpper();
    return text;
}

// Past this many kinds, names with a new extension share the kind of names
// without one: a folder of 100,000 rotated logs ("app.log.1", "app.log.2", ...)
// must not cost 100,000 lookups.
constexpr qsizetype kMaxKinds = 4096;

// The extension as the shell keys types: the text after the last dot of the name.
// A number there is a version or rotation count, not a type.
QString SuffixOf(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(u'.');
    if (dot < 0)
        return {};
    QString suffix = fileName.mid(dot + 1).toLower();
    const bool numeric = std::all_of(suffix.cbegin(), suffix.cend(), [](QChar c) { return c.isDigit(); });
    return numeric ? QString() : suffix;
}

KindData FileKindData(const QString &suffix)
{
    static const QMimeDatabase mimeDatabase;
    const QMimeType mime = suffix.isEmpty() ? mimeDatabase.mimeTypeForName(QStringLiteral("application/octet-stream"))
                                            : mimeDatabase.mimeTypeForFile(QStringLiteral("x.") + suffix,
                                                                           QMimeDatabase::MatchExtension);
    KindData data;
    data.icon = ThemeIcon(
        {qPrintable(mime.iconName()), qPrintable(mime.genericIconName()), "text-x-generic", "application-x-generic"});
    // A type the database does not know reads as the shell would name it: "ISO File".
    if (mime.isDefault())
        data.typeText = suffix.isEmpty() ? QStringLiteral("File") : suffix.toUpper() + QStringLiteral(" File");
    else
        data.typeText = Capitalized(mime.comment());
    return data;
}

KindData FolderKindData()
{
    static const QMimeDatabase mimeDatabase;
    KindData data;
    data.icon = ThemeIcon({"folder", "inode-directory"});
    const QString comment = mimeDatabase.mimeTypeForName(QStringLiteral("inode/directory")).comment();
    data.typeText = comment.isEmpty() ? QStringLiteral("Folder") : Capitalized(comment);
    return data;
}

IconCache &FilledCache()
{
    IconCache &cache = Cache();
    if (cache.kinds.isEmpty())
        cache.kinds.append(FolderKindData());
    return cache;
}

// The link arrow, drawn: a curved arrow on a small white tile, readable on any icon.
void PaintLinkArrow(QPainter &painter, const QRectF &box)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(90, 90, 90), qMax(1.0, box.width() / 12)));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), box.width() / 6, box.width() / 6);

    const QRectF inner = box.adjusted(box.width() * 0.22, box.height() * 0.22, -box.width() * 0.22,
                                      -box.height() * 0.22);
    QPainterPath shaft;
    shaft.moveTo(inner.left(), inner.bottom());
    shaft.quadTo(inner.left(), inner.top() + inner.height() * 0.3, inner.right() - inner.width() * 0.25,
                 inner.top() + inner.height() * 0.3);
    painter.setPen(QPen(QColor(20, 60, 160), qMax(1.2, box.width() / 7), Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(shaft);

    QPainterPath head;
    head.moveTo(inner.right(), inner.top() + inner.height() * 0.3);
    head.lineTo(inner.right() - inner.width() * 0.45, inner.top() - inner.height() * 0.1);
    head.lineTo(inner.right() - inner.width() * 0.45, inner.top() + inner.height() * 0.7);
    head.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(20, 60, 160));
    painter.drawPath(head);
}

// "Up one level": a bold arrow pointing up, drawn over a folder.
void PaintUpArrow(QPainter &painter, const QRectF &box)
{
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal w = box.width();
    const qreal h = box.height();
    QPainterPath arrow;
    arrow.moveTo(box.left() + w / 2, box.top());
    arrow.lineTo(box.right(), box.top() + h * 0.5);
    arrow.lineTo(box.left() + w * 0.68, box.top() + h * 0.5);
    arrow.lineTo(box.left() + w * 0.68, box.bottom());
    arrow.lineTo(box.left() + w * 0.32, box.bottom());
    arrow.lineTo(box.left() + w * 0.32, box.top() + h * 0.5);
    arrow.lineTo(box.left(), box.top() + h * 0.5);
    arrow.closeSubpath();
    painter.setPen(QPen(QColor(20, 80, 30), qMax(1.0, w / 14), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(QColor(60, 170, 70));
    painter.drawPath(arrow);
}

// `base` at `size` with an emblem painted over it.
QPixmap WithEmblem(const QPixmap &base, int size, void (*paintEmblem)(QPainter &, const QRectF &), const QRectF &box)
{
    QPixmap result(size, size);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    // A theme without this size gives a smaller image: centre it rather than blur it.
    const QSizeF baseSize = base.deviceIndependentSize();
    painter.drawPixmap(QPointF((size - baseSize.width()) / 2, (size - baseSize.height()) / 2), base);
    paintEmblem(painter, box);
    return result;
}

QPixmap WithArrow(const QPixmap &base, int size)
{
    const qreal arrow = qMax(7.0, size * 0.5);
    return WithEmblem(base, size, PaintLinkArrow, QRectF(0, size - arrow, arrow, arrow));
}

// The parent-folder image: the theme's folder with an arrow up. Themes name "go-up"
// a plain arrow, which some (Adwaita) draw so pale it reads as disabled.
QIcon ParentFolderIcon()
{
    const QIcon folder = ThemeIcon({"folder"});
    QIcon icon;
    for (const int size : kIconSizes) {
        const qreal arrow = size * 0.62;
        icon.addPixmap(WithEmblem(folder.pixmap(size), size, PaintUpArrow,
                                  QRectF(size - arrow - size * 0.04, 0, arrow, arrow * 1.05)));
    }
    return icon;
}

} // namespace

void ShellIcons::ensureIconTheme()
{
    static bool checked = false;
    if (checked)
        return;
    checked = true;
    if (QIcon::hasThemeIcon(QStringLiteral("folder")))
        return;
    QIcon::setThemeSearchPaths({QStringLiteral("/usr/share/icons")});
    QIcon::setThemeName(QStringLiteral("Adwaita"));
}

ShellIcons::Kind ShellIcons::kindOfFile(const QString &fileName)
{
    IconCache &cache = FilledCache();
    QString suffix = SuffixOf(fileName);
    auto found = cache.kindOfSuffix.constFind(suffix);
    if (found == cache.kindOfSuffix.cend() && cache.kinds.size() >= kMaxKinds) {
        suffix.clear();
        found = cache.kindOfSuffix.constFind(suffix);
    }
    if (found != cache.kindOfSuffix.cend())
        return found.value();
    const auto kind = Kind(cache.kinds.size());
    cache.kinds.append(FileKindData(suffix));
    cache.kindOfSuffix.insert(suffix, kind);
    return kind;
}

QIcon ShellIcons::kindIcon(Kind kind, bool link)
{
    IconCache &cache = FilledCache();
    if (kind >= cache.kinds.size())
        return {};
    KindData &data = cache.kinds[kind];
    if (!link)
        return data.icon;
    if (data.linkIcon.isNull())
        data.linkIcon = withLinkOverlay(data.icon);
    return data.linkIcon;
}

int ShellIcons::kindCount()
{
    return int(FilledCache().kinds.size());
}

QString ShellIcons::kindTypeText(Kind kind)
{
    const IconCache &cache = FilledCache();
    return kind < cache.kinds.size() ? cache.kinds.at(kind).typeText : QString();
}

QIcon ShellIcons::fileIcon(const QString &fileName, bool link)
{
    return kindIcon(kindOfFile(fileName), link);
}

QString ShellIcons::fileTypeText(const QString &fileName)
{
    return kindTypeText(kindOfFile(fileName));
}

QIcon ShellIcons::withLinkOverlay(const QIcon &base)
{
    QIcon result;
    for (const int size : kIconSizes) {
        for (const QIcon::Mode mode : {QIcon::Normal, QIcon::Selected})
            result.addPixmap(WithArrow(base.pixmap(size, mode), size), mode);
    }
    return result;
}

QIcon ShellIcons::treeFolderIcon(bool link)
{
    IconCache &cache = FilledCache();
    QIcon &icon = cache.treeFolder[link ? 1 : 0];
    if (!icon.isNull())
        return icon;
    const QIcon closed = folderIcon();
    const QIcon open = ThemeIcon({"folder-open", "folder"});
    for (const int size : kIconSizes) {
        const QPixmap closedPixmap = closed.pixmap(size);
        const QPixmap openPixmap = open.pixmap(size);
        icon.addPixmap(link ? WithArrow(closedPixmap, size) : closedPixmap, QIcon::Normal);
        icon.addPixmap(link ? WithArrow(openPixmap, size) : openPixmap, QIcon::Selected);
    }
    return icon;
}

QIcon ShellIcons::toolBarIcon(const QString &key)
{
    if (key == u"Tree")
        return ThemeIcon({"view-list-tree", "view-sidetree", "system-file-manager", "folder"});
    if (key == u"QuickConnect")
        return ThemeIcon({"network-connect", "network-transmit-receive", "go-jump"});
    if (key == u"Connect")
        return ThemeIcon({"network-server", "network-workgroup"});
    if (key == u"Disconnect")
        return ThemeIcon({"network-disconnect", "network-offline", "network-wired-disconnected"});
    if (key == u"GoUp")
        return ParentFolderIcon();
    return {};
}

} // namespace korvan
