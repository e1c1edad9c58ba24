// The file list with the desktop, on a real X display: PCManFM as the file
// manager (its folder windows and its desktop), xdotool as the user's hand,
// dbus-send as KDE's file manager, xdg-mime with a desktop entry of the test's
// own, and a real FTP server behind the window.

#include "WindowBench.h"

#include "explorer/DropExtractService.h"
#include "explorer/ExplorerActions.h"
#include "explorer/ShellExchange.h"
#include "ftp/FtpSession.h"
#include "fixtures/TestFiles.h"

#include <QAbstractItemView>
#include <QAction>
#include <QFileDialog>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMimeData>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QStandardPaths>

#include <memory>

using namespace korvan;
using namespace korvan::test;

namespace {

// Where the windows stand on the 1280x800 screen (there is no window manager).
const QRect kListWindow(0, 0, 640, 600);
const QRect kFolderWindow(660, 0, 600, 480);
const QPoint kEmptyDesktop(1000, 700);
// PCManFM's first icon, from its window's top left corner.
const QPoint kFirstIcon(208, 100);
// An empty spot of PCManFM's folder view, from its window's top left corner.
const QPoint kEmptyFolderView(450, 350);

const QList<TreeFile> kRemoteFiles = {
    {u"notes.txt"_qs, 300}, {u"photo.bin"_qs, 70000}, {u"docs/readme.md"_qs, 1200}, {u"docs/deep/x.bin"_qs, 5000}};
const QStringList kDragged = {u"notes.txt"_qs, u"photo.bin"_qs, u"docs"_qs};

QString home()
{
    return QDir::homePath();
}

// Runs xdotool while this test's event loop keeps turning (a drag of the list runs
// its own loop inside it); `then` runs when it has finished.
void xdotool(const QStringList &arguments, std::function<void()> then = {})
{
    auto *process = new QProcess;
    QObject::connect(process, &QProcess::finished, process, [process, then] {
        process->deleteLater();
        if (then)
            then();
    });
    process->start(u"xdotool"_qs, arguments);
}

void xdotoolAndWait(const QStringList &arguments)
{
    bool done = false;
    xdotool(arguments, [&done] { done = true; });
    QTRY_VERIFY_WITH_TIMEOUT(done, 15000);
}

QString xy(int value)
{
    return QString::number(value);
}

// A hand pressing at `from` and moving to `to`, still pressed: XDND needs moves
// spaced in time to let both sides talk.
QStringList pressAndMove(QPoint from, QPoint to)
{
    QStringList steps{u"mousemove"_qs, xy(from.x()), xy(from.y()), u"mousedown"_qs, u"1"_qs};
    const QPoint path[] = {from + QPoint(12, 12), (from + to) / 2, to - QPoint(5, 5), to};
    for (QPoint at : path)
        steps << u"sleep"_qs << u"0.3"_qs << u"mousemove"_qs << xy(at.x()) << xy(at.y());
    return steps << u"sleep"_qs << u"0.3"_qs;
}

void saveScreen(const QString &name)
{
    QVERIFY(QGuiApplication::primaryScreen()->grabWindow(0).save(screenshotPath(name)));
}

// A drag by the mouse, with a screenshot while it hangs over the target.
void drag(QPoint from, QPoint to, const QString &screenshot = {})
{
    bool released = false;
    xdotool(pressAndMove(from, to), [&released, screenshot] {
        if (!screenshot.isEmpty())
            saveScreen(screenshot);
        xdotool({u"mouseup"_qs, u"1"_qs}, [&released] { released = true; });
    });
    QTRY_VERIFY_WITH_TIMEOUT(released, 20000);
}

// There is no window manager to move the keyboard focus: the window that is to
// get the keys is given it first.
void click(QPoint at, const QString &window, const QStringList &keys = {}, int repeat = 1)
{
    QStringList steps{u"windowfocus"_qs, u"--sync"_qs, window, u"mousemove"_qs, xy(at.x()), xy(at.y()),
                      u"click"_qs,       u"--repeat"_qs, xy(repeat), u"1"_qs};
    for (const QString &key : keys)
        steps << u"key"_qs << key;
    xdotoolAndWait(steps);
}

} // namespace

class DesktopExchangeXTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void initTestCase();
    void cleanupTestCase();
    void handOverIntoFolder_data();
    void handOverIntoFolder();
    void localFilesOntoList_data();
    void localFilesOntoList();
    void openRemoteFile_data();
    void openRemoteFile();

