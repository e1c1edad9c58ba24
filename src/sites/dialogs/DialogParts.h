#pragma once
// Pieces the site manager and the quick-connect dialog share: named controls,
// the log-on field rows, the anonymous check box rule and password masking.

#include <QString>

#include <initializer_list>

class QCheckBox;
class QComboBox;
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

// A label (column 0) and a text box (column 1) on `row` of `grid`; the
// label's caption describes the box to assistive tools.
QLineEdit *addTextRow(QGridLayout *grid, int row, const QString &caption, const QString &name);

struct PortFields {
    QLineEdit *port;
    QLineEdit *waitTime;
};
// "Port" on `row` and "Waiting time" on the next, as short boxes.
PortFields addPortRows(QGridLayout *grid, int row);

// "Encryption" on `row`: a list of plain FTP, explicit TLS and implicit TLS,
// each at the index of its FtpEncryption value.
QComboBox *addEncryptionRow(QGridLayout *grid, int row);

// Tab moves through `widgets` in this order.
void chainTabOrder(std::initializer_list<QWidget *> widgets);

// Masked shows "*" for every character.
void setPasswordMasked(QLineEdit *password, bool masked);

// The anonymous check box changed (by the user or by code): set, the user
// becomes "anonymous" and the password sAnonPassword, shown; cleared, an
// anonymous user is emptied and the password emptied and masked.
void applyAnonymousChoice(bool anonymous, QLineEdit *user, QLineEdit *password);

// The host's font face (cPellam::SetFont) for the dialog and all its controls.
void applyFontSetting(QWidget *dialog, const FtpSettings &settings);

// Connect's rule on the numeric fields: a port or waiting time that is no
// number can get past ValidateFields (it leaves Connect as it was), and then
// keeps the setting's old value.
qint32 numberOr(const QString &text, qint32 previous);

} // namespace dialogParts

} // namespace korvan
