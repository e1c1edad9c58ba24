// The explorer window against a real server as a user drives it: browsing, the log, the views, sorting, selecting, the
// splitter, connecting through the dialogs, the question box and the transfer dialog over the window.

#include "WindowBench.h"

#include "explorer/ExplorerActions.h"
#include "explorer/MainLayout.h"
#include "fixtures/TestFiles.h"
#include "korvan/cFTPList.h"
#include "shell/dialogs/MessageBoxes.h"
#include "transfer/dialog/fFTPProgress.h"

#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QMenu>
#include <QMouseEvent>
#include <QProgressBar>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QToolBar>
#include <QTreeView>

#include <memory>

#include <sys/stat.h>
#include <utime.h>

using namespace korvan;
using namespace korvan::test;

class ExplorerWindowTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void browse();
    void typedAddress_data();
    void typedAddress();
    void followsTheLogEndUnlessScrolledUp();
    void fourViews_data();
    void fourViews();
    void sortTwice_data();
    void sortTwice();
    void equalNamesKeepTheListingOrder();
    void selecting_data();
    void selecting();
    void splitterClamps();
    void question_data();
    void question();
    void progressDialog();
    void connectThroughTheDialog_data();
    void connectThroughTheDialog();
    void secondServerShowsOnlyItsFolders(); // last: leaves the window on another server

private:
    void openRoot();
    // One window on pyftpdlib, which the cases share; its model checked by Qt's tester throughout.
    std::unique_ptr<WindowBench> shared;
    std::unique_ptr<QAbstractItemModelTester> modelTester;
};

static QPoint CenterInViewport(FileListView *list, int row)
{
    QAbstractItemView *view = list->currentView();
    return view->viewport()->mapFrom(list, list->visualRectOfRow(row).center());
}

// As a mouse does it: QTest's own double click leaves out the second press, which the item views need.
static void DoubleClick(QWidget *widget, QPoint pos)
{
    QTest::mouseClick(widget, Qt::LeftButton, {}, pos);
    QTest::mousePress(widget, Qt::LeftButton, {}, pos);
    QMouseEvent doubleClick(QEvent::MouseButtonDblClick, pos, widget->mapToGlobal(pos), Qt::LeftButton, Qt::LeftButton,
                            {});
    QApplication::sendEvent(widget, &doubleClick);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, pos);
}

// The colour of the first log line that starts with `text`.
static QColor LogColourOf(LogPane *pane, const QString &text)
{
    pane->flushPending();
    for (QTextBlock block = pane->document()->firstBlock(); block.isValid(); block = block.next()) {
        if (block.text().startsWith(text))
            return block.begin().fragment().charFormat().foreground().color();
    }
    return {};
}

void ExplorerWindowTest::initTestCase()
{
    shared = std::make_unique<WindowBench>(ServerKind::Pyftpdlib);
    START_OR_FAIL(shared->server);
    modelTester = std::make_unique<QAbstractItemModelTester>(shared->window.listModel(),
                                                             QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QString root = shared->server.rootDir();
    // Each column sorts these otherwise: sizes, dates (their text sorts otherwise), types, permissions, names.
    const QList<TreeFile> sizes = {{u"apple.txt"_qs, 12345},      {u"Kiwi.c"_qs, 9},
                                   {u"melon.html"_qs, 1234},      {u"zebra.txt"_qs, 10},
                                   {u"f1/inner/deep.txt"_qs, 40}, {u"f2/readme.md"_qs, 20}};
    QVERIFY(writeTree(root, sizes));
    const struct {
        const char *name;
        QDate modified;
        mode_t mode; // 0: as made
    } files[] = {
        {"apple.txt", {2001, 12, 4}, 0604}, {"Kiwi.c", {2015, 1, 4}, 0704}, {"melon.html", {2005, 11, 4}, 0600},
        {"zebra.txt", {2010, 2, 4}, 0404},  {"f1", {2020, 3, 4}, 0},        {"f2", {2019, 3, 4}, 0}};
    for (const auto &file : files) {
        const QByteArray path = QFile::encodeName(root + u'/' + QLatin1String(file.name));
        const time_t when = file.modified.startOfDay().toSecsSinceEpoch();
        const utimbuf times{when, when};
        QCOMPARE(utime(path.constData(), &times), 0); // folders too, which QFile cannot open
        QVERIFY(!file.mode || chmod(path.constData(), file.mode) == 0);
    }
    shared->server.handOver();
    shared->window.resize(900, 620);
    saveScreenshot(&shared->window, u"window-empty"_qs);
    QVERIFY(shared->connect());
    QVERIFY(QTest::qWaitForWindowExposed(&shared->window));
}

void ExplorerWindowTest::openRoot()
{
    shared->window.SetStatusText({});
    FolderTree *tree = shared->window.tree();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(tree->root()).center());
    QTRY_COMPARE(shared->window.statusText(), u"6 FILES OR FOLDERS"_qs);
}

