#pragma once
// What the engines see of the explorer window: the question and input boxes, the
// status bar, the log pane, the progress dialog and the window's own reactions
// (command states, the folder shown after log-on, the deferred close).

#include "ftp/SessionUi.h"
#include "transfer/TransferHost.h"

namespace korvan {

class fFTPMain;

class WindowUi : public SessionUi, public TransferHost {
public:
    explicit WindowUi(fFTPMain &window) : window(window) {}

    QuestionAnswer question(const QString &title, const QString &text, const QString &yesCaption,
                            const QString &noCaption) override;
    QString inputBox(const QString &prompt, const QString &title, const QString &defaultText) override;
    void messageBox(const QString &text) override;
    void setStatusText(StatusPane pane, const QString &text) override;
    void logLine(LogColour colour, const QString &text) override;

    void progressSetCaption(const QString &caption) override;
    void progressSetPrg1(double value, double maximum) override;
    void progressSetPrg2(double value, double maximum) override;
    bool progressCanceled() const override;
    bool progressBusy() const override;
    void unloadProgress() override;

    void refreshCommandStates() override;
    void setWaitControlsEnabled(bool enabled) override;
    bool showCurrentFolder() override;
    void reconnect() override;
    void stopWindowTimers() override;
    void unloadWindow() override;

    void progressSetLabels(const QString &from, const QString &to, const QString &file) override;
    void refreshCurrentFolder() override;

private:
    fFTPMain &window;
};

} // namespace korvan
