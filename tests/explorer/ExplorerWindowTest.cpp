// The explorer window against real servers, as a user drives it: browsing by the
// tree, by double clicks, upwards and by typed addresses, with the log in its
// colours; the four views; sorting by each column twice; selecting; the splitter;
// connecting through the dialogs; a second server after the first.

#include "WindowBench.h"

#include "explorer/AddressCombo.h"
#include "explorer/ExplorerActions.h"
#include "explorer/MainLayout.h"
#include "fixtures/TestFiles.h"

#include <QHeaderView>
#include <QListView>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QToolBar>
#include <QTreeView>

#include <memory>

#include <utime.h>

using namespace korvan;
using namespace korvan::test;

class ExplorerWindowTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void browse();
    void followsTheLogEndUnlessScrolledUp();
    void fourViews_data();
    void fourViews();
    void sortTwice_data();
    void sortTwice();
    void selecting_data();
    void selecting();
    void splitterClamps_data();
    void splitterClamps();
    void connectThroughTheDialog_data();
    void connectThroughTheDialog();
    void secondServerShowsOnlyItsFolders(); // last: leaves the window on another server

private:
    void openRoot();
    // One window on pyftpdlib, which the cases share.
    std::unique_ptr<WindowBench> shared;
};

// Folders too, which QFile cannot open.
static void SetModified(const QString &path, int year)
{
    const time_t when = QDateTime(QDate(year, 3, 4), QTime(5, 6)).toSecsSinceEpoch();
    const utimbuf times{when, when};
    QCOMPARE(utime(QFile::encodeName(path).constData(), &times), 0);
}

static QPoint CenterInViewport(FileListView *list, int row)
{
    QAbstractItemView *view = list->currentView();
    return view->viewport()->mapFrom(list, list->visualRectOfRow(row).center());
}

// As a mouse does it: press, release, press, double click, release (QTest's own
// double click leaves out the second press, which the item views need).
static void DoubleClick(QWidget *widget, QPoint pos)
{
    QTest::mouseClick(widget, Qt::LeftButton, {}, pos);
    QTest::mousePress(widget, Qt::LeftButton, {}, pos);
    QMouseEvent doubleClick(QEvent::MouseButtonDblClick, pos, widget->mapToGlobal(pos), Qt::LeftButton,
                            Qt::LeftButton, {});
    QApplication::sendEvent(widget, &doubleClick);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, pos);
}

void ExplorerWindowTest::initTestCase()
{
    shared = std::make_unique<WindowBench>(ServerKind::Pyftpdlib);
    START_OR_FAIL(shared->server);
    const QString root = shared->server.rootDir();
    // Sizes out of name order ("9" before "10", "1,234" before "12,345"); types,
    // dates and names each give another order.
    QVERIFY(writeTree(root, {{u"apple.txt"_qs, 12345}, {u"kiwi.c"_qs, 9}, {u"melon.html"_qs, 1234},
                             {u"zebra.txt"_qs, 10}, {u"f1/inner/deep.txt"_qs, 40}, {u"f2/readme.md"_qs, 20}}));
    const std::pair<const char *, int> years[] = {{"apple.txt", 2001}, {"kiwi.c", 2015}, {"melon.html", 2005},
                                                  {"zebra.txt", 2010}, {"f1", 2020},     {"f2", 2019}};
    for (const auto &[name, year] : years)
        SetModified(root + u'/' + QLatin1String(name), year);
    shared->server.handOver();
    shared->window.resize(900, 620);
    saveScreenshot(&shared->window, u"window-empty"_qs);
    QVERIFY(shared->connect());
    QVERIFY(QTest::qWaitForWindowExposed(&shared->window));
}

void ExplorerWindowTest::cleanupTestCase()
{
    shared.reset();
}

void ExplorerWindowTest::openRoot()
{
    shared->window.SetStatusText({});
    FolderTree *tree = shared->window.tree();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(tree->root()).center());
    QTRY_COMPARE(shared->window.statusText(), u"6 FILES OR FOLDERS"_qs);
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

