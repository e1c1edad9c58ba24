// A host of the installed component: opens the FTP window embedded in its own
// window, checks what a host can see, ends the component. Exit 0 when all held.

#include <korvan/FtpSettings.h>
#include <korvan/cPellam.h>

#include <QApplication>
#include <QDir>
#include <QWidget>

#include <cstdio>

static bool check(bool held, const char *what)
{
    std::printf("%s: %s\n", held ? "ok" : "FAILED", what);
    return held;
}

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QWidget host;
    host.resize(500, 400);
    host.show();
    bool allHeld = true;
    {
        korvan::cPellam pellam;
        allHeld &= check(!pellam.IsBusy(), "not busy before the window opens");
        const QString temp = QDir::tempPath() + QStringLiteral("/korvan-example-host");
        pellam.SetTempDir(temp);
        allHeld &= check(korvan::ftpSettings().sTempDir == temp + QLatin1Char('/'), "temporary folder set");
        pellam.FTPConnectEx(QString(), &host);
        allHeld &= check(pellam.IsBusy(), "busy with the window open");
        const QWidget *ftp = host.findChild<QWidget *>(QStringLiteral("fFTPMain"));
        allHeld &= check(ftp && ftp->geometry() == QRect(100, 80, 300, 240), "window embedded at 0.6, centred");
        QDir(temp).removeRecursively();
    }
    allHeld &= check(!korvan::ftpSettings().bBusy && !host.findChild<QWidget *>(QStringLiteral("fFTPMain")),
                     "window unloaded with the component");
    return allHeld ? 0 : 1;
}
