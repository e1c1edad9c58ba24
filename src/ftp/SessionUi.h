#pragma once
// The one way the FTP engines reach the user. The explorer window implements it
// with widgets; tests and the command-line client implement it without them.

#include "shell/QuestionAnswer.h"

#include <QString>
#include <QtGlobal>

namespace korvan {

// Log colours as 24-bit values in blue-green-red order, as the log pane stores them.
enum class LogColour : quint32 {
    Black = 0x000000,   // ordinary reply lines
    Red = 0x0000FF,     // error replies, socket errors, failed files
    Blue = 0xFF0000,    // commands sent
    Magenta = 0xFF00FF, // connection events, successful files
};

enum class StatusPane : int { Main = 1, Wait = 2 };

class SessionUi {
public:
    virtual ~SessionUi() = default;

    // The shared modal question box: a title, a text and the two button captions.
    virtual QuestionAnswer question(const QString &title, const QString &text, const QString &yesCaption,
                                    const QString &noCaption) = 0;
    // Input box; an empty text when the user cancels.
    virtual QString inputBox(const QString &prompt, const QString &title, const QString &defaultText) = 0;
    // Information message box.
    virtual void messageBox(const QString &text) = 0;

    virtual void setStatusText(StatusPane pane, const QString &text) = 0;
    // text already masked and ending in CR LF.
    virtual void logLine(LogColour colour, const QString &text) = 0;

    // Progress dialog: a value or maximum below 0 leaves that part unchanged.
    virtual void progressSetCaption(const QString &caption) = 0;
    virtual void progressSetPrg1(double value, double maximum) = 0;
    virtual void progressSetPrg2(double value, double maximum) = 0;
    virtual bool progressCanceled() const = 0;
    virtual bool progressBusy() const = 0;
    virtual void unloadProgress() = 0;

    // Enabling of menu entries and tool buttons after a state change.
    virtual void refreshCommandStates() = 0;
    // The controls that must not start commands while a reply is awaited.
    virtual void setWaitControlsEnabled(bool enabled) = 0;
    // After log-on: show the current remote folder; false when that failed.
    virtual bool showCurrentFolder() = 0;
    // The connect dialog again, after the user asked to retry a failed log-on.
    virtual void reconnect() = 0;
    // Switch off the window's deferred-drop and transfer-watch timers.
    virtual void stopWindowTimers() = 0;
    // Close the main window; must not destroy the session synchronously.
    virtual void unloadWindow() = 0;
};

} // namespace korvan
