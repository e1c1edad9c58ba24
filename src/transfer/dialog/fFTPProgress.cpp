// The transfer progress dialog.

#include "transfer/dialog/fFTPProgress.h"

#include "shell/dialogs/MessageBoxes.h"
#include "transfer/ProgressTick.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
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

fFTPProgress::fFTPProgress(QWidget *mainWindow) : QFrame(mainWindow)
{
    setObjectName(QStringLiteral("fFTPProgress"));
    setAccessibleName(QStringLiteral("fFTPProgress"));
    setFrameStyle(QFrame::Panel | QFrame::Raised);
    setLineWidth(2);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Window);
    QFont dialogFont = font();
    dialogFont.setFamily(QStringLiteral("Tahoma"));
    setFont(dialogFont);
    hide();
    if (mainWindow)
        mainWindow->installEventFilter(this);

    buildControls();
    showFirstTexts();

    tmrUpDown.setInterval(1000);
    connect(&tmrUpDown, &QTimer::timeout, this, &fFTPProgress::tick);
    connect(cmdCancel, &QPushButton::clicked, this, &fFTPProgress::askCancel);
}

void fFTPProgress::buildControls()
{
    // A child window has no frame of its own to show the caption in.
    captionStrip = new QLabel(this);
    captionStrip->setObjectName(QStringLiteral("lblCaption"));
    captionStrip->setAccessibleName(QStringLiteral("Caption"));
    captionStrip->setTextFormat(Qt::PlainText);
    captionStrip->setAutoFillBackground(true);
    captionStrip->setBackgroundRole(QPalette::Highlight);
    captionStrip->setForegroundRole(QPalette::HighlightedText);
    captionStrip->setContentsMargins(8, 4, 8, 4);
    QFont captionFont = captionStrip->font();
    captionFont.setBold(true);
    captionStrip->setFont(captionFont);
    connect(this, &QWidget::windowTitleChanged, captionStrip, &QLabel::setText);

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
    places->setVerticalSpacing(4);
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

    auto *body = new QVBoxLayout;
    body->setContentsMargins(10, 8, 10, 10);
    body->addLayout(places);
    body->addSpacing(4);
    body->addWidget(pBar2);
    body->addWidget(lblSpeed);
    body->addSpacing(6);
    body->addLayout(bottom);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(frameWidth(), frameWidth(), frameWidth(), frameWidth());
    layout->setSpacing(0);
    layout->addWidget(captionStrip);
    layout->addLayout(body);

    // Room for a shortened path of about sixty characters and a long speed line.
    const QMargins margins = body->contentsMargins() + layout->contentsMargins();
    const int speedWidth = fontMetrics().horizontalAdvance(kWidestSpeedLine) + 2 * fontMetrics().averageCharWidth();
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
    placeOverMainWindow();
    show();
    raise();
    cmdCancel->setFocus();
    tmrUpDown.start();
    emit navigationLocked(true);
}

void fFTPProgress::placeOverMainWindow()
{
    adjustSize();
    if (const QWidget *mainWindow = parentWidget())
        move(QPoint(qMax(0, (mainWindow->width() - width()) / 2), qMax(0, (mainWindow->height() - height()) / 2)));
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
    if (auto *question = findChild<QWidget *>(QStringLiteral("QuestionBox")))
        question->close();
    hide();
    showFirstTexts();
    emit unloaded();
    emit navigationLocked(false);
}

void fFTPProgress::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && busy) {
        askCancel();
        return;
    }
    QFrame::keyPressEvent(event);
}

bool fFTPProgress::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible())
        placeOverMainWindow();
    return QFrame::eventFilter(watched, event);
}

} // namespace korvan
