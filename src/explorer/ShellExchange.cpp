#include "explorer/ShellExchange.h"

#include "explorer/DropExtractService.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/HandOver.h"
#include "explorer/fFTPMain.h"
#include "explorer/x11/DirectSave.h"
#include "korvan/FtpSettings.h"
#include "korvan/cFTPList.h"
#include "listing/ListingSize.h"
#include "shell/DesktopApps.h"
#include "shell/dialogs/MessageBoxes.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDir>
#include <QDrag>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QIcon>
#include <QMimeData>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace korvan {

const QString ShellExchange::kHostDropFormat = QStringLiteral("application/x-korvan-hand-over");

namespace {

const QString kDirectSave = QStringLiteral("XdndDirectSave0");
// A target that speaks none of the hand-over protocols stays silent: after this
// the user is asked for the folder instead.
constexpr int kArrivalWaitMs = 2000;
constexpr int kOleDelayMs = 50;

bool Ask(QWidget *parent, const QString &title, const QString &text)
{
    return askQuestion(parent, title, text, u"&Yes"_qs, u"&No"_qs) == QuestionAnswer::Yes;
}

// A drag of a hand-over file. The Direct Save target asks for its data only after
// it has written the address where it saves into the source window's property.
class HandOverDragData : public QMimeData {
public:
    HandOverDragData(ShellExchange &exchange, const QString &handOverPath, const DropExtractService &service)
        : exchange(exchange), handOverPath(handOverPath), busService(service.service()), busPath(service.path())
    {}

    // Once the drag runs: Qt's drag window owns the XDND selection.
    void claimSourceWindow()
    {
        sourceWindow = x11::dragSourceWindow();
        x11::setDirectSaveProperty(sourceWindow, QFileInfo(handOverPath).fileName().toUtf8());
    }

    // No text/uri-list: file managers would prefer it to Direct Save.
    QStringList formats() const override
    {
        QStringList offered{kDirectSave, ShellExchange::kHostDropFormat};
        if (!busService.isEmpty())
            offered << DropExtractService::kServiceFormat << DropExtractService::kPathFormat;
        return offered;
    }

protected:
    QVariant retrieveData(const QString &format, QMetaType) const override
    {
        if (format == kDirectSave)
            return directSaveAnswer();
        if (format == ShellExchange::kHostDropFormat)
            return handOverPath.toUtf8();
        if (format == DropExtractService::kServiceFormat && !busService.isEmpty())
            return busService.toUtf8();
        if (format == DropExtractService::kPathFormat && !busService.isEmpty())
            return busPath.toUtf8();
        return {};
    }

private:
    // "S" once the arrival is queued, "E" where it cannot land; nothing while the
    // property still holds the bare name (the target has not said where yet).
    QByteArray directSaveAnswer() const
    {
        const QString target = QString::fromUtf8(x11::directSaveProperty(sourceWindow));
        if (!target.contains(u"://"_qs))
            return {};
        const QString folder = ArrivalFolderOf(target, true);
        if (!reported)
            exchange.handOverArrived(folder, handOverPath);
        reported = true;
        return IsLocalFolder(folder) ? "S" : "E";
    }

    ShellExchange &exchange;
    QString handOverPath;
    QString busService;
    QString busPath;
    quint32 sourceWindow = 0;
    mutable bool reported = false;
};

} // namespace

ShellExchange::ShellExchange(fFTPMain &window) : QObject(&window), window(window)
{
    extractService = new DropExtractService(this);
    connect(extractService, &DropExtractService::extractRequested, this, [this](const QString &folder) {
        if (!dragHandOver.isEmpty())
            handOverArrived(ArrivalFolderOf(folder, false), dragHandOver);
    });
    tmrOLE.setSingleShot(true);
    tmrOLE.setInterval(kOleDelayMs);
    connect(&tmrOLE, &QTimer::timeout, this, &ShellExchange::uploadPending);
    connect(&watcher, &QFileSystemWatcher::directoryChanged, this, &ShellExchange::scanFolder);
    for (auto where : {QStandardPaths::DesktopLocation, QStandardPaths::HomeLocation, QStandardPaths::DownloadLocation,
                       QStandardPaths::DocumentsLocation})
        watchFolder(QStandardPaths::writableLocation(where));
}

// The window's hand-over files go with it: nothing is left to answer for them,
// and a copy pasted later would stay in the user's folder.
ShellExchange::~ShellExchange()
{
    const QDir folder(tempDir());
    for (const QString &name : std::as_const(madeHandOvers))
        QFile::remove(folder.filePath(name));
}

QString ShellExchange::tempDir()
{
    const QString dir = ftpSettings().sTempDir;
    return dir.isEmpty() ? QDir::tempPath() : dir;
}

// The selected entries of the current folder, in the download list's form.
QString ShellExchange::writeHandOver()
{
    const FileListModel &model = *window.listModel();
    const cFTPList *list = model.listing();
    if (window.commandInProgress() || !list || window.listView()->selectedCount() == 0)
        return {};
    QList<TransferItem> items;
    for (int row : window.listView()->selectedRows()) {
        const qint32 index = model.entryIndex(row);
        items.append({list->Path(index), SizeTextBytes(list->FileSize(index)), list->IsFolder(index)});
    }
    const QString path = WriteHandOverFile(tempDir(), items);
    if (!path.isEmpty())
        madeHandOvers.insert(QFileInfo(path).fileName());
    return path;
}

void ShellExchange::copySelection()
{
    const QString path = writeHandOver();
    if (path.isEmpty())
        return;
    const QUrl url = QUrl::fromLocalFile(path);
    auto *data = new QMimeData;
    data->setUrls({url});
    data->setData(u"x-special/gnome-copied-files"_qs, "copy\n" + url.toEncoded());
    QGuiApplication::clipboard()->setMimeData(data);
}

