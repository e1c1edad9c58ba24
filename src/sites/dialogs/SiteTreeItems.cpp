#include "sites/dialogs/SiteTreeItems.h"

#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

namespace korvan::siteItems {

namespace {

// Orders siblings as the store does: by caption, letter case ignored.
class SiteItem : public QTreeWidgetItem {
public:
    using QTreeWidgetItem::QTreeWidgetItem;
    bool operator<(const QTreeWidgetItem &other) const override
    {
        return mRwTreeView::captionLess(text(0), other.text(0));
    }
};

QIcon iconAt(const ImageList &images, qint32 index)
{
    return index > 0 && index < images.size() ? images.at(index) : QIcon();
}

void sortChildren(QTreeWidgetItem *parent)
{
    if (parent && parent->data(0, SortedRole).toBool())
        parent->sortChildren(0, Qt::AscendingOrder);
}

void addSubtree(QTreeWidget *widget, QTreeWidgetItem *parent, const TreeNode &node, const ImageList &images)
{
    QTreeWidgetItem *item = addItem(widget, parent, node, images);
    for (const TreeNode &child : node.children)
        addSubtree(widget, item, child, images);
    item->setExpanded(node.expanded);
}

TreeNode toNode(const QTreeWidgetItem *item)
{
    TreeNode node;
    node.text = item->text(0);
    node.key = key(item);
    node.tag = tag(item);
    node.image = image(item);
    node.selectedImage = item->data(0, SelectedImageRole).toInt();
    node.sorted = item->data(0, SortedRole).toBool();
    node.expanded = item->isExpanded();
    for (int i = 0; i < item->childCount(); ++i)
        node.children.push_back(toNode(item->child(i)));
    return node;
}

} // namespace

QString key(const QTreeWidgetItem *item)
{
    return item->data(0, KeyRole).toString();
}

QString tag(const QTreeWidgetItem *item)
{
    return item->data(0, TagRole).toString();
}

void setTag(QTreeWidgetItem *item, const QString &tag)
{
    item->setData(0, TagRole, tag);
}

qint32 image(const QTreeWidgetItem *item)
{
    return item->data(0, ImageRole).toInt();
}

QTreeWidgetItem *addItem(QTreeWidget *tree, QTreeWidgetItem *parent, const TreeNode &node, const ImageList &images)
{
    auto *item = new SiteItem(QStringList{node.text});
    item->setData(0, KeyRole, node.key);
    item->setData(0, TagRole, node.tag);
    item->setData(0, ImageRole, node.image);
    item->setData(0, SelectedImageRole, node.selectedImage);
    item->setData(0, SortedRole, node.sorted);
    item->setIcon(0, iconAt(images, node.image));
    if (parent)
        parent->addChild(item);
    else
        tree->addTopLevelItem(item);
    sortChildren(parent);
    return item;
}

void keepInPlace(QTreeWidgetItem *item)
{
    sortChildren(item->parent());
}

void showIcon(QTreeWidgetItem *item, bool selected, const ImageList &images)
{
    const qint32 selectedImage = item->data(0, SelectedImageRole).toInt();
    item->setIcon(0, iconAt(images, selected && selectedImage != 0 ? selectedImage : image(item)));
}

void fill(QTreeWidget *widget, const Tree &tree, const ImageList &images)
{
    widget->clear();
    for (const TreeNode &node : tree)
        addSubtree(widget, nullptr, node, images);
}

Tree toTree(const QTreeWidget *widget)
{
    Tree tree;
    for (int i = 0; i < widget->topLevelItemCount(); ++i)
        tree.push_back(toNode(widget->topLevelItem(i)));
    return tree;
}

QTreeWidgetItem *findKey(const QTreeWidget *widget, const QString &wanted)
{
    for (QTreeWidgetItemIterator it(const_cast<QTreeWidget *>(widget)); *it; ++it) {
        if (key(*it) == wanted)
            return *it;
    }
    return nullptr;
}

int countItems(const QTreeWidget *widget)
{
    int count = 0;
    for (QTreeWidgetItemIterator it(const_cast<QTreeWidget *>(widget)); *it; ++it)
        ++count;
    return count;
}

} // namespace korvan::siteItems