void ExplorerWindowTest::browse()
{
    WindowBench &bench = *shared;
    fFTPMain &window = bench.window;
    QCOMPARE(window.windowTitle(), bench.server.host());
    QCOMPARE(bench.rowNames(), (QStringList{"f1", "f2", "apple.txt", "kiwi.c", "melon.html", "zebra.txt"}));
    QCOMPARE(bench.treeChildren(u"/"_qs), (QStringList{u"f1"_qs, u"f2"_qs}));
    QCOMPARE(window.statusText(), u"CONNECTED TO 127.0.0.1"_qs);
    // Commands blue, replies black (errors red), the client's own notes magenta.
    QCOMPARE(LogColourOf(window.logPane(), u"USER "_qs), QColor(Qt::blue));
    QCOMPARE(LogColourOf(window.logPane(), u"230 "_qs), QColor(Qt::black));
    QCOMPARE(LogColourOf(window.logPane(), u"Connecting to "_qs), QColor(Qt::magenta));

    // A click on a folder of the tree.
    FolderTree *tree = window.tree();
    QTreeWidgetItem *f1 = tree->findNode(u"/f1/"_qs);
    QVERIFY(f1);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(f1).center());
    QTRY_COMPARE(bench.rowNames(), QStringList{u"inner"_qs});
    QCOMPARE(window.addressCombo()->currentText(), u"ftp://127.0.0.1/f1/"_qs);

    // A double click on a folder of the list.
    FileListView *list = window.listView();
    // Icon views lay their items out on a later turn of the event loop.
    QTRY_VERIFY(list->visualRectOfRow(bench.rowOf(u"inner"_qs)).isValid());
    DoubleClick(list->currentView()->viewport(), CenterInViewport(list, bench.rowOf(u"inner"_qs)));
    QTRY_COMPARE(bench.rowNames(), QStringList{u"deep.txt"_qs});
    QCOMPARE(FolderTree::keyOf(tree->selectedNode()), u"/f1/inner/"_qs);

    // Go Upward on the tool bar.
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
    QTest::newRow("Large Icons") << 0 << "large-icons";
    QTest::newRow("Small Icons") << 1 << "small-icons";
    QTest::newRow("List") << 2 << "list";
    QTest::newRow("Details") << 3 << "details";
}

void ExplorerWindowTest::fourViews()
{
    QFETCH(int, style);
    QFETCH(QString, name);
    fFTPMain &window = shared->window;
    openRoot();
    window.actions()->viewStyle(style)->trigger();
    FileListView *list = window.listView();
    QCOMPARE(list->viewStyle(), style);
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
    QTest::newRow("name") << 1 << QStringList{"f1", "f2", "apple.txt", "kiwi.c", "melon.html", "zebra.txt"};
    QTest::newRow("size") << 2 << QStringList{"f1", "f2", "kiwi.c", "zebra.txt", "melon.html", "apple.txt"};
    QTest::newRow("type") << 3 << QStringList{"f1", "f2", "kiwi.c", "melon.html", "apple.txt", "zebra.txt"};
    QTest::newRow("date") << 4 << QStringList{"f2", "f1", "apple.txt", "melon.html", "zebra.txt", "kiwi.c"};
}

// A folder just opened is sorted by name, ascending; every header click turns the
// order over, so the first click on a column shows it descending (files first).
void ExplorerWindowTest::sortTwice()
{
    QFETCH(int, column);
    QFETCH(QStringList, ascending);
    fFTPMain &window = shared->window;
    window.actions()->viewStyle(3)->trigger();
    openRoot();
    auto *details = qobject_cast<QTreeView *>(window.listView()->currentView());
    QVERIFY(details);
    QHeaderView *header = details->header();
    const QPoint section(header->sectionViewportPosition(column - 1) + header->sectionSize(column - 1) / 2,
                         header->height() / 2);
    QStringList descending = ascending;
    std::reverse(descending.begin(), descending.end());
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, section);
    QCOMPARE(shared->rowNames(), descending);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, section);
    QCOMPARE(shared->rowNames(), ascending);
}

