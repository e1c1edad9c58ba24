#include "explorer/RemoteOperations.h"

#include "explorer/AddressCombo.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/FolderTree.h"
#include "explorer/fFTPMain.h"
#include "ftp/FtpSession.h"
#include "ftp/RemotePath.h"
#include "korvan/cFTPList.h"
#include "listing/FolderRetrieval.h"
#include "shell/dialogs/MessageBoxes.h"

#include <QCoreApplication>

namespace korvan {

namespace {

bool NamesFolder(const QString &name, const QString &folderPath, const QString &currentDir)
{
    const QString resolved = name.startsWith(u'/') ? name : currentDir + name;
    return NormalizeRemotePath(resolved) == NormalizeRemotePath(folderPath);
}

// A link is removed as itself, never followed: its Path() names the target.
QString OwnPath(const cFTPList &list, qint32 index)
{
    return list.IsLink(index) ? list.Folder() + list.FileName(index) : list.Path(index);
}

bool IsRealFolder(const cFTPList &list, qint32 index)
{
    return list.IsFolder(index) && !list.IsLink(index);
}

} // namespace

QString RemoveDirName(const QString &folderPath, const QString &currentDir)
{
    const QString plain = QString(folderPath).remove(currentDir);
    if (!plain.isEmpty() && NamesFolder(plain, folderPath, currentDir))
        return plain;
    return folderPath.startsWith(currentDir) ? folderPath.mid(currentDir.size()) : folderPath;
}

void RemoteOperations::status(const QString &text)
{
    window.SetStatusText(text);
}

QString RemoteOperations::server() const
{
    return ftpSettings().sFTPServer;
}

bool RemoteOperations::OpenFolder(const QString &path, QTreeWidgetItem *node)
{
    FolderTree &tree = *window.tree();
    bool madeNode = false;
    if (!node && !path.isEmpty()) {
        const QString folder = NormalizeRemotePath(path);
        madeNode = tree.findNode(folder) == nullptr;
        node = tree.nodeForPath(folder);
    }
    if (!node)
        node = tree.selectedNode();
    if (!node)
        return false;
    const QString folder = FolderTree::keyOf(node);
    FtpSession &session = window.session();
    const bool entered = ChangeFolder(node)
                         && (folder == session.sCurrentDir() || (session.ChangeDir(folder) && session.PrintDir()));
    if (!entered) {
        // A typed folder that does not exist leaves no node behind.
        if (madeNode && node != tree.root())
            delete node;
        return false;
    }
    tree.selectNode(node);
    tree.expandNode(node);
    LoadList(node);
    window.addressCombo()->ShowAddressInCombo(server(), session.sCurrentDir());
    return true;
}

bool RemoteOperations::ChangeFolder(QTreeWidgetItem *node)
{
    FtpSession &session = window.session();
    if (session.controlSocket().state() != SocketState::Connected)
        return true;
    QString folder = FolderTree::keyOf(node);
    status(u"Change folder to 'ftp://"_qs + server() + folder + u"' Wait a second..."_qs);
    // Listed before and still cached: its nodes are there already.
    if (!FolderTree::awaitsListing(node) && window.folders().cachedList(folder))
        return true;
    if (!window.folders().GetList(folder))
        return false;
    const cFTPList *list = window.folders().cachedList(folder);
    if (!list)
        return false;
    const qint32 count = list->FileNumb();
    for (qint32 i = 0; i < count; i += 10)
        status(ProcessingText(i, count));
    window.tree()->addFolderChildren(node, *list);
    return true;
}

bool RemoteOperations::LoadList(QTreeWidgetItem *node)
{
    status(u"Loading Files and Folders. Wait a Second..."_qs);
    FileListModel &model = *window.listModel();
    const std::shared_ptr<const cFTPList> list = window.folders().sharedList(FolderTree::keyOf(node));
    // A big folder's rows take a while: the window keeps painting meanwhile.
    model.setListing(list, [] { QCoreApplication::processEvents(); });
    if (list) {
        const int count = list->FileNumb();
        for (int i = 0; i < count; i += 10)
            status(ProcessingText(i, count));
        status(u"Sorting Files and Folders. Wait a Second..."_qs);
        model.sortByColumn(1);
        status(u"Sorted"_qs);
    }
    status(QString::number(model.rowCount()) + u" files or folders"_qs);
    return list != nullptr;
}

// Collapses the node, forgets its subtree and its own listing, and opens it anew.
bool RemoteOperations::reopen(QTreeWidgetItem *node)
{
    node->setExpanded(false);
    FolderTree::prune(node, [this](const QString &key) { window.folders().removeCachedList(key); });
    window.folders().removeCachedList(FolderTree::keyOf(node));
    FolderTree::addPlaceholder(node);
    return OpenFolder({}, node);
}

bool RemoteOperations::Refresh()
{
    status(u"Refreshing..."_qs);
    bool ok = false;
    if (window.connected()) {
        QTreeWidgetItem *node = window.tree()->selectedNode();
        if (!node) {
            window.listModel()->setListing(nullptr);
            node = window.tree()->resetRoot();
        }
        ok = reopen(node);
    }
    status(u"Done"_qs);
    return ok;
}

bool RemoteOperations::Rename()
{
    status(u"Renaming..."_qs);
    bool ok = false;
    FileListView &view = *window.listView();
    const QModelIndex current = view.currentView()->currentIndex();
    const int row = current.isValid() ? current.row() : view.selectedRows().value(0, -1);
    const cFTPList *list = window.listModel()->listing();
    if (window.connected() && row >= 0 && list) {
        const QString name = list->FileName(window.listModel()->entryIndex(row));
        // The 350 reply asks for the new name with this one as its default.
        ok = window.session().RenameFrom(name);
        if (ok)
            Refresh();
    }
    status(u"Done"_qs);
    return ok;
}

bool RemoteOperations::MakeFolder()
{
    status(u"Making dir..."_qs);
    bool ok = false;
    if (window.connected()) {
        const QString name = askInput(&window, u"New folder:"_qs, u"Make folder on the server"_qs, {});
        if (!name.isEmpty()) {
            ok = window.session().MakeDir(name);
            // Also after a failed MKD: the folder may exist after all.
            Refresh();
        }
    }
    status(u"Done"_qs);
    return ok;
}

bool RemoteOperations::Delete()
{
    FileListView &view = *window.listView();
    FileListModel &model = *window.listModel();
    FtpSession &session = window.session();
    status(u"Deleting dir/file..."_qs);
    const QString question = u"Delete selected "_qs + QString::number(view.selectedCount())
                             + u" files and folders ? "_qs;
    if (askQuestion(&window, u"Deleting..."_qs, question, u"&Yes"_qs, u"&No"_qs) != QuestionAnswer::Yes) {
        status(u"Done"_qs);
        return false;
    }
    const QString currentDir = session.sCurrentDir();
    // The listing the rows stand for: the current folder's, as the list shows it.
    const cFTPList *current = model.listing();
    QStringList visit;
    QStringList files;
    for (int row : view.selectedRows()) {
        const qint32 index = model.entryIndex(row);
        if (!current)
            break;
        (IsRealFolder(*current, index) ? visit : files).append(OwnPath(*current, index));
    }
    for (const QString &file : files)
        session.DeleteFile(file);

    // Breadth first: every folder is listed and emptied of files before the
    // removals run deepest first, so each folder is empty when its turn comes.
    QStringList removals;
    while (!visit.isEmpty()) {
        QString folder = visit.first();
        removals.append(folder);
        if (window.folders().GetList(folder)) {
            const cFTPList *list = window.folders().cachedList(folder);
            for (qint32 i = 0; list && i < list->FileNumb(); ++i) {
                if (IsRealFolder(*list, i))
                    visit.append(list->Path(i));
                else
                    session.DeleteFile(OwnPath(*list, i));
            }
        }
        visit.removeFirst();
    }
    bool ok = true;
    while (!removals.isEmpty()) {
        const QString folder = removals.takeLast();
        if (!session.RemoveDir(RemoveDirName(folder, currentDir)))
            ok = false;
        window.folders().removeCachedList(folder);
    }
    Refresh();
    status(u"Done"_qs);
    return ok;
}

bool RemoteOperations::GoUp()
{
    QTreeWidgetItem *node = window.tree()->selectedNode();
    if (!node || !node->parent())
        return false;
    return OpenFolder({}, node->parent());
}

} // namespace korvan
