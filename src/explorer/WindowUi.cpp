#include "explorer/WindowUi.h"

#include "explorer/LogPane.h"
#include "explorer/RemoteOperations.h"
#include "explorer/fFTPMain.h"
#include "shell/dialogs/MessageBoxes.h"
#include "transfer/dialog/fFTPProgress.h"

#include <QMessageBox>

namespace korvan {

QuestionAnswer WindowUi::question(const QString &title, const QString &text, const QString &yesCaption,
                                  const QString &noCaption)
{
    return askQuestion(&window, title, text, yesCaption, noCaption);
}

QString WindowUi::inputBox(const QString &prompt, const QString &title, const QString &defaultText)
{
    return askInput(&window, prompt, title, defaultText);
}

void WindowUi::messageBox(const QString &text)
{
    QMessageBox::information(&window, u"Vantrel"_qs, text);
}

void WindowUi::setStatusText(StatusPane pane, const QString &text)
{
    window.SetStatusText(text, int(pane));
}

void WindowUi::logLine(LogColour colour, const QString &text)
{
    window.rtbStatus->appendLine(colour, text);
}

void WindowUi::progressSetCaption(const QString &caption)
{
    window.progress->SetCaption(caption);
}

void WindowUi::progressSetPrg1(double value, double maximum)
{
    window.progress->SetPrg1(value, maximum);
}

void WindowUi::progressSetPrg2(double value, double maximum)
{
    window.progress->SetPrg2(value, maximum);
}

bool WindowUi::progressCanceled() const
{
    return window.progress && window.progress->Canceled();
}

bool WindowUi::progressBusy() const
{
    return window.progress && window.progress->Busy();
}

void WindowUi::unloadProgress()
{
    if (window.progress)
        window.progress->Unload();
}

void WindowUi::refreshCommandStates()
{
    window.UpdateCommandStates();
}

void WindowUi::setWaitControlsEnabled(bool enabled)
{
    window.setWaitLocked(!enabled);
}

bool WindowUi::showCurrentFolder()
{
    return window.showCurrentFolder();
}

// Asked inside the failed log-on: the dialog it came from opens again once that has returned.
void WindowUi::reconnect()
{
    window.runWhenIdle([this] { window.FTP_Connect(window.lastConnectQuick); });
}

// The window has no timers of its own that a transfer or a drop leaves running.
void WindowUi::stopWindowTimers() {}

void WindowUi::unloadWindow()
{
    window.scheduleUnload();
}

void WindowUi::progressSetLabels(const QString &from, const QString &to, const QString &file)
{
    window.progress->setLabels(from, to, file);
}

void WindowUi::refreshCurrentFolder()
{
    window.operations().Refresh();
}

} // namespace korvan
