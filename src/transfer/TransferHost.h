#pragma once
// What the transfer engines need of their caller beyond SessionUi: the labels of
// the progress dialog and the refresh of the current remote folder after an
// upload. The explorer window implements it with its widgets; the command-line
// client may pass none (nothing to label, nothing to refresh).

#include <QString>

namespace korvan {

class TransferHost {
public:
    virtual ~TransferHost() = default;

    // The progress dialog's "From:", "To:" and "File:" labels, already shortened.
    virtual void progressSetLabels(const QString &from, const QString &to, const QString &file) = 0;
    // After a successful upload batch: list the current remote folder again
    // (status "Refreshing...").
    virtual void refreshCurrentFolder() = 0;
};

} // namespace korvan