void ExplorerWindowTest::browse()
{
    WindowBench &bench = *shared;
    fFTPMain &window = bench.window;
    QCOMPARE(window.windowTitle(), bench.server.host());
    QCOMPARE(bench.rowNames(), (QStringList{"f1", "f2", "apple.txt", "Kiwi.c", "melon.html", "zebra.txt"}));
    QCOMPARE(treeChildrenOf(window, u"/"_qs), (QStringList{u"f1"_qs, u"f2"_qs}));
    QCOMPARE(window.statusText(), u"CONNECTED TO 127.0.0.1"_qs);
    // Commands blue, replies black (errors red), the client's own notes magenta.
    QCOMPARE(LogColourOf(window.logPane(), u"USER "_qs), QColor(Qt::blue));
    QCOMPARE(LogColourOf(window.logPane(), u"230 "_qs), QColor(Qt::black));
    QCOMPARE(LogColourOf(window.logPane(), u"Connecting to "_qs), QColor(Qt::magenta));

    FolderTree *tree = window.tree();
    QTreeWidgetItem *f1 = tree->findNode(u"/f1/"_qs);
    QVERIFY(f1);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(f1).center());
    QTRY_COMPARE(bench.rowNames(), QStringList{u"inner"_qs});
    QCOMPARE(window.addressCombo()->currentText(), u"ftp://127.0.0.1/f1/"_qs);

    FileListView *list = window.listView();
    // Icon views lay their items out on a later turn of the event loop.
    QTRY_VERIFY(list->visualRectOfRow(bench.rowOf(u"inner"_qs)).isValid());
    DoubleClick(list->currentView()->viewport(), CenterInViewport(list, bench.rowOf(u"inner"_qs)));
    QTRY_COMPARE(bench.rowNames(), QStringList{u"deep.txt"_qs});
    QCOMPARE(FolderTree::keyOf(tree->selectedNode()), u"/f1/inner/"_qs);

    QTRY_VERIFY(window.actions()->goUp->isEnabled());
    QTest::mouseClick(window.actions()->tBar1->widgetForAction(window.actions()->goUp), Qt::LeftButton);
    QTRY_COMPARE(bench.rowNames(), QStringList{u"inner"_qs});
    QCOMPARE(FolderTree::keyOf(tree->selectedNode()), u"/f1/"_qs);

    // An address typed into the combo: its server part is ignored.
    bench.typeAddress(u"ftp://elsewhere/f2"_qs);
    QTRY_COMPARE(bench.rowNames(), QStringList{u"readme.md"_qs});
    QCOMPARE(window.addressCombo()->currentText(), u"ftp://127.0.0.1/f2/"_qs);
    QCOMPARE(window.addressCombo()->count(), 4);
}

// What a typed address asks for; browse() types one into the window.
void ExplorerWindowTest::typedAddress_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("folder");
    QTest::newRow("upper-case scheme") << u"FTP://h/a"_qs << u"/a"_qs;
    QTest::newRow("explicit TLS scheme") << u"ftpes://h/a b"_qs << u"/a b"_qs;
    QTest::newRow("implicit TLS scheme") << u"FTPS://h:990/a"_qs << u"/a"_qs;
    QTest::newRow("mixed-case scheme is not removed") << u"Ftp://h/a"_qs << u"//h/a"_qs;
    QTest::newRow("no slash passes unchanged") << u"pub"_qs << u"pub"_qs;
}

void ExplorerWindowTest::typedAddress()
{
    QFETCH(QString, typed);
    QTEST(FolderFromTypedAddress(typed), "folder");
}

