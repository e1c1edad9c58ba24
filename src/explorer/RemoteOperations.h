#pragma once
// The explorer's commands that read or change the remote file system: opening a
// folder (tree, list and address combo in step), refresh, rename, make folder,
// delete (folders recursively) and go up. Each reports through the status bar.

#include <QString>

class QTreeWidgetItem;

namespace korvan {

class fFTPMain;

// The name RMD gets for a folder the delete walk visited: the folder's path with
// every occurrence of the current folder's path removed, as long as that still
// names the same folder; otherwise (the current folder is the root, or its text
// recurs deeper) the path relative to the current folder. Never another folder.
QString RemoveDirName(const QString &folderPath, const QString &currentDir);

class RemoteOperations {
public:
    explicit RemoteOperations(fFTPMain &window) : window(window) {}

    // Lists the folder (path, or the node's when path is empty; the selected node
    // when both are empty), lists its sub-folders into the tree, changes to it and
    // shows it in the list and the address combo.
    bool OpenFolder(const QString &path, QTreeWidgetItem *node = nullptr);
    // Fetches the node's folder and adds its sub-folders as its children.
    bool ChangeFolder(QTreeWidgetItem *node);
    // Fills the file list from the cached listing of the node's folder.
    bool LoadList(QTreeWidgetItem *node);

    bool Refresh();
    bool Rename();
    bool MakeFolder();
    bool Delete();
    bool GoUp();

private:
    void status(const QString &text);
    QString server() const;
    bool reopen(QTreeWidgetItem *node);

    fFTPMain &window;
};

} // namespace korvan
