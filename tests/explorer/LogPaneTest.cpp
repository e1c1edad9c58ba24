// The log pane: each line in its colour (the engines' colours are blue-green-red),
// without its line end, the view following the end unless the user scrolled up.

#include "explorer/LogPane.h"

#include <QScrollBar>
#include <QTest>
#include <QTextBlock>

using namespace korvan;

class LogPaneTest : public QObject {
    Q_OBJECT
private slots:
    void linesInTheirColours();
    void followsTheEndUnlessScrolledUp();
};

void LogPaneTest::linesInTheirColours()
{
    LogPane pane;
    pane.appendLine(LogColour::Blue, u"USER anonymous\r\n"_qs);
    pane.appendLine(LogColour::Black, u"331 Password required\r\n"_qs);
    pane.appendLine(LogColour::Red, u"530 Login incorrect.\r\n"_qs);
    pane.appendLine(LogColour::Magenta, u"Connected to 127.0.0.1"_qs);
    QTRY_COMPARE(pane.document()->blockCount(), 4);

    const QList<QPair<QString, QColor>> expected = {{u"USER anonymous"_qs, Qt::blue},
                                                    {u"331 Password required"_qs, Qt::black},
                                                    {u"530 Login incorrect."_qs, Qt::red},
                                                    {u"Connected to 127.0.0.1"_qs, Qt::magenta}};
    QTextBlock block = pane.document()->firstBlock();
    for (const auto &[text, colour] : expected) {
        QCOMPARE(block.text(), text);
        QCOMPARE(block.begin().fragment().charFormat().foreground().color(), colour);
        block = block.next();
    }
}

void LogPaneTest::followsTheEndUnlessScrolledUp()
{
    LogPane pane;
    pane.resize(400, 120);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    QScrollBar *bar = pane.verticalScrollBar();
    for (int i = 0; i < 500; ++i)
        pane.appendLine(LogColour::Black, u"200 line %1\r\n"_qs.arg(i));
    pane.flushPending();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());

    bar->setValue(10);
    pane.appendLine(LogColour::Black, u"200 one more\r\n"_qs);
    pane.flushPending();
    QCOMPARE(bar->value(), 10);
    QCOMPARE(pane.document()->lastBlock().text(), u"200 one more"_qs);
}

QTEST_MAIN(LogPaneTest)
#include "LogPaneTest.moc"