void ExplorerWindowTest::followsTheLogEndUnlessScrolledUp()
{
    LogPane *pane = shared->window.logPane();
    QScrollBar *bar = pane->verticalScrollBar();
    for (int i = 0; i < 500; ++i)
        pane->appendLine(LogColour::Black, u"200 line %1\r\n"_qs.arg(i));
    pane->flushPending();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());

    bar->setValue(10);
    pane->appendLine(LogColour::Red, u"550 one more\r\n"_qs);
    pane->flushPending();
    QCOMPARE(bar->value(), 10);
    QCOMPARE(pane->document()->lastBlock().text(), u"550 one more"_qs);
    QCOMPARE(LogColourOf(pane, u"550 one more"_qs), QColor(Qt::red));
}

void ExplorerWindowTest::fourViews_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<QString>("name");
    QTest::newRow("Large Icons") << 0 << u"large-icons"_qs;
    QTest::newRow("Small Icons") << 1 << u"small-icons"_qs;
    QTest::newRow("List") << 2 << u"list"_qs;
    QTest::newRow("Details") << 3 << u"details"_qs;
}

void ExplorerWindowTest::fourViews()
{
    QFETCH(int, style);
    QFETCH(QString, name);
    fFTPMain &window = shared->window;
    openRoot();
    window.actions()->viewStyle(style)->trigger();
    FileListView *list = window.listView();
    QCOMPARE(qobject_cast<QTreeView *>(list->currentView()) != nullptr, style == 3);
    emit window.actions()->mnuView->aboutToShow();
    for (int other = 0; other < 4; ++other)
        QCOMPARE(window.actions()->viewStyle(other)->isChecked(), other == style);
    // Every row has its place on screen, the first at the top left.
    QRect first = list->visualRectOfRow(0);
    QVERIFY(first.isValid());
    QVERIFY(list->rect().contains(first.center()));
    QCOMPARE(list->rowAt(first.center()), 0);
    saveScreenshot(&window, u"connected-"_qs + name);
}

void ExplorerWindowTest::sortTwice_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QStringList>("ascending");
    QTest::newRow("name") << 1 << QStringList{"f1", "f2", "apple.txt", "Kiwi.c", "melon.html", "zebra.txt"};
    QTest::newRow("size") << 2 << QStringList{"f1", "f2", "Kiwi.c", "zebra.txt", "melon.html", "apple.txt"};
    QTest::newRow("type") << 3 << QStringList{"f1", "f2", "Kiwi.c", "melon.html", "apple.txt", "zebra.txt"};
    QTest::newRow("date") << 4 << QStringList{"f2", "f1", "apple.txt", "melon.html", "zebra.txt", "Kiwi.c"};
    QTest::newRow("permissions") << 5 << QStringList{"f1", "f2", "zebra.txt", "melon.html", "apple.txt", "Kiwi.c"};
}

// A folder just opened is sorted by name, ascending; every header click turns the order over, so the first click on a
// column shows it descending. The selection stays with its entry, and every row is found by its name.
void ExplorerWindowTest::sortTwice()
{
    QFETCH(int, column);
    QFETCH(QStringList, ascending);
    fFTPMain &window = shared->window;
    window.actions()->viewStyle(3)->trigger();
    openRoot();
    auto *details = qobject_cast<QTreeView *>(window.listView()->currentView());
    QVERIFY(details);
    window.listView()->selectOnly(shared->rowOf(u"melon.html"_qs));
    QHeaderView *header = details->header();
    const QPoint section(header->sectionViewportPosition(column - 1) + header->sectionSize(column - 1) / 2,
                         header->height() / 2);
    QStringList descending = ascending;
    std::reverse(descending.begin(), descending.end());
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, section);
    QCOMPARE(shared->rowNames(), descending);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, section);
    QCOMPARE(shared->rowNames(), ascending);
    QCOMPARE(window.listView()->selectedRows(), QList<int>{int(ascending.indexOf(u"melon.html"_qs))});
    for (int row = 0; row < ascending.size(); ++row)
        QCOMPARE(shared->rowOf(ascending[row]), row);
}

