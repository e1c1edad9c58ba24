#pragma once
// Pieces the site manager and the quick-connect dialog share: named controls,
// the log-on field rows, the anonymous check box rule and password masking.

#include <QString>

class QCheckBox;
class QGridLayout;
class QLineEdit;
class QPushButton;
class QWidget;

namespace korvan {

struct FtpSettings;

namespace dialogParts {

// Every control gets an accessible name: its caption without the "&", or for a
// control without one the name it is known by (e.g. "txtFTPServer").
QPushButton *button(const QString &caption, const QString &name, QWidget *parent);
QCheckBox *checkBox(const QString &caption, const QString &name, QWidget *parent);

// A label and a text box on `row` of `grid`, the box spanning the remaining
// columns; the label's caption describes the box to assistive tools.
QLineEdit *addTextRow(QGridLayout *grid, int row, const QString &caption, const QString &name);

struct PortFields {
    QLineEdit *port;
    QLineEdit *waitTime;
};
// "Port" and "Waiting time" side by side on one row.
PortFields addPortRow(QGridLayout *grid, int row);

// Masked shows "*" for every character.
void setPasswordMasked(QLineEdit *password, bool masked);

// The anonymous check box changed (by the user or by code): set, the user
// becomes "anonymous" and the password sAnonPassword, shown; cleared, an
// anonymous user is emptied and the password emptied and masked.
void applyAnonymousChoice(bool anonymous, QLineEdit *user, QLineEdit *password);

// The host's font face (cPellam::SetFont) for the dialog and all its controls.
void applyFontSetting(QWidget *dialog, const FtpSettings &settings);

} // namespace dialogParts

} // namespace korvan
