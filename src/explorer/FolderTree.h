#pragma once
// The remote folder tree (TV1): one node per remote folder, keyed by its path with a
// trailing "/". A node that was never listed carries one placeholder child (text
// " ") so that it shows as expandable; listing it replaces the placeholder by its
// sub-folders.

#include <QTreeWidget>

#include <functional>

namespace korvan {

class cFTPList;

class FolderTree : public QTreeWidget {
    Q_OBJECT
public:
    explicit FolderTree(QWidget *parent = nullptr);

    static QString keyOf(const QTreeWidgetItem *node);
    static bool isPlaceholder(const QTreeWidgetItem *node);
    // True while the node has its placeholder (never listed).
    static bool awaitsListing(const QTreeWidgetItem *node);

    // Drops every node and makes the root "/" with its placeholder.
    QTreeWidgetItem *resetRoot();
    QTreeWidgetItem *root() const;
    QTreeWidgetItem *selectedNode() const;
    void selectNode(QTreeWidgetItem *node);
    // Expands without telling nodeExpandedByUser.
    void expandNode(QTreeWidgetItem *node);
    // The node of `path`, made on the way (with placeholders) when missing.
    QTreeWidgetItem *nodeForPath(const QString &path);
    // The node of `path`, or null.
    QTreeWidgetItem *findNode(const QString &path) const;
    static void addPlaceholder(QTreeWidgetItem *node);
    static void hidePlaceholders(QTreeWidgetItem *node);
    // Replaces the placeholder by one node per folder of the listing.
    void addFolderChildren(QTreeWidgetItem *node, const cFTPList &list);
    // Removes every descendant, deepest first, telling `dropped` each key.
    static void prune(QTreeWidgetItem *node, const std::function<void(const QString &)> &dropped);

signals:
    // The user picked a node (click or Enter).
    void nodeChosen(QTreeWidgetItem *node);
    // The user opened a node's branch.
    void nodeExpandedByUser(QTreeWidgetItem *node);

private:
    QTreeWidgetItem *newNode(QTreeWidgetItem *parent, const QString &key, const QString &text, bool link);
    static QTreeWidgetItem *childWithKey(QTreeWidgetItem *node, const QString &key);
    QTreeWidgetItem *walkTo(const QString &path, bool make);

    bool expandingByCode = false;
};

} // namespace korvan