// Names equal but for case are no tie: they keep the listing's order, turned over on the second click.
void ExplorerWindowTest::equalNamesKeepTheListingOrder()
{
    auto list = std::make_shared<cFTPList>();
    list->setFolder(u"/pub/"_qs);
    QString listing = u"-rw-r--r-- 1 ftp ftp 5 Jan 15 2003 same\r\n-rw-r--r-- 1 ftp ftp 5 Jan 15 2003 SAME\r\n"
                      "-rw-r--r-- 1 ftp ftp 5 Jan 15 2003 Same\r\n"_qs;
    list->setFTPFileList(listing);
    FileListModel model;
    model.setListing(list);
    model.sortByColumn(1);
    QCOMPARE(model.index(0, 0).data().toString() + model.index(2, 0).data().toString(), u"sameSame"_qs);
    model.sortByColumn(1);
    QCOMPARE(model.index(0, 0).data().toString() + model.index(2, 0).data().toString(), u"Samesame"_qs);
}

void ExplorerWindowTest::selecting_data()
{
    QTest::addColumn<QList<int>>("selectedBefore");
    // Qt::Key_A or Qt::Key_I with Control; else the row right-clicked, -1 below the rows.
    QTest::addColumn<int>("action");
    QTest::addColumn<QList<int>>("selectedAfter");
    QTest::addColumn<QString>("status"); // after a key; a right click opens the menu at the mouse
    const QList<int> all{0, 1, 2, 3, 4, 5};
    QTest::newRow("select all") << QList<int>{} << int(Qt::Key_A) << all << u"6 FILES AND FOLDERS ARE SELECTED."_qs;
    QTest::newRow("invert the third selected")
        << QList<int>{2} << int(Qt::Key_I) << QList<int>{0, 1, 3, 4, 5} << u"5 FILES AND FOLDERS ARE SELECTED."_qs;
    QTest::newRow("right click, unselected entry: selected alone")
        << QList<int>{0, 1} << 4 << QList<int>{4} << QString();
    QTest::newRow("right click, selected entry: selection kept")
        << QList<int>{0, 1} << 1 << QList<int>{0, 1} << QString();
    QTest::newRow("right click, empty space: selection kept") << QList<int>{2} << -1 << QList<int>{2} << QString();
}

void ExplorerWindowTest::selecting()
{
    QFETCH(QList<int>, selectedBefore);
    QFETCH(int, action);
    fFTPMain &window = shared->window;
    window.actions()->viewStyle(3)->trigger();
    openRoot();
    FileListView *list = window.listView();
    QAbstractItemView *view = list->currentView();
    view->clearSelection();
    for (int row : selectedBefore)
        view->selectionModel()->select(window.listModel()->index(row, 0),
                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    view->setFocus();
    if (action == Qt::Key_A || action == Qt::Key_I) {
        QTest::keyClick(view, Qt::Key(action), Qt::ControlModifier);
        QTEST(window.statusText(), "status");
    } else {
        const QPoint at = action >= 0 ? CenterInViewport(list, action) : QPoint(20, view->viewport()->height() - 5);
        QTest::mousePress(view->viewport(), Qt::RightButton, {}, at);
        QTRY_VERIFY(window.actions()->mnuFTP->isVisible());
        window.actions()->mnuFTP->hide();
        QVERIFY(window.actions()->command(ExplorerActions::Delete)->isEnabled());
    }
    QTEST(list->selectedRows(), "selectedAfter");
}

// Dragged to the very top or bottom, the grip stops at 10 % or 90 %; the log pane starts where the grip ends.
void ExplorerWindowTest::splitterClamps()
{
    MainLayout *layout = shared->window.mainLayout();
    QWidget *grip = layout->grip();
    for (const auto &[targetY, percent] : {std::pair{0, 10.0}, std::pair{layout->height(), 90.0}}) {
        const QPoint start = grip->rect().center();
        const QPoint end(start.x(), grip->mapFrom(layout, QPoint(0, targetY)).y());
        QTest::mousePress(grip, Qt::LeftButton, {}, start);
        QMouseEvent move(QEvent::MouseMove, end, grip->mapToGlobal(end), Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(grip, &move);
        QTest::mouseRelease(grip, Qt::LeftButton, {}, end);
        QCOMPARE(layout->SplitterPercent(), percent);
        QCOMPARE(shared->window.logPane()->geometry().top(), grip->geometry().bottom() + 1);
    }
    layout->setSplitterPercent(50);
}

// The shared question box: captions in the caller's order, the first the default, the answer named by the caption
// chosen wherever it stood.
void ExplorerWindowTest::question_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("action"); // a button's object name, or a key
    QTest::addColumn<int>("answer");
    const int yes = int(QuestionAnswer::Yes), no = int(QuestionAnswer::No);
    QTest::newRow("No first, chosen") << u"&No"_qs << u"&Yes"_qs << u"FirstButton"_qs << no;
    QTest::newRow("Enter takes the first") << u"&No"_qs << u"&Yes"_qs << u"Return"_qs << no;
    QTest::newRow("Escape counts as the second") << u"&No"_qs << u"&Yes"_qs << u"Escape"_qs << yes;
    QTest::newRow("other captions by position") << u"&Retry"_qs << u"&Cancel"_qs << u"SecondButton"_qs << no;
}

void ExplorerWindowTest::question()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, action);
    QStringList captionsLeftToRight;
    whenModal([&](QWidget *box) {
        auto *firstButton = box->findChild<QPushButton *>(u"FirstButton"_qs);
        auto *secondButton = box->findChild<QPushButton *>(u"SecondButton"_qs);
        if (firstButton && secondButton && firstButton->isDefault()) {
            captionsLeftToRight << firstButton->text() << secondButton->text();
            if (secondButton->x() < firstButton->x())
                captionsLeftToRight.swapItemsAt(0, 1);
        }
        if (action == u"Return" || action == u"Escape")
            QTest::keyClick(box, action == u"Return" ? Qt::Key_Return : Qt::Key_Escape);
        else
            clickChild(box, action);
    });
    QTEST(int(askQuestion(&shared->window, u"Vantrel"_qs, u"Go on ?"_qs, first, second)), "answer");
    QCOMPARE(captionsLeftToRight, (QStringList{first, second}));
}

