#pragma once
// The engines' user interface on a terminal: the log on standard error (with
// colours on a terminal), questions answered so that a script never hangs, a
// progress line on standard error when it is a terminal, and Ctrl-C as the
// progress dialog's Cancel button.

#include "ftp/SessionUi.h"

#include <QElapsedTimer>
#include <QString>
#include <QTimer>

namespace korvan::cli {

class TerminalUi : public SessionUi {
public:
    // showLog: every command, reply and event; otherwise only failed and skipped
    // files and message boxes.
    explicit TerminalUi(bool showLog);
    ~TerminalUi() override;

    // The first Ctrl-C cancels the running transfer batch, a second one ends
    // the program at once.
    static void catchInterrupt();
    static bool interrupted();

    // Keeps the keep-alive NOOP away while a command of ours runs.
    void setBusy(bool busy) { commandRunning = busy; }
    // Clears the progress line (before the program prints its result).
    void endProgress();

    QuestionAnswer question(const QString &title, const QString &text, const QString &yesCaption,
                            const QString &noCaption) override;
    QString inputBox(const QString &prompt, const QString &title, const QString &defaultText) override;
    void messageBox(const QString &text) override;
    void setStatusText(StatusPane pane, const QString &text) override;
    void logLine(LogColour colour, const QString &text) override;
    void progressSetCaption(const QString &caption) override;
    void progressSetPrg1(double value, double maximum) override;
    void progressSetPrg2(double value, double maximum) override;
    bool progressCanceled() const override { return interrupted(); }
    bool progressBusy() const override { return commandRunning; }
    void unloadProgress() override;
    void refreshCommandStates() override {}
    void setWaitControlsEnabled(bool) override {}
    bool showCurrentFolder() override { return true; }
    void reconnect() override {}
    void stopWindowTimers() override {}
    void unloadWindow() override {}

private:
    void printLine(LogColour colour, const QString &text);
    QuestionAnswer askOnTerminal(const QString &text);
    void drawProgress();
    void clearProgressLine();
    QString progressText() const;

    const bool showLog;
    const bool colour;       // stderr is a terminal and NO_COLOR is not set
    const bool showProgress; // stderr is a terminal
    bool commandRunning = false;

    // Progress dialog state.
    QString caption;
    QString currentFile;
    double fileValue = 0, fileMaximum = 0;   // bar 1: the running file
    double batchValue = 0, batchMaximum = 0; // bar 2: the whole batch, finished files only
    QElapsedTimer sinceCaption;
    QTimer redraw;
    bool progressShown = false;
};

// A text from the server made safe for a terminal: control characters (escape
// sequences included) become "?".
QString TerminalSafe(const QString &text);

} // namespace korvan::cli