private:
    // The next question is answered Yes (a screenshot taken first); its text is kept in `asked`.
    void answerYes(const QString &screenshot = {});
    // A PCManFM window on folder, where kFolderWindow says, above the others.
    QPoint showFolderWindow(const QString &folder);
    void selectRows(const QStringList &names);
    QPoint rowOnScreen(const QString &name) const;
    QString listWindow() const { return QString::number(bench->window.winId()); }

    std::unique_ptr<WindowBench> bench;
    QProcess desktop;
    QString folderWindow; // the last one shown
    QTimer answerer;
    QString answerScreenshot;
    QString asked;
    QString folderToChoose; // the folder chooser's answer
};

void DesktopExchangeXTest::init()
{
    answerer.stop();
    asked.clear();
}

void DesktopExchangeXTest::answerYes(const QString &screenshot)
{
    answerScreenshot = screenshot;
    answerer.start(5);
}

void DesktopExchangeXTest::initTestCase()
{
    connect(&answerer, &QTimer::timeout, this, [this] {
        QWidget *box = QApplication::activeModalWidget();
        if (!box)
            return;
        if (auto *chooser = qobject_cast<QFileDialog *>(box)) {
            chooser->setDirectory(folderToChoose);
            QMetaObject::invokeMethod(chooser, "accept", Qt::QueuedConnection);
            return;
        }
        answerer.stop();
        asked = questionOf(box);
        if (!answerScreenshot.isEmpty())
            saveScreenshot(&bench->window, answerScreenshot);
        clickChild(box, u"FirstButton"_qs);
    });
    QVERIFY2(QGuiApplication::platformName() == u"xcb", "runs on an X display (on-x-display.sh)");
    QDir().mkpath(home() + u"/Desktop"_qs);
    // The desktop first: windows shown later stand above it.
    desktop.start(u"pcmanfm"_qs, {u"--desktop"_qs});
    xdotoolAndWait({u"search"_qs, u"--sync"_qs, u"--onlyvisible"_qs, u"--class"_qs, u"pcmanfm"_qs});

    bench = std::make_unique<WindowBench>(ServerKind::Pyftpdlib);
    START_OR_FAIL(bench->server);
    QVERIFY(writeTree(bench->server.rootDir(), kRemoteFiles));
    bench->server.handOver();
    bench->window.setGeometry(kListWindow);
    QVERIFY(bench->connect());
    QVERIFY(QTest::qWaitForWindowExposed(&bench->window));
    ftpSettings().sTempDir = home() + u"/korvan-temp/"_qs;
    QDir().mkpath(ftpSettings().sTempDir);
}

void DesktopExchangeXTest::cleanupTestCase()
{
    bench.reset();
    // Every drag and copy above wrote a hand-over file; the window took them along.
    QCOMPARE(QDir(ftpSettings().sTempDir).entryList({u"KWZ*"_qs}, QDir::Files), QStringList());
    desktop.terminate();
    desktop.waitForFinished();
}

QPoint DesktopExchangeXTest::showFolderWindow(const QString &folder)
{
    QDir().mkpath(folder);
    QProcess::startDetached(u"pcmanfm"_qs, {u"--new-win"_qs, folder});
    QProcess search;
    search.start(u"xdotool"_qs, {u"search"_qs, u"--sync"_qs, u"--name"_qs, u'^' + QFileInfo(folder).fileName() + u'$'});
    search.waitForFinished(15000);
    folderWindow = QString::fromLatin1(search.readAllStandardOutput()).split(u'\n').value(0);
    xdotoolAndWait({u"windowmove"_qs, folderWindow, xy(kFolderWindow.x()), xy(kFolderWindow.y()), u"windowsize"_qs,
                    folderWindow, xy(kFolderWindow.width()), xy(kFolderWindow.height()), u"windowraise"_qs,
                    folderWindow});
    return kFolderWindow.topLeft();
}