// The transfer dialog over the window: the navigation locked while it is up, what the tick shows from the two bars past
// 4 GiB (the size text follows bar 1, the file; the rest bar 2, the batch), a fresh start after an unload.
void ExplorerWindowTest::progressDialog()
{
    fFTPMain &window = shared->window;
    fFTPProgress &dialog = *window.progressDialog();
    const auto label = [&dialog](const char *name) { return control<QLabel>(dialog, name)->text(); };
    const auto barFraction = [&dialog](const char *name) {
        const auto *bar = control<QProgressBar>(dialog, name);
        return double(bar->value() - bar->minimum()) / (bar->maximum() - bar->minimum());
    };
    const double GiB = 1024.0 * 1024 * 1024;
    dialog.SetCaption(u"Downloading..."_qs);
    QVERIFY(dialog.isVisible() && dialog.Busy());
    QVERIFY(window.geometry().contains(dialog.geometry().center()));
    QCOMPARE(label("lblFrom"), u"Please wait a second. Estimating time."_qs);
    QCOMPARE(label("lblSpeed"), u"Estimating..."_qs);
    QVERIFY(!window.tree()->isEnabled());
    QVERIFY(!window.addressCombo()->isEnabled());

    dialog.setLabels(u"/pub/images/"_qs, u"/home/me/Downloads/"_qs, u"debian-12.iso"_qs);
    dialog.SetPrg1(1 * GiB, 4 * GiB);
    dialog.SetPrg2(2.5 * GiB, 5 * GiB);
    dialog.SetPrg1(-1, -1); // a negative value or maximum leaves that part alone
    dialog.SetPrg2(-1, -1);
    QCOMPARE(barFraction("pBar1"), 0.25);
    QCOMPARE(barFraction("pBar2"), 0.5);
    QTRY_COMPARE(dialog.windowTitle(), u"50 % Downloading..."_qs);
    QCOMPARE(label("lblSize"), u"1,048,576/4,194,304 KBytes"_qs);
    const QString speed = label("lblSpeed");
    const QRegularExpression pattern(
        u"^[\\d,]+\\.\\d KBytes/second  (\\d\\d:\\d\\d:\\d\\d) elasped  (?1) remaining$"_qs);
    QVERIFY2(pattern.match(speed).hasMatch(), qPrintable(speed));
    saveScreenshot(&window, u"progress-5-GiB-batch"_qs);

    dialog.setCanceled(true);
    dialog.Unload();
    QVERIFY(!dialog.isVisible() && !dialog.Busy());
    QVERIFY(window.tree()->isEnabled());
    QVERIFY(window.addressCombo()->isEnabled());
    // The next transfer starts from the first texts, not from the last one's.
    dialog.SetCaption(u"Uploading..."_qs);
    QVERIFY(!dialog.Canceled());
    QCOMPARE(label("lblFrom"), u"Please wait a second. Estimating time."_qs);
    QCOMPARE(label("lblFile"), QString());
    QCOMPARE(barFraction("pBar1"), 0.0);

    // Cancel asks first: No goes on; the transfer ending while the question is up takes it away.
    for (const bool transferEnds : {false, true}) {
        QString asked;
        whenModal([&](QWidget *box) {
            asked = questionOf(box);
            if (transferEnds) {
                dialog.Unload();
                return;
            }
            saveScreenshot(&shared->window, u"progress-cancel-question"_qs);
            clickChild(box, u"SecondButton"_qs);
        });
        QTest::mouseClick(dialog.findChild<QPushButton *>(u"cmdCancel"_qs), Qt::LeftButton);
        QCOMPARE(asked, u"Vantrel: Stop FTP uploading/downloading commands ?"_qs);
        QVERIFY(!dialog.Canceled());
        QCOMPARE(dialog.Busy(), !transferEnds);
        QVERIFY(!QApplication::activeModalWidget());
    }
}

