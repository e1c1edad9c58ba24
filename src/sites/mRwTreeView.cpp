#include "sites/mRwTreeView.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>

#include <algorithm>

namespace korvan::mRwTreeView {

namespace {

const QString numberOfNodes = QStringLiteral("NumberOfNodes");

QString entryName(const char *word, qsizetype index)
{
    return QLatin1String(word) + QString::number(index);
}

qsizetype countSubtree(const TreeNode &node)
{
    qsizetype count = 1;
    for (const TreeNode &child : node.children)
        count += countSubtree(child);
    return count;
}

void writeNode(PropertyBag &store, const TreeNode &node, const QString &parentKey, qsizetype &index)
{
    store.writeText(entryName("Text", index), node.text);
    store.writeText(entryName("Key", index), node.key, QString());
    store.writeText(entryName("KeyParent", index), parentKey, QString());
    store.writeInt32(entryName("Image", index), node.image, 0);
    store.writeInt32(entryName("SelectedImage", index), node.selectedImage, 0);
    store.writeText(entryName("Tag", index), node.tag, QString());
    ++index;
    for (const TreeNode &child : node.children)
        writeNode(store, child, node.key, index);
}

// Where a new child goes among its siblings.
Tree::iterator placeFor(Tree &siblings, const TreeNode *parent, const QString &text)
{
    if (!parent || !parent->sorted)
        return siblings.end();
    return std::upper_bound(siblings.begin(), siblings.end(), text,
                            [](const QString &t, const TreeNode &node) { return captionLess(t, node.text); });
}

} // namespace

qsizetype countNodes(const Tree &tree)
{
    qsizetype count = 0;
    for (const TreeNode &node : tree)
        count += countSubtree(node);
    return count;
}

bool captionLess(const QString &a, const QString &b)
{
    return QString::compare(a, b, Qt::CaseInsensitive) < 0;
}

TreeNode &addNode(Tree &tree, TreeNode *parent, TreeNode node)
{
    Tree &siblings = parent ? parent->children : tree;
    return *siblings.insert(placeFor(siblings, parent, node.text), std::move(node));
}

PropertyBag write(const Tree &tree, const TreeNode &node)
{
    PropertyBag store;
    store.writeInt32(numberOfNodes, qint32(countNodes(tree)), 0);
    qsizetype index = 0;
    writeNode(store, node, QString(), index);
    return store;
}

bool save(const QString &path, const Tree &tree, const TreeNode &node)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    // Unbuffered: a buffered QSaveFile (Qt 6.4) commits a file cut short by a
    // full disk as if it were whole; a direct write reports the short count.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    const QByteArray bytes = write(tree, node).contents();
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

bool read(const PropertyBag &store, bool storeWhole, Tree &tree)
{
    tree.clear();
    const std::optional<qint32> count = store.readInteger(numberOfNodes, 0);
    if (!count)
        return false;
    if (*count == 0)
        return storeWhole;
    // Every written node has at least its caption entry: a larger count is
    // damage, and must not make us add millions of empty nodes.
    const qsizetype nodes = std::min<qsizetype>(*count, store.size());
    QHash<QString, TreeNode *> byKey;
    for (qsizetype i = 0; i < nodes; ++i) {
        const QString textName = entryName("Text", i);
        if (!storeWhole && !store.contains(textName))
            return false;
        TreeNode node;
        node.text = store.readText(textName, QString());
        node.key = store.readText(entryName("Key", i), QString());
        node.tag = store.readText(entryName("Tag", i), QString());
        const QString parentKey = store.readText(entryName("KeyParent", i), QString());
        const auto image = store.readInteger(entryName("Image", i), 0);
        const auto selectedImage = store.readInteger(entryName("SelectedImage", i), 0);
        if (!image || !selectedImage)
            return false;
        node.image = *image;
        node.selectedImage = *selectedImage;
        node.sorted = true;
        if (!node.key.isEmpty() && byKey.contains(node.key))
            return false;
        TreeNode *parent = nullptr;
        if (!parentKey.isEmpty()) {
            parent = byKey.value(parentKey);
            if (!parent)
                return false;
        }
        const QString key = node.key;
        TreeNode &added = addNode(tree, parent, std::move(node));
        if (!key.isEmpty())
            byKey.insert(key, &added);
    }
    if (!storeWhole)
        return false;
    if (!tree.empty())
        tree.front().expanded = true;
    return true;
}

bool read(const QString &path, Tree &tree)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    PropertyBag store;
    const bool whole = store.setContents(file.readAll());
    return read(store, whole, tree);
}

} // namespace korvan::mRwTreeView