void ExplorerWindowTest::selecting_data()
{
    QTest::addColumn<QList<int>>("selectedBefore");
    // Qt::Key_A or Qt::Key_I with Control; else the row right-clicked, -1 below the rows.
    QTest::addColumn<int>("action");
    QTest::addColumn<QList<int>>("selectedAfter");
    QTest::addColumn<QString>("status"); // after a key; a right click opens the menu at the mouse
    const QList<int> all{0, 1, 2, 3, 4, 5};
    QTest::newRow("select all") << QList<int>{} << int(Qt::Key_A) << all << "6 FILES AND FOLDERS ARE SELECTED.";
    QTest::newRow("invert nothing selected") << QList<int>{} << int(Qt::Key_I) << all
                                             << "6 FILES AND FOLDERS ARE SELECTED.";
    QTest::newRow("invert the third selected") << QList<int>{2} << int(Qt::Key_I) << QList<int>{0, 1, 3, 4, 5}
                                               << "5 FILES AND FOLDERS ARE SELECTED.";
    QTest::newRow("invert all selected") << all << int(Qt::Key_I) << QList<int>{}
                                         << "0 FILES AND FOLDERS ARE SELECTED.";
    QTest::newRow("right click, unselected entry: selected alone") << QList<int>{0, 1} << 4 << QList<int>{4} << "";
    QTest::newRow("right click, selected entry: selection kept") << QList<int>{0, 1} << 1 << QList<int>{0, 1} << "";
    QTest::newRow("right click, empty space: selection kept") << QList<int>{2} << -1 << QList<int>{2} << "";
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

void ExplorerWindowTest::splitterClamps_data()
{
    QTest::addColumn<int>("targetY"); // in the window's client area; -1 its very bottom
    QTest::addColumn<double>("percent");
    QTest::newRow("very top") << 0 << 10.0;
    QTest::newRow("very bottom") << -1 << 90.0;
}

void ExplorerWindowTest::splitterClamps()
{
    QFETCH(int, targetY);
    QFETCH(double, percent);
    MainLayout *layout = shared->window.mainLayout();
    QWidget *grip = layout->grip();
    const QPoint start = grip->rect().center();
    const int y = targetY < 0 ? layout->height() : targetY;
    const QPoint end(start.x(), grip->mapFrom(layout, QPoint(0, y)).y());
    QTest::mousePress(grip, Qt::LeftButton, {}, start);
    QMouseEvent move(QEvent::MouseMove, end, grip->mapToGlobal(end), Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(grip, &move);
    QTest::mouseRelease(grip, Qt::LeftButton, {}, end);
    QCOMPARE(layout->SplitterPercent(), percent);
    // The log pane starts where the grip ends.
    const QWidget *log = shared->window.logPane();
    QCOMPARE(log->geometry().top(), grip->geometry().bottom() + 1);
    layout->setSplitterPercent(50);
}

void ExplorerWindowTest::connectThroughTheDialog_data()
{
    QTest::addColumn<int>("entry");
    QTest::addColumn<bool>("cancelled");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QStringList>("rows");
    const int connect = ExplorerActions::Connect;
    QTest::newRow("Connect, cancelled") << connect << true << "/" << QStringList();
    QTest::newRow("Connect") << connect << false << "/f2" << QStringList{"readme.md"};
    QTest::newRow("Quick Connect") << int(ExplorerActions::QuickConnect) << false << "/f2" << QStringList{"readme.md"};
    QTest::newRow("start folder below the root") << connect << false << "/f1/inner" << QStringList{"deep.txt"};
}

// The menu entry opens the connect dialog (site manager or quick connect), which
// fills the settings; the window logs on with them unless the user cancelled.
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
    QCOMPARE(shared->treeChildren(u"/"_qs), (QStringList{u"f1"_qs, u"f2"_qs}));

    ftpSettings() = settingsFor(second, false);
    QVERIFY(shared->window.ConnectWith(ftpSettings()));
    QCOMPARE(shared->window.statusText(), u"CONNECTED TO 127.0.0.1"_qs);
    QCOMPARE(shared->treeChildren(u"/"_qs), QStringList{u"beta"_qs});
    QCOMPARE(shared->rowNames(), QStringList{u"beta"_qs});
}

QTEST_MAIN(ExplorerWindowTest)
#include "ExplorerWindowTest.moc"