void ExplorerWindowTest::connectThroughTheDialog_data()
{
    QTest::addColumn<int>("entry");
    QTest::addColumn<bool>("cancelled");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QStringList>("rows");
    const int connect = ExplorerActions::Connect;
    QTest::newRow("Connect, cancelled") << connect << true << u"/"_qs << QStringList();
    QTest::newRow("Quick Connect") << int(ExplorerActions::QuickConnect) << false << u"/f2"_qs
                                   << QStringList{"readme.md"};
    QTest::newRow("start folder below the root") << connect << false << u"/f1/inner"_qs << QStringList{"deep.txt"};
}

// The menu entry opens the connect dialog, which fills the settings; the window logs on unless the user cancelled.
void ExplorerWindowTest::connectThroughTheDialog()
{
    QFETCH(int, entry);
    QFETCH(bool, cancelled);
    QFETCH(QString, folder);
    fFTPMain window;
    window.show();
    QList<bool> dialogs;
    window.setConnectDialog([&](bool bQuick) {
        dialogs << bQuick;
        ftpSettings() = settingsFor(shared->server, true);
        ftpSettings().sFTPDir = folder;
        return !cancelled;
    });
    window.actions()->command(ExplorerActions::Command(entry))->trigger();
    QTRY_COMPARE(dialogs, QList<bool>{entry == ExplorerActions::QuickConnect});
    QTEST(rowNamesOf(window), "rows");
    QCOMPARE(window.connected(), !cancelled);
    QCOMPARE(window.windowTitle(), cancelled ? u"FTP"_qs : shared->server.host());
    // Every command of the menu ends with an empty status text.
    QTRY_COMPARE(window.statusText(), QString());
    // The folders on the way are in the tree, with no blank row beside them.
    if (folder == u"/f1/inner") {
        QCOMPARE(treeChildrenOf(window, u"/"_qs), QStringList{u"f1"_qs});
        QCOMPARE(treeChildrenOf(window, u"/f1/"_qs), QStringList{u"inner"_qs});
    }
}

void ExplorerWindowTest::secondServerShowsOnlyItsFolders()
{
    FtpServer second(ServerKind::Vsftpd);
    START_OR_FAIL(second);
    QVERIFY(writeTree(second.rootDir(), {{u"beta/two.txt"_qs, 5}}));
    second.handOver();
    QCOMPARE(treeChildrenOf(shared->window, u"/"_qs), (QStringList{u"f1"_qs, u"f2"_qs}));

    ftpSettings() = settingsFor(second, false);
    QVERIFY(shared->window.ConnectWith(ftpSettings()));
    QCOMPARE(shared->window.statusText(), u"CONNECTED TO 127.0.0.1"_qs);
    QCOMPARE(treeChildrenOf(shared->window, u"/"_qs), QStringList{u"beta"_qs});
    QCOMPARE(shared->rowNames(), QStringList{u"beta"_qs});
}

QTEST_MAIN(ExplorerWindowTest)
#include "ExplorerWindowTest.moc"
