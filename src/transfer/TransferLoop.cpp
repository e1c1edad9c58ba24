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

bool CancelWatch::transferRunning() const
{
    const bool transferMode = session.nDataMode == DataMode::Download || session.nDataMode == DataMode::Upload;
    return transferMode && session.nReplyState == ReplyState::Waiting
           && session.nTransferResult == TransferResult::Running;
}

void CancelWatch::poll()
{
    if (!ui.progressCanceled() || !transferRunning())
        return;
    // Marked first: the abort's own reply completes the waiting transfer command,
    // and the mark is what makes it count as cancelled, not as done.
    session.nTransferResult = TransferResult::Cancelled;
    session.CloseWinsock2();
    session.AbortCommand();
}

TransferLoop::TransferLoop(FtpSession &session, SessionUi &ui, TransferDirection direction)
    : session(session), ui(ui), direction(direction), watch(session, ui)
{
}

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
    double total = 0;
    for (const TransferItem &item : items)
        total += item.size;
    double done = 0;
    ui.progressSetPrg2(0, total);
    for (const TransferItem &item : items) {
        if (item.size == 0) {
            // Never transferred, never created: an empty file is only reported.
            report(LogColour::Magenta, ZeroSizeMessage(direction, item.path));
            ++lastSummary.zeroSize;
            continue;
        }
        if (transferCancelled(item, transferOne)) {
            report(LogColour::Red, BatchAbortedMessage(direction));
            lastSummary.cancelled = true;
            return false;
        }
        if (session.nTransferResult == TransferResult::Failed) {
            report(LogColour::Red, FileFailedMessage(direction, item.path));
            ++lastSummary.failed;
        } else {
            report(LogColour::Magenta, FileSucceededMessage(direction, item.path));
            ++lastSummary.succeeded;
        }
        done += item.size;
        ui.progressSetPrg2(done, -1);
    }
    return true;
}

// Runs the file unless the user has already cancelled; a file step that gives up
// before the session has judged the file counts as failed.
bool TransferLoop::transferCancelled(const TransferItem &item, const FileStep &transferOne)
{
    if (ui.progressCanceled())
        return true;
    const bool ok = transferOne(item);
    if (session.nTransferResult == TransferResult::Cancelled)
        return true;
    if (!ok)
        session.nTransferResult = TransferResult::Failed;
    return false;
}

void TransferLoop::report(LogColour colour, const QString &text)
{
    session.LogStatus(colour, text);
}

} // namespace korvan
