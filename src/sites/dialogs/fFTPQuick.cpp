#include "sites/dialogs/fFTPQuick.h"

#include "sites/ConnectRules.h"
#include "sites/dialogs/DialogParts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace korvan {

using namespace dialogParts;

fFTPQuick::fFTPQuick(QWidget *parent, FtpSettings &settings) : ConnectDialog(parent, settings)
{
    setObjectName(QStringLiteral("fFTPQuick"));
    setWindowTitle(tr("Quick Connect"));
    setAccessibleName(windowTitle());
    buildControls();
    Load();
}

void fFTPQuick::buildControls()
{
    auto *grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    const QString captions[] = {tr("&Server:"), tr("&User:"), tr("Pass&word:"), tr("&Remote folder:")};
    for (int i = 0; i < 4; ++i) {
        txtFTPAccount[i] = addTextRow(grid, i, captions[i], QStringLiteral("txtFTPAccount(%1)").arg(i));
        connect(txtFTPAccount[i], &QLineEdit::textChanged, this, [this, i] { accountChanged(i); });
    }
    txtFTPAccount[Server]->setMinimumWidth(txtFTPAccount[Server]->fontMetrics().averageCharWidth() * 36);
    const PortFields port = addPortRows(grid, 4);
    txtFTPPort = port.port;
    txtFTPWaitTime = port.waitTime;
    for (QLineEdit *box : {txtFTPPort, txtFTPWaitTime})
        connect(box, &QLineEdit::textChanged, this, &fFTPQuick::ValidateFields);

    chkAnonymous = checkBox(tr("&Anonymous log-on"), QStringLiteral("chkAnonymous"), this);
    chkFTPPassive = checkBox(tr("Pass&ive mode"), QStringLiteral("chkFTPPassive"), this);
    connect(chkAnonymous, &QCheckBox::toggled, this,
            [this](bool on) { applyAnonymousChoice(on, txtFTPAccount[User], txtFTPAccount[Password]); });
    grid->addWidget(chkAnonymous, 6, 1);
    grid->addWidget(chkFTPPassive, 7, 1);
    cmbEncryption = addEncryptionRow(grid, 8);

    auto *buttons = new QDialogButtonBox;
    cmdConnect = button(tr("&Connect"), QStringLiteral("cmdConnect"), this);
    cmdCancel = button(tr("Cancel"), QStringLiteral("cmdCancel"), this);
    // Enter in any box acts as Connect, only while Connect is enabled.
    cmdConnect->setDefault(true);
    buttons->addButton(cmdConnect, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    connect(cmdConnect, &QPushButton::clicked, this, &fFTPQuick::cmdConnect_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &fFTPQuick::cancel);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addSpacing(6);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    chainTabOrder({txtFTPAccount[Server], txtFTPAccount[User], txtFTPAccount[Password], txtFTPAccount[Folder],
                   txtFTPPort, txtFTPWaitTime, chkAnonymous, chkFTPPassive, cmbEncryption, cmdConnect, cmdCancel});
}

void fFTPQuick::Load()
{
    for (QLineEdit *box : findChildren<QLineEdit *>())
        box->clear();
    // Cleared and set so the check box fills in the anonymous log-on; the
    // settings overwrite it next.
    chkAnonymous->setChecked(false);
    chkAnonymous->setChecked(true);
    txtFTPPort->setText(QString::number(settings_.nFTPPort));
    txtFTPWaitTime->setText(QString::number(settings_.nFTPWaitTime));
    txtFTPAccount[Server]->setText(settings_.sFTPServer);
    txtFTPAccount[User]->setText(settings_.sFTPUser);
    txtFTPAccount[Password]->setText(settings_.sFTPPassword);
    txtFTPAccount[Folder]->setText(settings_.sFTPDir);
    chkFTPPassive->setChecked(settings_.bPassive);
    cmbEncryption->setCurrentIndex(int(settings_.nEncryption));
    if (settings_.sFTPUser.isEmpty())
        chkAnonymous->setChecked(true);
    applyFontSetting(this, settings_);
    txtFTPAccount[Server]->setFocus();
}

void fFTPQuick::accountChanged(int index)
{
    if (index == User)
        chkAnonymous->setChecked(connectRules::isAnonymousUser(txtFTPAccount[User]->text()));
    ValidateFields();
}

void fFTPQuick::ValidateFields()
{
    using connectRules::numericValue;
    // A port or waiting time of 0 goes back to its default at once.
    if (numericValue(txtFTPPort->text()) == 0.0)
        txtFTPPort->setText(QStringLiteral("21"));
    if (numericValue(txtFTPWaitTime->text()) == 0.0)
        txtFTPWaitTime->setText(QStringLiteral("30"));
    const auto port = numericValue(txtFTPPort->text());
    const auto waitTime = numericValue(txtFTPWaitTime->text());
    // A port or waiting time that is no number leaves Connect as it was.
    if (!port || !waitTime)
        return;
    const QString server = txtFTPAccount[Server]->text();
    cmdConnect->setEnabled(!txtFTPAccount[User]->text().isEmpty() && !txtFTPAccount[Password]->text().isEmpty()
                           && connectRules::serverNameAccepted(server) && *port >= 1 && *waitTime > 0);
}

void fFTPQuick::cmdConnect_Click()
{
    connectWith({txtFTPAccount[Server]->text(), txtFTPAccount[User]->text(), txtFTPAccount[Password]->text(),
                 txtFTPAccount[Folder]->text(), txtFTPPort->text(), txtFTPWaitTime->text(), chkFTPPassive->isChecked(),
                 FtpEncryption(cmbEncryption->currentIndex())});
}

} // namespace korvan
