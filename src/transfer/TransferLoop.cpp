// The transfer loop shared by downloads and uploads, and the cancel watch.

#include "transfer/TransferLoop.h"

#include "ftp/FtpSession.h"

#include <QFileInfo>

namespace korvan {

CancelWatch::CancelWatch(FtpSession &session, SessionUi &ui) : session(session), ui(ui)
{
    timer.setInterval(kPollMs);
    connect(&timer, &QTimer::timeout, this, &CancelWatch::poll);
}

void CancelWatch::start()
{
    timer.start();
}

void CancelWatch::stop()
{
    timer.stop();
}

void CancelWatch::poll()
{
    if (ui.progressCanceled())
        session.CancelTransfer();
}

TransferLoop::TransferLoop(FtpSession &session, SessionUi &ui, TransferDirection direction)
    : session(session), ui(ui), direction(direction), watch(session, ui)
{}

bool TransferLoop::run(const QString &localRoot, const QList<TransferItem> &items, const FileStep &transferOne)
{
    lastSummary = {};
    ui.setStatusText(StatusPane::Main, BatchStatusText(direction, items.size()));
    ui.progressSetCaption(BatchCaption(direction));
    bool completed = false;
    if (QFileInfo(localRoot).isDir()) {
        watch.start();
        completed = session.SetType(u"I"_qs) && runItems(items, transferOne);
    }
    watch.stop();
    ui.setStatusText(StatusPane::Main, u"Done"_qs);
    return completed;
}

bool TransferLoop::runItems(const QList<TransferItem> &items, const FileStep &transferOne)
{
    qint64 total = 0;
    for (const TransferItem &item : items)
        total += item.size;
    qint64 done = 0;
    ui.progressSetPrg2(0, double(total));
    for (const TransferItem &item : items) {
        if (item.size == 0) {
            // Never transferred, never created: an empty file is only reported.
            report(LogColour::Magenta, ZeroSizeMessage(direction, item.path));
            ++lastSummary.zeroSize;
            continue;
        }
        const TransferOutcome outcome = this->transferOne(item, done, transferOne);
        if (outcome.cancelled()) {
            report(LogColour::Red, BatchAbortedMessage(direction));
            lastSummary.cancelled = true;
            return false;
        }
        if (outcome.succeeded()) {
            report(LogColour::Magenta, FileSucceededMessage(direction, item.path));
            ++lastSummary.succeeded;
        } else {
            report(LogColour::Red, FileFailedMessage(direction, item.path));
            ++lastSummary.failed;
        }
        done += item.size;
        ui.progressSetPrg2(double(done), -1);
    }
    return true;
}

// Runs the file unless the user has already cancelled. While it runs, the batch
// bar follows the file's bytes too, so that one long file shows its progress.
TransferOutcome TransferLoop::transferOne(const TransferItem &item, qint64 doneBefore, const FileStep &step)
{
    if (ui.progressCanceled())
        return {TransferResult::Cancelled, {}};
    const QMetaObject::Connection following = QObject::connect(
        &session, &FtpSession::transferProgress, [this, &item, doneBefore](qint64 bytes, qint64) {
            ui.progressSetPrg2(double(doneBefore + qMin(bytes, item.size)), -1);
        });
    const TransferOutcome outcome = step(item);
    QObject::disconnect(following);
    return outcome;
}

void TransferLoop::report(LogColour colour, const QString &text)
{
    session.LogStatus(colour, text);
}

} // namespace korvan
