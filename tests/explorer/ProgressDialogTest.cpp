// The progress dialog as a user sees it: the first texts, what the one-second tick
// shows from the two bars past 4 GiB (the arithmetic is ProgressTickTest's), the
// cancel question, and how it locks and frees the main window.

#include "WindowBench.h"
#include "transfer/dialog/fFTPProgress.h"

#include <QLabel>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSignalSpy>

using namespace korvan;
using namespace korvan::test;

namespace {

constexpr double kGiB = 1024.0 * 1024 * 1024;
const QString kEstimatingTime = u"Please wait a second. Estimating time."_qs;

QString LabelText(const fFTPProgress &dialog, const QString &name)
{
    const auto *label = dialog.findChild<QLabel *>(name);
    return label ? label->text() : u"<no "_qs + name + u'>';
}

double BarFraction(const fFTPProgress &dialog, const QString &name)
{
    const auto *bar = dialog.findChild<QProgressBar *>(name);
    return bar ? double(bar->value() - bar->minimum()) / (bar->maximum() - bar->minimum()) : -1;
}

} // namespace

class ProgressDialogTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void startShowsEstimatingAndUnloadStartsAfresh();
    void tickBeyondFourGiB();
    void cancelQuestion_data();
    void cancelQuestion();

private:
    std::unique_ptr<QWidget> mainWindow;
    fFTPProgress *dialog = nullptr;
};

void ProgressDialogTest::init()
{
    mainWindow = std::make_unique<QWidget>();
    mainWindow->resize(900, 600);
    mainWindow->show();
    dialog = new fFTPProgress(mainWindow.get());
}

void ProgressDialogTest::cleanup()
{
    mainWindow.reset();
}

void ProgressDialogTest::startShowsEstimatingAndUnloadStartsAfresh()
{
    QSignalSpy locked(dialog, &fFTPProgress::navigationLocked);
    QSignalSpy unloaded(dialog, &fFTPProgress::unloaded);
    QCOMPARE(dialog->windowTitle(), u"Estimating..."_qs);
    QVERIFY(!dialog->Busy());

    dialog->SetCaption(u"Downloading..."_qs);
    QVERIFY(dialog->isVisible());
    QVERIFY(mainWindow->rect().contains(dialog->geometry().center()));
    QCOMPARE(dialog->window(), mainWindow.get());
    QCOMPARE(dialog->windowTitle(), u"Downloading..."_qs);
    QCOMPARE(LabelText(*dialog, u"lblFrom"_qs), kEstimatingTime);
    QCOMPARE(LabelText(*dialog, u"lblSpeed"_qs), u"Estimating..."_qs);
    QVERIFY(dialog->Busy());
    QCOMPARE(locked.size(), 1);
    QCOMPARE(locked.takeFirst().constFirst().toBool(), true);

    dialog->setLabels(u"/pub/"_qs, u"/home/me/"_qs, u"big.iso"_qs);
    dialog->setCanceled(true);
    QCOMPARE(LabelText(*dialog, u"lblFile"_qs), u"big.iso"_qs);
    dialog->Unload();
    QVERIFY(!dialog->isVisible());
    QVERIFY(!dialog->Busy());
    QCOMPARE(unloaded.size(), 1);
    QCOMPARE(locked.takeFirst().constFirst().toBool(), false);

    // The next transfer starts from the first texts, not from the last one's.
    dialog->SetCaption(u"Uploading..."_qs);
    QVERIFY(!dialog->Canceled());
    QCOMPARE(LabelText(*dialog, u"lblFrom"_qs), kEstimatingTime);
    QCOMPARE(LabelText(*dialog, u"lblFile"_qs), QString());
    QCOMPARE(BarFraction(*dialog, u"pBar1"_qs), 0.0);
}

// Bar 1 the file, bar 2 the batch: the size text follows bar 1, the rest bar 2.
void ProgressDialogTest::tickBeyondFourGiB()
{
    dialog->SetCaption(u"Downloading..."_qs);
    dialog->setLabels(u"/pub/images/"_qs, u"/home/me/Downloads/"_qs, u"debian-12.iso"_qs);
    dialog->SetPrg1(1 * kGiB, 4 * kGiB);
    dialog->SetPrg2(2.5 * kGiB, 5 * kGiB);
    // A negative value or maximum leaves that part alone.
    dialog->SetPrg1(-1, -1);
    dialog->SetPrg2(-1, -1);
    QCOMPARE(BarFraction(*dialog, u"pBar1"_qs), 0.25);
    QCOMPARE(BarFraction(*dialog, u"pBar2"_qs), 0.5);

    QTRY_COMPARE(dialog->windowTitle(), u"50 % Downloading..."_qs);
    QCOMPARE(LabelText(*dialog, u"lblSize"_qs), u"1,048,576/4,194,304 KBytes"_qs);
    const QString speed = LabelText(*dialog, u"lblSpeed"_qs);
    const QRegularExpression pattern(
        u"^[\\d,]+\\.\\d KBytes/second  (\\d\\d:\\d\\d:\\d\\d) elasped  (?1) remaining$"_qs);
    QVERIFY2(pattern.match(speed).hasMatch(), qPrintable(speed));
    saveScreenshot(mainWindow.get(), u"progress-5-GiB-batch"_qs);
}

void ProgressDialogTest::cancelQuestion_data()
{
    QTest::addColumn<QString>("action"); // a button of the question box, or "unload"
    QTest::addColumn<bool>("canceled");

    QTest::newRow("Yes cancels") << u"FirstButton"_qs << true;
    QTest::newRow("No goes on") << u"SecondButton"_qs << false;
    QTest::newRow("transfer ends while asking") << u"unload"_qs << false;
}

void ProgressDialogTest::cancelQuestion()
{
    QFETCH(QString, action);
    QFETCH(bool, canceled);

    dialog->SetCaption(u"Uploading..."_qs);
    QVERIFY(QTest::qWaitForWindowExposed(mainWindow.get()));
    QString title;
    QString text;
    whenModal([&](QWidget *box) {
        title = box->windowTitle();
        if (const auto *label = box->findChild<QLabel *>(u"Question"_qs))
            text = label->text();
        if (action == u"unload") {
            dialog->Unload();
            return;
        }
        saveScreenshot(box, u"progress-cancel-question"_qs);
        clickChild(box, action);
    });
    QTest::mouseClick(dialog->findChild<QPushButton *>(u"cmdCancel"_qs), Qt::LeftButton);

    QCOMPARE(title, u"Vantrel"_qs);
    QCOMPARE(text, u"Stop FTP uploading/downloading commands ?"_qs);
    QCOMPARE(dialog->Canceled(), canceled);
    QCOMPARE(dialog->Busy(), action != u"unload");
    QVERIFY(!QApplication::activeModalWidget());
}

QTEST_MAIN(ProgressDialogTest)
#include "ProgressDialogTest.moc"
