#pragma once
// The loop shared by downloads and uploads: TYPE I, the totals, one transfer per
// file with its message, the watch for the user's cancel.

#include "ftp/FtpSession.h"
#include "ftp/SessionUi.h"
#include "transfer/TransferText.h"

#include <QObject>
#include <QTimer>

#include <functional>

namespace korvan {

// How a batch ended, per file: for callers that report more than the log does
// (the command-line client's exit status).
struct BatchSummary {
    int succeeded = 0;
    int failed = 0;
    int zeroSize = 0; // reported and skipped
    bool cancelled = false;
};

// The one poller of the progress dialog's Canceled flag while a batch runs: once
// the user has cancelled, the session cancels the running file (drops its data
// connection and aborts the command). The window starts no poller of its own.
class CancelWatch : public QObject {
public:
    CancelWatch(FtpSession &session, SessionUi &ui);
    void start();
    void stop();
    // Polled this often: a cancel takes effect within a tenth of a second, the
    // poll's own delay plus the block being moved (a few milliseconds).
    static constexpr int kPollMs = 50;

private:
    void poll();

    FtpSession &session;
    SessionUi &ui;
    QTimer timer;
};

class TransferLoop {
public:
    // Transfers one file and says how it ended.
    using FileStep = std::function<TransferOutcome(const TransferItem &item)>;

    TransferLoop(FtpSession &session, SessionUi &ui, TransferDirection direction);

    // Runs every item of the list (paths as the file step wants them). True when
    // the loop ran to its end, failed files included; false on cancel, a local
    // root that is no folder, or a failing TYPE I.
    bool run(const QString &localRoot, const QList<TransferItem> &items, const FileStep &transferOne);
    const BatchSummary &summary() const { return lastSummary; }

private:
    bool runItems(const QList<TransferItem> &items, const FileStep &transferOne);
    TransferOutcome transferOne(const TransferItem &item, qint64 doneBefore, const FileStep &step);
    void report(LogColour colour, const QString &text);

    FtpSession &session;
    SessionUi &ui;
    TransferDirection direction;
    CancelWatch watch;
    BatchSummary lastSummary;
};

} // namespace korvan
