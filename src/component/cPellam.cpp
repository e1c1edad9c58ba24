#include "korvan/cPellam.h"

#include "component/ConnectAddress.h"
#include "component/ConnectDialogs.h"
#include "explorer/ShellExchange.h"
#include "explorer/fFTPMain.h"
#include "korvan/FtpSettings.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QPointer>

#include <exception>

namespace korvan {

namespace {

// Hosts are not ours to crash: a failure inside a method is logged and the method ends.
template <typename Fn> void atBoundary(const char *method, Fn &&fn)
{
    try {
        fn();
    } catch (const std::exception &e) {
        qWarning("korvan: cPellam::%s failed: %s", method, e.what());
    } catch (...) {
        qWarning("korvan: cPellam::%s failed", method);
    }
}

// The one explorer window of the process, made on first use.
QPointer<fFTPMain> &explorerWindow()
{
    static QPointer<fFTPMain> window;
    return window;
}

// Folders the host named for pasted hand-over files: every window watches them.
QStringList &hostFolders()
{
    static QStringList folders;
    return folders;
}

fFTPMain &loadExplorerWindow()
{
    QPointer<fFTPMain> &window = explorerWindow();
    if (!window) {
        window = new fFTPMain;
        for (const QString &folder : hostFolders())
            window->shellExchange()->watchFolder(folder);
        fFTPMain *created = window;
        window->setConnectDialog([created](bool bQuick) { return runConnectDialog(bQuick, created); });
        // A host that deletes the widget it embedded the window in deletes the window with it.
        QObject::connect(window, &QObject::destroyed, [] { ftpSettings().bBusy = false; });
    }
    return *window;
}

void showBusy(fFTPMain &window)
{
    ftpSettings().bBusy = true;
    window.show();
    window.raise();
}

// Child of fParent at 0.6 of its size, centred in it.
void EmbedForm(QWidget &form, QWidget *fParent)
{
    if (!fParent)
        return;
    form.setParent(fParent, Qt::Widget);
    const int width = qRound(fParent->width() * 0.6);
    const int height = qRound(fParent->height() * 0.6);
    form.setGeometry((fParent->width() - width) / 2, (fParent->height() - height) / 2, width, height);
}

} // namespace

cPellam::cPellam()
{
    atBoundary("Class_Initialize", [] {
        FtpSettings &settings = ftpSettings();
        settings.nFTPWaitTime = 30;
        settings.nFTPPort = 21;
        settings.sTempDir = QDir::tempPath() + QLatin1Char('/');
    });
}

cPellam::~cPellam()
{
    atBoundary("Class_Terminate", [this] { UnloadAllForms(); });
}

bool cPellam::IsBusy() const
{
    return ftpSettings().bBusy;
}

QVariant cPellam::SetFont(const QString &sFontName, qint32 hFont)
{
    ftpSettings().sFontName = sFontName;
    ftpSettings().hFont = hFont;
    return {};
}

void cPellam::Configure()
{
    atBoundary("Configure", [] { runSiteEditor(); });
}

void cPellam::FTPConnect()
{
    atBoundary("FTPConnect", [] {
        fFTPMain &window = loadExplorerWindow();
        // A window the host once embedded comes back as a window of its own once closed.
        if (!ftpSettings().bBusy && window.parentWidget())
            window.setParent(nullptr, Qt::Window);
        showBusy(window);
    });
}

void cPellam::FTPConnectEx(const QString &sURL, QWidget *fParent)
{
    atBoundary("FTPConnectEx", [&] {
        const QString url = sURL;
        fFTPMain &window = loadExplorerWindow();
        EmbedForm(window, fParent);
        showBusy(window);
        if (url.isEmpty())
            return;
        ParseConnectAddress(url, ftpSettings());
        window.FTP_Connect(true);
    });
}

// This platform has no short names and no hidden attribute: the folder keeps its
// name and is made owner-only. A step that fails is skipped.
void cPellam::SetTempDir(const QString &sTempDir)
{
    atBoundary("SetTempDir", [&] {
        QString dir = QDir::fromNativeSeparators(sTempDir);
        if (!dir.endsWith(QLatin1Char('/')))
            dir += QLatin1Char('/');
        ftpSettings().sTempDir = dir;
        QDir().mkdir(dir);
        QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    });
}

QString cPellam::HandOverFormat()
{
    return ShellExchange::kHostDropFormat;
}

void cPellam::HandOverArrived(const QString &sFolder, const QString &sHandOver)
{
    atBoundary("HandOverArrived", [&] {
        if (QPointer<fFTPMain> window = explorerWindow())
            window->shellExchange()->handOverArrived(sFolder, sHandOver);
    });
}

void cPellam::WatchFolder(const QString &sFolder)
{
    atBoundary("WatchFolder", [&] {
        hostFolders().append(sFolder);
        if (QPointer<fFTPMain> window = explorerWindow())
            window->shellExchange()->watchFolder(sFolder);
    });
}

void cPellam::UnloadAllForms()
{
    if (bUnloading)
        return;
    bUnloading = true;
    const bool dialogWasOpen = closeConnectDialogs();
    if (QPointer<fFTPMain> window = explorerWindow()) {
        window->close();
        // A dialog or a command in progress is still on the stack: the window goes
        // once that has returned.
        if (window && (dialogWasOpen || window->commandInProgress()))
            window->deleteLater();
        else
            delete window;
    }
    bUnloading = false;
}

} // namespace korvan
