// The transfer progress dialog.

#include "transfer/dialog/fFTPProgress.h"

#include "shell/dialogs/MessageBoxes.h"
#include "transfer/ProgressTick.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include <cmath>

namespace korvan {

namespace {

const QString kEstimatingCaption = QStringLiteral("Estimating...");
const QString kEstimatingTime = QStringLiteral("Please wait a second. Estimating time.");
const QString kSpeedLegend = QStringLiteral("Speed (KB/second)   Time elapsed   Time remaining");
const QString kPassiveHint = QStringLiteral("If file transfer does not work, switch passive mode.");

// About the widest the tick makes the speed line (a gigabyte a second, a day left).
const QString kWidestSpeedLine = QStringLiteral("9,999,999.9 KBytes/second  00:00:00 elasped  23:59:59 remaining");

// What a bar widget shows: its int range is a fixed scale, whatever the bytes.
constexpr int kBarScale = 10000;

QLabel *NamedLabel(const QString &objectName, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(objectName);
    label->setAccessibleName(objectName);
    label->setTextFormat(Qt::PlainText);
    // Long paths are cut by the engines; the dialog keeps its width whatever comes.
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    return label;
}

QLabel *CaptionLabel(const QString &caption, QLabel *buddy, QWidget *parent)
{
    auto *label = new QLabel(caption, parent);
    label->setAccessibleName(caption);
    label->setBuddy(buddy);
    return label;
}

QProgressBar *NamedBar(const QString &objectName, QWidget *parent)
{
    auto *bar = new QProgressBar(parent);
    bar->setObjectName(objectName);
    bar->setAccessibleName(objectName);
    bar->setRange(0, kBarScale);
    bar->setValue(0);
    return bar;
}

} // namespace

fFTPProgress::fFTPProgress(QWidget *mainWindow) : QDialog(mainWindow)
{
    setObjectName(QStringLiteral("fFTPProgress"));
    setAccessibleName(QStringLiteral("fFTPProgress"));
    setModal(false);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    // The window's shared font reaches the dialog; the family is the dialog's own.
    setAttribute(Qt::WA_WindowPropagation);
    QFont dialogFont = font();
    dialogFont.setFamily(QStringLiteral("Tahoma"));
    setFont(dialogFont);

    buildControls();
    showFirstTexts();

    tmrUpDown.setInterval(1000);
    connect(&tmrUpDown, &QTimer::timeout, this, &fFTPProgress::tick);
    connect(cmdCancel, &QPushButton::clicked, this, &fFTPProgress::askCancel);
}

void fFTPProgress::buildControls()
{
    lblFrom = NamedLabel(QStringLiteral("lblFrom"), this);
    lblTo = NamedLabel(QStringLiteral("lblTo"), this);
    lblFile = NamedLabel(QStringLiteral("lblFile"), this);
    lblSize = NamedLabel(QStringLiteral("lblSize"), this);
    lblSpeed = NamedLabel(QStringLiteral("lblSpeed"), this);
    pBar1 = NamedBar(QStringLiteral("pBar1"), this);
    pBar2 = NamedBar(QStringLiteral("pBar2"), this);
    auto *hint = new QLabel(kPassiveHint, this);
    hint->setObjectName(QStringLiteral("lblPassiveHint"));
    hint->setAccessibleName(kPassiveHint);
    hint->setEnabled(false);
    cmdCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    cmdCancel->setAccessibleName(QStringLiteral("Cancel"));
    cmdCancel->setDefault(true);

    auto *places = new QGridLayout;
    places->setColumnStretch(1, 1);
    places->setHorizontalSpacing(8);
    places->addWidget(CaptionLabel(QStringLiteral("From:"), lblFrom, this), 0, 0);
    places->addWidget(lblFrom, 0, 1);
    places->addWidget(CaptionLabel(QStringLiteral("To:"), lblTo, this), 1, 0);
    places->addWidget(lblTo, 1, 1);
    places->addWidget(CaptionLabel(QStringLiteral("File:"), lblFile, this), 2, 0);
    places->addWidget(lblFile, 2, 1);
    places->addWidget(pBar1, 3, 0, 1, 2);
    places->addWidget(CaptionLabel(QStringLiteral("Size:"), lblSize, this), 4, 0);
    places->addWidget(lblSize, 4, 1);

    auto *bottom = new QHBoxLayout;
    bottom->addWidget(hint, 1);
    bottom->addWidget(cmdCancel);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(places);
    layout->addSpacing(4);
    layout->addWidget(pBar2);
    layout->addWidget(lblSpeed);
    layout->addSpacing(6);
    layout->addLayout(bottom);

    // Room for a shortened path of about sixty characters and a long speed line.
    const QMargins margins = layout->contentsMargins();
    const int speedWidth = fontMetrics().horizontalAdvance(kWidestSpeedLine);
    setMinimumWidth(qMax(fontMetrics().averageCharWidth() * 64, speedWidth) + margins.left() + margins.right());
    setTabOrder(cmdCancel, pBar1);
}

void fFTPProgress::showFirstTexts()
{
    setWindowTitle(kEstimatingCaption);
    lblFrom->setText(kEstimatingTime);
    lblTo->clear();
    lblFile->clear();
    lblSize->clear();
    lblSpeed->setText(kEstimatingCaption);
    lblSpeed->setToolTip(kSpeedLegend);
    bar1 = Bar();
    bar2 = Bar();
    pBar1->setValue(0);
    pBar2->setValue(0);
}

void fFTPProgress::SetCaption(const QString &caption)
{
    captionText = caption;
    setWindowTitle(caption);
    startTime.start();
    busy = true;
    canceled = false;
    if (isVisible()) {
        raise();
    } else {
        placeOverMainWindow();
        show();
    }
    cmdCancel->setFocus();
    tmrUpDown.start();
    emit navigationLocked(true);
}

void fFTPProgress::placeOverMainWindow()
{
    adjustSize();
    const QWidget *mainWindow = parentWidget() ? parentWidget()->window() : nullptr;
    QRect area;
    if (mainWindow && mainWindow->isVisible())
        area = mainWindow->frameGeometry();
    else if (screen())
        area = screen()->availableGeometry();
    if (area.isValid())
        move(area.center() - QPoint(width() / 2, height() / 2));
}

void fFTPProgress::setBar(Bar &bar, QProgressBar *widget, double value, double maximum)
{
    if (value >= 0)
        bar.value = value;
    if (maximum >= 0)
        bar.maximum = maximum;
    const double fraction = bar.maximum > 0 ? std::clamp(bar.value / bar.maximum, 0.0, 1.0) : 0.0;
    widget->setValue(int(std::lround(fraction * kBarScale)));
    update();
}

void fFTPProgress::SetPrg1(double value, double maximum)
{
    setBar(bar1, pBar1, value, maximum);
}

void fFTPProgress::SetPrg2(double value, double maximum)
{
    setBar(bar2, pBar2, value, maximum);
}

void fFTPProgress::setLabels(const QString &from, const QString &to, const QString &file)
{
    lblFrom->setText(from);
    lblTo->setText(to);
    lblFile->setText(file);
    lblFrom->setToolTip(from);
    lblTo->setToolTip(to);
    lblFile->setToolTip(file);
}

void fFTPProgress::tick()
{
    ProgressSnapshot snapshot;
    snapshot.bar1Value = bar1.value;
    snapshot.bar1Maximum = bar1.maximum;
    snapshot.bar2Value = bar2.value;
    snapshot.bar2Maximum = bar2.maximum;
    snapshot.elapsedSeconds = double(startTime.elapsed()) / 1000;
    snapshot.caption = captionText;
    const std::optional<ProgressTexts> texts = ComputeProgressTick(snapshot);
    if (!texts)
        return;
    setWindowTitle(texts->windowCaption);
    lblSize->setText(texts->sizeText);
    lblSpeed->setText(texts->speedText);
}

void fFTPProgress::askCancel()
{
    if (asking)
        return;
    asking = true;
    const QuestionAnswer answer = askQuestion(this, QStringLiteral("Vantrel"),
                                              QStringLiteral("Stop FTP uploading/downloading commands ?"),
                                              QStringLiteral("&Yes"), QStringLiteral("&No"));
    asking = false;
    // A transfer that ended while the question was up has nothing left to stop.
    if (answer == QuestionAnswer::Yes && busy)
        canceled = true;
}

void fFTPProgress::Unload()
{
    tmrUpDown.stop();
    busy = false;
    // The question has no answer to give once the transfer is over.
    if (auto *question = findChild<QDialog *>(QStringLiteral("QuestionBox")))
        question->reject();
    hide();
    showFirstTexts();
    emit unloaded();
    emit navigationLocked(false);
}

// Closing the dialog by its frame or Escape is asking to cancel; it goes when the
// engine has stopped.
void fFTPProgress::closeEvent(QCloseEvent *event)
{
    if (busy) {
        event->ignore();
        askCancel();
        return;
    }
    QDialog::closeEvent(event);
}

void fFTPProgress::reject()
{
    if (busy)
        askCancel();
    else
        QDialog::reject();
}

} // namespace korvan
