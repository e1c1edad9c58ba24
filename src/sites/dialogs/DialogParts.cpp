#include "sites/dialogs/DialogParts.h"

#include "korvan/FtpSettings.h"
#include "sites/ConnectRules.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace korvan {

namespace dialogParts {

namespace {

QString withoutMnemonic(QString caption)
{
    return caption.remove(QLatin1Char('&'));
}

void name(QWidget *widget, const QString &objectName, const QString &accessibleName)
{
    widget->setObjectName(objectName);
    widget->setAccessibleName(accessibleName);
}

QLineEdit *textBox(QLabel *label, const QString &boxName)
{
    auto *box = new QLineEdit;
    name(box, boxName, boxName);
    box->setAccessibleDescription(withoutMnemonic(label->text()));
    label->setBuddy(box);
    return box;
}

QLabel *label(const QString &caption)
{
    auto *out = new QLabel(caption);
    out->setAccessibleName(withoutMnemonic(caption));
    return out;
}

} // namespace

QPushButton *button(const QString &caption, const QString &objectName, QWidget *parent)
{
    auto *out = new QPushButton(caption, parent);
    name(out, objectName, withoutMnemonic(caption));
    out->setAutoDefault(false); // Enter is handled by the dialogs themselves
    return out;
}

QCheckBox *checkBox(const QString &caption, const QString &objectName, QWidget *parent)
{
    auto *out = new QCheckBox(caption, parent);
    name(out, objectName, withoutMnemonic(caption));
    return out;
}

QLineEdit *addTextRow(QGridLayout *grid, int row, const QString &caption, const QString &boxName)
{
    QLabel *rowLabel = label(caption);
    QLineEdit *box = textBox(rowLabel, boxName);
    grid->addWidget(rowLabel, row, 0);
    grid->addWidget(box, row, 1);
    return box;
}

QComboBox *addEncryptionRow(QGridLayout *grid, int row)
{
    QLabel *rowLabel = label(QObject::tr("&Encryption:"));
    auto *box = new QComboBox;
    name(box, QStringLiteral("cmbEncryption"), QStringLiteral("cmbEncryption"));
    box->setAccessibleDescription(withoutMnemonic(rowLabel->text()));
    rowLabel->setBuddy(box);
    box->addItems({QObject::tr("None (plain FTP)"), QObject::tr("Require explicit FTP over TLS"),
                   QObject::tr("Implicit FTP over TLS")});
    grid->addWidget(rowLabel, row, 0);
    grid->addWidget(box, row, 1);
    return box;
}

PortFields addPortRows(QGridLayout *grid, int row)
{
    const PortFields fields{
        addTextRow(grid, row, QObject::tr("P&ort:"), QStringLiteral("txtFTPPort")),
        addTextRow(grid, row + 1, QObject::tr("Wai&ting time (s):"), QStringLiteral("txtFTPWaitTime"))};
    // Short boxes for numbers, left-aligned under the text boxes.
    const int width = fields.port->fontMetrics().horizontalAdvance(QStringLiteral("0000000")) + 12;
    for (QLineEdit *box : {fields.port, fields.waitTime}) {
        box->setFixedWidth(width);
        box->setAlignment(Qt::AlignRight);
        grid->setAlignment(box, Qt::AlignLeft);
    }
    return fields;
}

void chainTabOrder(std::initializer_list<QWidget *> widgets)
{
    QWidget *previous = nullptr;
    for (QWidget *widget : widgets) {
        if (previous)
            QWidget::setTabOrder(previous, widget);
        previous = widget;
    }
}

void setPasswordMasked(QLineEdit *password, bool masked)
{
    password->setEchoMode(masked ? QLineEdit::Password : QLineEdit::Normal);
    password->setStyleSheet(masked ? QStringLiteral("lineedit-password-character: 42;") : QString());
}

void applyAnonymousChoice(bool anonymous, QLineEdit *user, QLineEdit *password)
{
    if (anonymous) {
        user->setText(QStringLiteral("anonymous"));
        password->setText(sAnonPassword);
        setPasswordMasked(password, false);
        return;
    }
    if (connectRules::isAnonymousUser(user->text()))
        user->clear();
    password->clear();
    setPasswordMasked(password, true);
}

void applyFontSetting(QWidget *dialog, const FtpSettings &settings)
{
    if (settings.sFontName.isEmpty())
        return;
    QFont font = dialog->font();
    font.setFamily(settings.sFontName);
    dialog->setFont(font);
}

qint32 numberOr(const QString &text, qint32 previous)
{
    return connectRules::integerValue(text).value_or(previous);
}

} // namespace dialogParts

} // namespace korvan
