// The shared question box: buttons in the caller's order, the first the default,
// and an answer that names the caption chosen wherever it stood (the input box
// is answered and cancelled through the window's Rename).

#include "WindowBench.h"
#include "shell/dialogs/MessageBoxes.h"

using namespace korvan;
using namespace korvan::test;

class MessageBoxesTest : public QObject {
    Q_OBJECT
private slots:
    void question_data();
    void question();
};

void MessageBoxesTest::question_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("action"); // a button's object name, or a key
    QTest::addColumn<int>("answer");

    const int yes = int(QuestionAnswer::Yes);
    const int no = int(QuestionAnswer::No);
    QTest::newRow("Yes first, chosen") << u"&Yes"_qs << u"&No"_qs << u"FirstButton"_qs << yes;
    QTest::newRow("No second, chosen") << u"&Yes"_qs << u"&No"_qs << u"SecondButton"_qs << no;
    // The wait-too-long and log-on questions put "&No" first.
    QTest::newRow("No first, chosen") << u"&No"_qs << u"&Yes"_qs << u"FirstButton"_qs << no;
    QTest::newRow("Yes second, chosen") << u"&No"_qs << u"&Yes"_qs << u"SecondButton"_qs << yes;
    QTest::newRow("Enter takes the first") << u"&No"_qs << u"&Yes"_qs << u"Return"_qs << no;
    QTest::newRow("Escape counts as the second") << u"&No"_qs << u"&Yes"_qs << u"Escape"_qs << yes;
    QTest::newRow("other captions by position") << u"&Retry"_qs << u"&Cancel"_qs << u"SecondButton"_qs << no;
}

void MessageBoxesTest::question()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, action);
    QFETCH(int, answer);

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
    QCOMPARE(int(askQuestion(nullptr, u"Vantrel"_qs, u"Go on ?"_qs, first, second)), answer);
    QCOMPARE(captionsLeftToRight, (QStringList{first, second}));
}

QTEST_MAIN(MessageBoxesTest)
#include "MessageBoxesTest.moc"