void DesktopExchangeXTest::selectRows(const QStringList &names)
{
    FileListView *list = bench->window.listView();
    list->selectOnly(bench->rowOf(names.first()));
    for (const QString &name : names)
        list->currentView()->selectionModel()->select(bench->window.listModel()->index(bench->rowOf(name), 0),
                                                      QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

QPoint DesktopExchangeXTest::rowOnScreen(const QString &name) const
{
    FileListView *list = bench->window.listView();
    return list->mapToGlobal(list->visualRectOfRow(bench->rowOf(name)).center());
}

void DesktopExchangeXTest::handOverIntoFolder_data()
{
    QTest::addColumn<QString>("gesture");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("downloads");
    QTest::addColumn<int>("viewStyle");
    const int icons = FileListView::LargeIcons;
    const int details = FileListView::Details;
    // The clipboard first: on an X server started seconds ago, Qt 6.4 cannot take
    // the clipboard after a drag (the server refuses the time Qt gives it).
    QTest::newRow("Ctrl+C in the list, pasted in PCManFM") << u"paste"_qs << u"pasted"_qs << true << details;
    QTest::newRow("dragged onto a PCManFM folder window") << u"drag"_qs << u"dragged"_qs << true << icons;
    QTest::newRow("dragged onto the PCManFM desktop") << u"drag to desktop"_qs << u"Desktop"_qs << true << details;
    QTest::newRow("dragged into the trash") << u"drag"_qs << u".local/share/Trash/files"_qs << false << icons;
    QTest::newRow("dropped on KDE's file manager (D-Bus)") << u"kde"_qs << u"extracted"_qs << true << details;
    QTest::newRow("\"Download to...\" and the folder chooser") << u"menu"_qs << u"chosen"_qs << true << icons;
    QTest::newRow("refused by a program that takes no drops: the folder chooser")
        << u"drag to a refusing window"_qs << u"refused"_qs << true << details;
}

void DesktopExchangeXTest::handOverIntoFolder()
{
    QFETCH(QString, gesture);
    QFETCH(QString, folder);
    QFETCH(bool, downloads);
    QFETCH(int, viewStyle);
    bench->window.listView()->setViewStyle(viewStyle);
    const QString target = home() + u'/' + folder;
    QDir().mkpath(target);
    ShellExchange &exchange = *bench->window.shellExchange();
    QSignalSpy arrivals(&exchange, &ShellExchange::arrived);
    const bool firstDrag = folder == u"dragged";
    if (downloads)
        answerYes(firstDrag ? u"desktop-download-question"_qs : QString());
    if (gesture != u"paste")
        selectRows(kDragged);

    if (gesture == u"drag") {
        drag(rowOnScreen(u"notes.txt"_qs), showFolderWindow(target) + kEmptyFolderView,
             firstDrag ? u"desktop-drag"_qs : QString());
    } else if (gesture == u"drag to desktop") {
        drag(rowOnScreen(u"notes.txt"_qs), kEmptyDesktop);
    } else if (gesture == u"paste") {
        // Keys from the X server, as a user types them (the clipboard takes the
        // time of the last X event as its own).
        exchange.watchFolder(target);
        QStringList steps{u"windowfocus"_qs, u"--sync"_qs, listWindow()};
        for (const QString &name : kDragged) {
            const QPoint at = rowOnScreen(name);
            steps << u"mousemove"_qs << xy(at.x()) << xy(at.y()) << u"click"_qs << u"1"_qs << u"keydown"_qs << u"ctrl"_qs;
        }
        xdotoolAndWait(steps << u"key"_qs << u"ctrl+c"_qs << u"keyup"_qs << u"ctrl"_qs);
        const QPoint emptyFolderView = showFolderWindow(target) + kEmptyFolderView;
        click(emptyFolderView, folderWindow, {u"ctrl+v"_qs});
    } else if (gesture == u"drag to a refusing window") {
        folderToChoose = target;
        QProcess refusing;
        refusing.start(QCoreApplication::applicationFilePath(), {u"--refusing-window"_qs});
        xdotoolAndWait({u"search"_qs, u"--sync"_qs, u"--name"_qs, u"^refusing$"_qs});
        drag(rowOnScreen(u"notes.txt"_qs), kFolderWindow.center());
        QTRY_VERIFY_WITH_TIMEOUT(!arrivals.isEmpty(), 15000);
        refusing.kill();
        refusing.waitForFinished();
    } else if (gesture == u"menu") {
        folderToChoose = target;
        QAction *downloadTo = bench->window.actions()->downloadTo;
        QTRY_VERIFY(downloadTo->isEnabled());
        downloadTo->trigger();
    } else {
        // KDE's file manager reads the pair from the drop and calls the source back,
        // here after the user has gone on to another folder.
        std::unique_ptr<QMimeData> data(exchange.dragData());
        bench->typeAddress(u"/docs/deep"_qs);
        QProcess::startDetached(u"dbus-send"_qs,
                                {u"--session"_qs, u"--type=method_call"_qs,
                                 u"--dest="_qs + QString::fromUtf8(data->data(DropExtractService::kServiceFormat)),
                                 QString::fromUtf8(data->data(DropExtractService::kPathFormat)),
                                 u"org.kde.ark.DndExtract.extractSelectedFilesTo"_qs, u"string:"_qs + target});
    }

    QTRY_VERIFY_WITH_TIMEOUT(!arrivals.isEmpty(), 15000);
    QCOMPARE(QDir(arrivals.first().first().toString()), QDir(target));
    if (!downloads) {
        QVERIFY(!QApplication::activeModalWidget());
        QCOMPARE(QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
        return;
    }
    QTRY_COMPARE_WITH_TIMEOUT(describe(treeOf(target)),
                              describe(expectedTree(kRemoteFiles, {}, [](const TreeFile &) { return true; })), 15000);
    QVERIFY2(asked.startsWith(u"Downloading...: Download following files and folders ?\n"
                              "If files already exist, they will be overwritten.\n\n/docs/  size=\n"_qs),
             qPrintable(asked));
    QVERIFY2(asked.contains(u"/photo.bin  size=70000"_qs), qPrintable(asked));
    if (bench->window.session().sCurrentDir() != u"/")
        bench->typeAddress(u"/"_qs);
}

void DesktopExchangeXTest::localFilesOntoList_data()
{
    QTest::addColumn<QString>("gesture");
    QTest::newRow("dragged from PCManFM") << u"drag"_qs;
    QTest::newRow("copied in PCManFM, Ctrl+V in the list") << u"paste"_qs;
}

void DesktopExchangeXTest::localFilesOntoList()
{
    QFETCH(QString, gesture);
    const QString source = home() + u"/up-"_qs + gesture;
    const QList<TreeFile> files = {{gesture + u"-1.txt"_qs, 2000}, {gesture + u"-2.bin"_qs, 40000},
                                   {gesture + u"-dir/inner.txt"_qs, 700}};
    QVERIFY(writeTree(source, files));
    answerYes();

    // Everything in the folder, chosen in PCManFM (a click on an empty spot first:
    // two clicks on an icon would open it).
    const QPoint shown = showFolderWindow(source);
    if (gesture == u"drag") {
        click(shown + kEmptyFolderView, folderWindow, {u"ctrl+a"_qs});
        drag(shown + kFirstIcon, rowOnScreen(u"notes.txt"_qs) + QPoint(0, 80), u"drag-from-pcmanfm"_qs);
    } else {
        click(shown + kEmptyFolderView, folderWindow, {u"ctrl+a"_qs, u"ctrl+c"_qs});
        click(rowOnScreen(u"notes.txt"_qs) + QPoint(0, 120), listWindow(), {u"ctrl+v"_qs});
    }

    const QString remote = bench->server.rootDir();
    for (const TreeFile &file : files)
        QTRY_COMPARE_WITH_TIMEOUT(readFile(remote + u'/' + file.path), readFile(source + u'/' + file.path), 15000);
    QCOMPARE(asked, u"Uploading...: Upload 3 files and folders ?\nIf files already exist, they will be overwritten."_qs);
}

void DesktopExchangeXTest::openRemoteFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("question");
    QTest::newRow("the desktop's program for its type") << u"notes.txt"_qs << QString();
    QTest::newRow("no program: opened in the editor")
        << u"photo.bin"_qs
        << u"No Association: Can not find any associated executable file.\nOpen with 'TEXTEDITOR' ?"_qs;
}

// The desktop's program and its plain-text editor are one stand-in that notes
// the path it was given; a stale file of the same name waits in the temporary folder.
void DesktopExchangeXTest::openRemoteFile()
{
    QFETCH(QString, name);
    QFETCH(QString, question);
    const QString record = home() + u"/opened"_qs;
    const QString program = home() + u"/bin/texteditor"_qs;
    QFile::remove(record);
    QVERIFY(writeFile(program, "#!/bin/sh\nprintf '%s' \"$1\" > " + QFile::encodeName(record) + ".part && mv "
                                   + QFile::encodeName(record) + ".part " + QFile::encodeName(record) + "\n"));
    QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString applications = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/applications"_qs;
    QVERIFY(writeFile(applications + u"/texteditor.desktop"_qs,
                      "[Desktop Entry]\nType=Application\nName=Text editor\nExec=" + QFile::encodeName(program)
                          + " %f\nMimeType=text/plain;\n"));
    QVERIFY(writeFile(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/mimeapps.list"_qs,
                      "[Default Applications]\ntext/plain=texteditor.desktop\n"));
    const QString local = ftpSettings().sTempDir + name;
    QVERIFY(writeFile(local, "stale"));
    if (!question.isEmpty())
        answerYes();

    bench->window.listView()->selectOnly(bench->rowOf(name));
    click(rowOnScreen(name), listWindow(), {}, 2);

    QTRY_COMPARE_WITH_TIMEOUT(readFile(record), local.toUtf8(), 15000);
    QCOMPARE(readFile(local), readFile(bench->server.rootDir() + u'/' + name));
    QCOMPARE(asked, question);
}

// A program of the desktop that speaks none of the drop protocols and refuses
// every drop (it is XDND-aware, as Qt windows are, so the drag stops over it).
int showRefusingWindow(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QLabel window(u"This program takes no drops"_qs);
    window.setWindowTitle(u"refusing"_qs);
    window.setGeometry(kFolderWindow);
    window.show();
    return app.exec();
}

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--refusing-window") == 0)
        return showRefusingWindow(argc, argv);
    QApplication app(argc, argv);
    DesktopExchangeXTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "DesktopExchangeXTest.moc"
