#pragma once
// The site manager's tree widget and the plain tree of the site store, mapped
// both ways. An item keeps what a node has beyond its caption in data roles.

#include "sites/mRwTreeView.h"

#include <QIcon>
#include <QList>
#include <QTreeWidgetItem>

class QTreeWidget;

namespace korvan::siteItems {

enum Role {
    KeyRole = Qt::UserRole,
    TagRole,
    ImageRole,
    SelectedImageRole,
    SortedRole,
};

// Image index i is icons[i]; index 0 (and any unknown index) is no icon.
using ImageList = QList<QIcon>;

QString key(const QTreeWidgetItem *item);
QString tag(const QTreeWidgetItem *item);
void setTag(QTreeWidgetItem *item, const QString &tag);
qint32 image(const QTreeWidgetItem *item);

// A new item for `node` (without its children) as the last child of `parent`,
// or of the tree when parent is null; a sorted parent puts it in its place.
QTreeWidgetItem *addItem(QTreeWidget *tree, QTreeWidgetItem *parent, const TreeNode &node, const ImageList &images);

// After a caption changed: its sorted parent puts it back in its place.
void keepInPlace(QTreeWidgetItem *item);

// Shows the image or, while selected, the selected image (if it has one).
void showIcon(QTreeWidgetItem *item, bool selected, const ImageList &images);

void fill(QTreeWidget *widget, const Tree &tree, const ImageList &images);
Tree toTree(const QTreeWidget *widget);

QTreeWidgetItem *findKey(const QTreeWidget *widget, const QString &key);
int countItems(const QTreeWidget *widget);

} // namespace korvan::siteItems