void ShellExchange::pasteClipboard()
{
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    QStringList paths;
    for (const QUrl &url : data ? data->urls() : QList<QUrl>()) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    if (!paths.isEmpty())
        takeLocalPaths(paths);
}

void ShellExchange::takeLocalPaths(const QStringList &paths)
{
    pendingDrop = paths;
    tmrOLE.start();
}

void ShellExchange::uploadPending()
{
    tmrOLE.stop();
    const QStringList paths = std::exchange(pendingDrop, {});
    if (paths.isEmpty())
        return;
    const QString question = u"Upload "_qs + QString::number(paths.size())
                             + u" files and folders ?\nIf files already exist, they will be overwritten."_qs;
    if (Ask(&window, u"Uploading..."_qs, question))
        window.runWhenIdle([this, paths] { window.UploadPaths(paths); });
}

QMimeData *ShellExchange::dragData()
{
    const QString path = writeHandOver();
    if (path.isEmpty())
        return nullptr;
    dragHandOver = QFileInfo(path).fileName();
    dragArrived = false;
    return new HandOverDragData(*this, path, *extractService);
}

void ShellExchange::dragSelection()
{
    auto *data = static_cast<HandOverDragData *>(dragData());
    if (!data)
        return;
    // Qt keeps the drag (and answers the target's requests from it) after exec()
    // has returned, until the target says it has finished; then it deletes it.
    QPointer<QDrag> drag = new QDrag(window.listView());
    drag->setMimeData(data);
    const QList<int> rows = window.listView()->selectedRows();
    const QIcon icon = window.listModel()->index(rows.value(0), 0).data(Qt::DecorationRole).value<QIcon>();
    drag->setPixmap(icon.pixmap(32));
    const QString name = dragHandOver;
    dragging = true;
    QTimer::singleShot(0, drag, [drag] {
        if (drag)
            static_cast<HandOverDragData *>(drag->mimeData())->claimSourceWindow();
    });
    const Qt::DropAction action = drag->exec(Qt::CopyAction, Qt::CopyAction);
    dragging = false;
    for (const auto &[folder, name] : std::exchange(heldArrivals, {}))
        queueArrival(folder, name, false);
    // Qt reports a drop that the target refused like a drag given up; only a
    // release over a window of ours is certainly the latter.
    const bool releasedElsewhere = !QApplication::topLevelAt(QCursor::pos());
    if ((action == Qt::IgnoreAction && !releasedElsewhere) || dragArrived)
        return;
    QTimer::singleShot(kArrivalWaitMs, this, [this, name] {
        if (name == dragHandOver && !dragArrived)
            askForFolder(name);
    });
}

void ShellExchange::chooseDownloadFolder()
{
    const QString path = writeHandOver();
    if (!path.isEmpty())
        askForFolder(QFileInfo(path).fileName());
}

void ShellExchange::askForFolder(const QString &name)
{
    const QString folder = QFileDialog::getExistingDirectory(&window, u"Download to..."_qs, QDir::homePath());
    if (!folder.isEmpty())
        handOverArrived(folder, name);
}

void ShellExchange::handOverArrived(const QString &folder, const QString &handOver)
{
    queueArrival(folder, QFileInfo(handOver).fileName(), false);
}

void ShellExchange::queueArrival(const QString &folder, const QString &name, bool pasted)
{
    if (!madeHandOvers.contains(name))
        return;
    if (name == dragHandOver)
        dragArrived = true;
    // The question must not open inside the drag's own event loop.
    if (dragging) {
        heldArrivals.append({folder, name});
        return;
    }
    QTimer::singleShot(0, this, [this, folder, name, pasted] { runArrival(folder, name, pasted); });
}

// A pasted copy is handled once: while its question is up, and after it has been
// removed, later notices of the folder find nothing to do.
void ShellExchange::runArrival(const QString &folder, const QString &name, bool pasted)
{
    const QString copy = QDir(folder).filePath(name);
    if (copiesInHand.contains(copy) || (pasted && !QFileInfo::exists(copy)))
        return;
    emit arrived(folder);
    if (IsTrashFolder(folder) || !IsLocalFolder(folder))
        return;
    const QString original = QDir(tempDir()).filePath(name);
    const QList<TransferItem> items = ReadHandOverFile(original);
    if (items.isEmpty())
        return;
    copiesInHand.insert(copy);
    const bool yes = Ask(&window, u"Downloading..."_qs, DownloadQuestion(items));
    if (pasted)
        QFile::remove(copy);
    copiesInHand.remove(copy);
    if (yes)
        window.runWhenIdle([this, folder, items] { window.DownloadItems(folder, items); });
}

void ShellExchange::watchFolder(const QString &folder)
{
    if (!folder.isEmpty() && QFileInfo(folder).isDir())
        watcher.addPath(folder);
}

void ShellExchange::scanFolder(const QString &folder)
{
    if (QDir(folder) == QDir(tempDir()))
        return;
    for (const QString &name : QDir(folder).entryList({u"KWZ*"_qs}, QDir::Files | QDir::Hidden))
        queueArrival(folder, name, true);
}

void ShellExchange::openRemoteFile(const QString &name, qint64 size)
{
    const QString local = window.DownloadToTempFolder(name, size);
    if (local.isEmpty() || !QFileInfo::exists(local))
        return;
    if (OpenWithDefaultApplication(local))
        return;
    const QString editor = PlainTextEditor();
    const QString question = u"Can not find any associated executable file.\nOpen with '"_qs
                             + QFileInfo(editor).fileName().toUpper() + u"' ?"_qs;
    if (Ask(&window, u"No Association"_qs, question))
        QProcess::startDetached(editor, {local});
}

} // namespace korvan
