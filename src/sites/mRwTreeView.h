#pragma once
// Writes a tree of nodes into a named-value store and reads it back. It knows
// nothing of sites: the site manager keeps a site's details in the node's tag.
//
// Store entries: "NumberOfNodes" (the whole tree's node count, default 0), then
// for the node with pre-order index i (0 for the root; parents before their
// children, children in their order) "Text"+i, "Key"+i, "KeyParent"+i, "Tag"+i
// (texts, default "") and "Image"+i, "SelectedImage"+i (32-bit, default 0).
// The index is written in plain decimal digits: the eleventh node's caption is
// "Text10". Values equal to their default are left out, except "Text"+i.

#include "sites/PropertyBag.h"

#include <QString>

#include <list>

namespace korvan {

struct TreeNode {
    QString text;             // caption
    QString key;              // unique in the whole tree, or empty
    qint32 image = 0;         // image index when not selected (0: none)
    qint32 selectedImage = 0; // image index when selected
    QString tag;
    bool sorted = false;   // keeps its children sorted by caption
    bool expanded = false; // shows its children
    std::list<TreeNode> children;

    friend bool operator==(const TreeNode &, const TreeNode &) = default;
};

// The top-level nodes; a site tree has a single root.
using Tree = std::list<TreeNode>;

namespace mRwTreeView {

qsizetype countNodes(const Tree &tree);

// The order in which a sorted node keeps its children: by caption, letter case
// ignored.
bool captionLess(const QString &a, const QString &b);

// Adds `node` as the last child of `parent` (or at its place by caption when
// the parent is sorted) and returns it. Null parent: a top-level node.
TreeNode &addNode(Tree &tree, TreeNode *parent, TreeNode node);

// A new store holding "NumberOfNodes" for the whole tree and the entries of
// `node`'s subtree only (its siblings are not walked).
PropertyBag write(const Tree &tree, const TreeNode &node);

// Writes `node`'s subtree to `path` atomically: the new file replaces the old
// one only once it is written whole, so a failure leaves the old file as it
// was. Creates the folder when needed. Returns false when the file cannot be
// written.
bool save(const QString &path, const Tree &tree, const TreeNode &node);

// Replaces `tree` with the tree in `store`. Reading stops at the first bad
// entry (a parent key naming no node, a key already used, a count that is no
// number) and keeps the nodes read so far; when the store was cut short it
// also stops at the first node whose caption is missing. Only a read that went
// through expands the first node. Returns true when it went through.
bool read(const PropertyBag &store, bool storeWhole, Tree &tree);
// Reads the file at `path`. A file that cannot be opened leaves the tree as it
// was and returns false.
bool read(const QString &path, Tree &tree);

} // namespace mRwTreeView

} // namespace korvan
