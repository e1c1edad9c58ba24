#include "explorer/FolderTree.h"

#include "explorer/ShellIcons.h"
#include "ftp/RemotePath.h"
#include "korvan/cFTPList.h"

#include <QHash>
#include <QHeaderView>

namespace korvan {

namespace {
const QString kPlaceholder = u" "_qs;
constexpr int kKeyRole = Qt::UserRole;
} // namespace

FolderTree::FolderTree(QWidget *parent) : QTreeWidget(parent)
{
    setObjectName(u"TV1"_qs);
    setAccessibleName(u"TV1"_qs);
    setHeaderHidden(true);
    setColumnCount(1);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    header()->setStretchLastSection(false);
    connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem *node) { emit nodeChosen(node); });
    connect(this, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem *node) { emit nodeChosen(node); });
    connect(this, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem *node) {
        if (!expandingByCode)
            emit nodeExpandedByUser(node);
    });
}

QString FolderTree::keyOf(const QTreeWidgetItem *node)
{
    return node ? node->data(0, kKeyRole).toString() : QString();
}

bool FolderTree::isPlaceholder(const QTreeWidgetItem *node)
{
    return node && node->data(0, kKeyRole).toString().isEmpty() && node->text(0) == kPlaceholder;
}

bool FolderTree::awaitsListing(const QTreeWidgetItem *node)
{
    for (int i = 0; node && i < node->childCount(); ++i) {
        if (isPlaceholder(node->child(i)))
            return true;
    }
    return false;
}

QTreeWidgetItem *FolderTree::resetRoot()
{
    clear();
    QTreeWidgetItem *rootNode = newNode(nullptr, u"/"_qs, u"/"_qs, false);
    addTopLevelItem(rootNode);
    return rootNode;
}

QTreeWidgetItem *FolderTree::root() const
{
    return topLevelItemCount() > 0 ? topLevelItem(0) : nullptr;
}

QTreeWidgetItem *FolderTree::selectedNode() const
{
    const QList<QTreeWidgetItem *> selected = selectedItems();
    return selected.isEmpty() ? nullptr : selected.first();
}

void FolderTree::selectNode(QTreeWidgetItem *node)
{
    if (!node)
        return;
    for (QTreeWidgetItem *up = node->parent(); up; up = up->parent())
        expandNode(up);
    setCurrentItem(node);
    scrollToItem(node);
}

void FolderTree::expandNode(QTreeWidgetItem *node)
{
    expandingByCode = true;
    node->setExpanded(true);
    expandingByCode = false;
}

QTreeWidgetItem *FolderTree::newNode(QTreeWidgetItem *parent, const QString &key, const QString &text, bool link)
{
    auto *node = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem();
    node->setText(0, text);
    node->setData(0, kKeyRole, key);
    node->setIcon(0, ShellIcons::treeFolderIcon(link));
    addPlaceholder(node);
    return node;
}

void FolderTree::addPlaceholder(QTreeWidgetItem *node)
{
    auto *placeholder = new QTreeWidgetItem(node);
    placeholder->setText(0, kPlaceholder);
}

void FolderTree::hidePlaceholders(QTreeWidgetItem *node)
{
    for (int i = 0; i < node->childCount(); ++i) {
        if (isPlaceholder(node->child(i)))
            node->child(i)->setHidden(true);
    }
}

QTreeWidgetItem *FolderTree::childWithKey(QTreeWidgetItem *node, const QString &key)
{
    for (int i = 0; i < node->childCount(); ++i) {
        if (keyOf(node->child(i)) == key)
            return node->child(i);
    }
    return nullptr;
}

QTreeWidgetItem *FolderTree::nodeForPath(const QString &path)
{
    if (!root())
        resetRoot();
    return walkTo(path, true);
}

QTreeWidgetItem *FolderTree::findNode(const QString &path) const
{
    return const_cast<FolderTree *>(this)->walkTo(path, false);
}

QTreeWidgetItem *FolderTree::walkTo(const QString &path, bool make)
{
    QTreeWidgetItem *node = root();
    QString key = u"/"_qs;
    const QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (!node)
            return nullptr;
        key += part + u'/';
        QTreeWidgetItem *child = childWithKey(node, key);
        if (!child && make) {
            // A folder reached by its address before its parent was listed: the
            // parent shows its expander through this child now, and an empty
            // placeholder row under it would only look like a blank folder.
            hidePlaceholders(node);
            child = newNode(node, key, part, false);
        }
        node = child;
    }
    return node;
}

void FolderTree::addFolderChildren(QTreeWidgetItem *node, const cFTPList &list)
{
    if (!awaitsListing(node))
        return;
    for (int i = node->childCount() - 1; i >= 0; --i) {
        if (isPlaceholder(node->child(i)))
            delete node->takeChild(i);
    }
    // Nodes made earlier for a typed address stay; the others are added. A link
    // to a sibling folder has that folder's key but a node of its own. The earlier
    // nodes are looked up by key and the new ones added in one insertion: a folder
    // of 100,000 entries has thousands of sub-folders.
    QHash<QString, const QTreeWidgetItem *> earlier;
    for (int i = node->childCount() - 1; i >= 0; --i) // the first of equal keys wins
        earlier.insert(keyOf(node->child(i)), node->child(i));
    QList<QTreeWidgetItem *> added;
    for (qint32 i = 0; i < list.FileNumb(); ++i) {
        if (!list.IsFolder(i))
            continue;
        const QTreeWidgetItem *made = earlier.value(list.Path(i));
        if (!(made && made->text(0) == list.FileName(i)))
            added.append(newNode(nullptr, list.Path(i), list.FileName(i), list.IsLink(i)));
    }
    node->addChildren(added);
}

void FolderTree::prune(QTreeWidgetItem *node, const std::function<void(const QString &)> &dropped)
{
    while (node->childCount() > 0) {
        QTreeWidgetItem *child = node->child(0);
        prune(child, dropped);
        if (!isPlaceholder(child))
            dropped(keyOf(child));
        delete node->takeChild(0);
    }
}

} // namespace korvan
