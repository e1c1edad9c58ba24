// The quick-connect dialog driven as a user would: what it shows from the
// settings, the anonymous rules, when Connect is enabled, Enter, and what
// Connect, Cancel, Escape and the close box leave in the settings.
#include "sites/dialogs/fFTPQuick.h"
#include "DialogDriving.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

using namespace korvan;
using namespace dialogDriving;

namespace {

QLineEdit *account(QWidget &dialog, int index)
{
    return control(dialog, QStringLiteral("txtFTPAccount(%1)").arg(index));
}

FtpSettings namedUser()
{
    FtpSettings settings;
    settings.sFTPServer = u"ftp.example.org"_qs;
    settings.sFTPUser = u"bob"_qs;
    settings.sFTPPassword = u"secret"_qs;
    settings.sFTPDir = u"/pub"_qs;
    settings.nFTPPort = 2121;
    settings.nFTPWaitTime = 45;
    settings.bPassive = true;
    settings.nEncryption = FtpEncryption::ExplicitTls;
    return settings;
}

} // namespace

class QuickConnectTest : public QObject {
    Q_OBJECT
private slots:
    void opensFromSettings_data();
    void opensFromSettings();
    void anonymousRules_data();
    void anonymousRules();
    void validateFields_data();
    void validateFields();
    void enterKey_data();
    void enterKey();
    void closing_data();
    void closing();
    void tabOrder();
};

void QuickConnectTest::opensFromSettings_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("shownUser");
    QTest::addColumn<QString>("shownPassword");
    QTest::addColumn<bool>("anonymous");
    QTest::addColumn<bool>("masked");

    QTest::newRow("no user: anonymous") << "" << "" << "anonymous" << sAnonPassword << true << false;
    QTest::newRow("named user") << "bob" << "secret" << "bob" << "secret" << false << true;
    QTest::newRow("anonymous user keeps its password") << "Anonymous" << "me@x" << "Anonymous" << "me@x" << true << false;
}

void QuickConnectTest::opensFromSettings()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    FtpSettings settings = namedUser();
    settings.sFTPUser = user;
    settings.sFTPPassword = password;
    fFTPQuick dialog(nullptr, settings);

    QCOMPARE(account(dialog, fFTPQuick::Server)->text(), u"ftp.example.org"_qs);
    QTEST(account(dialog, fFTPQuick::User)->text(), "shownUser");
    QTEST(account(dialog, fFTPQuick::Password)->text(), "shownPassword");
    QCOMPARE(account(dialog, fFTPQuick::Folder)->text(), u"/pub"_qs);
    QTEST(control<QCheckBox>(dialog, "chkAnonymous")->isChecked(), "anonymous");
    QTEST(account(dialog, fFTPQuick::Password)->echoMode() == QLineEdit::Password, "masked");
    QCOMPARE(control(dialog, "txtFTPPort")->text(), u"2121"_qs);
    QCOMPARE(control(dialog, "txtFTPWaitTime")->text(), u"45"_qs);
    QVERIFY(control<QCheckBox>(dialog, "chkFTPPassive")->isChecked());
    QCOMPARE(control<QComboBox>(dialog, "cmbEncryption")->currentIndex(), int(FtpEncryption::ExplicitTls));
    QVERIFY(control<QPushButton>(dialog, "cmdConnect")->isEnabled());

    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QCOMPARE(QApplication::focusWidget(), account(dialog, fFTPQuick::Server));
    saveScreenshot(dialog, u"fFTPQuick-"_qs + QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-').remove(u':'));
}

void QuickConnectTest::anonymousRules_data()
{
    QTest::addColumn<QString>("startUser");
    QTest::addColumn<QString>("action"); // text typed as the user, or "click" on the check box
    QTest::addColumn<QString>("shownUser");
    QTest::addColumn<QString>("shownPassword");
    QTest::addColumn<bool>("anonymous");
    QTest::addColumn<bool>("masked");

    QTest::newRow("typing Anonymous sets the box") << "bob" << "Anonymous" << "anonymous" << sAnonPassword << true << false;
    QTest::newRow("typing another name clears it") << "" << "bobby" << "bobby" << "" << false << true;
    QTest::newRow("clearing the box empties an anonymous user") << "" << "click" << "" << "" << false << true;
    QTest::newRow("setting the box fills in anonymous") << "bob" << "click" << "anonymous" << sAnonPassword << true << false;
}

void QuickConnectTest::anonymousRules()
{
    QFETCH(QString, startUser);
    QFETCH(QString, action);
    FtpSettings settings = namedUser();
    settings.sFTPUser = startUser;
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    if (action == u"click")
        QTest::mouseClick(control<QCheckBox>(dialog, "chkAnonymous"), Qt::LeftButton, {}, QPoint(5, 5));
    else
        type(account(dialog, fFTPQuick::User), action);

    QTEST(account(dialog, fFTPQuick::User)->text(), "shownUser");
    QTEST(account(dialog, fFTPQuick::Password)->text(), "shownPassword");
    QTEST(control<QCheckBox>(dialog, "chkAnonymous")->isChecked(), "anonymous");
    QTEST(account(dialog, fFTPQuick::Password)->echoMode() == QLineEdit::Password, "masked");
}

void QuickConnectTest::validateFields_data()
{
    QTest::addColumn<bool>("enabledBefore");
    QTest::addColumn<QString>("port"); // typed in this order: port, waiting time, server, password
    QTest::addColumn<QString>("waitTime");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("shownPort");
    QTest::addColumn<QString>("shownWaitTime");

    QTest::newRow("three-word server") << false << "21" << "30" << "alpha.beta.gamma" << "pw" << true << "21" << "30";
    QTest::newRow("two-word server") << true << "21" << "30" << "beta.gamma" << "pw" << false << "21" << "30";
    QTest::newRow("four-number address") << false << "21" << "30" << "10.0.0.1" << "pw" << true << "21" << "30";
    QTest::newRow("three-number address") << true << "21" << "30" << "10.0.1" << "pw" << false << "21" << "30";
    QTest::newRow("empty password") << true << "21" << "30" << "alpha.beta.gamma" << "" << false << "21" << "30";
    QTest::newRow("port 0 becomes 21") << false << "0" << "30" << "alpha.beta.gamma" << "pw" << true << "21" << "30";
    QTest::newRow("waiting time 0 becomes 30") << false << "21" << "0" << "alpha.beta.gamma" << "pw" << true << "21" << "30";
    QTest::newRow("negative port") << true << "-1" << "30" << "alpha.beta.gamma" << "pw" << false << "-1" << "30";
    QTest::newRow("half a second is above 0") << false << "21" << "0.5" << "alpha.beta.gamma" << "pw" << true << "21" << "0.5";
    QTest::newRow("port abc keeps Connect enabled") << true << "abc" << "30" << "beta.gamma" << "" << true << "abc" << "30";
    QTest::newRow("port abc keeps Connect disabled") << false << "abc" << "30" << "alpha.beta.gamma" << "pw" << false << "abc" << "30";
    QTest::newRow("empty waiting time keeps Connect enabled") << true << "21" << "" << "ftp" << "pw" << true << "21" << "";
}

void QuickConnectTest::validateFields()
{
    QFETCH(bool, enabledBefore);
    FtpSettings settings = namedUser();
    if (!enabledBefore)
        settings.sFTPServer = u"ftp"_qs;
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    auto *connectButton = control<QPushButton>(dialog, "cmdConnect");
    QCOMPARE(connectButton->isEnabled(), enabledBefore);

    QFETCH(QString, port);
    QFETCH(QString, waitTime);
    QFETCH(QString, server);
    QFETCH(QString, password);
    // Pasted whole: typed key by key, a first "0" would already become the default.
    control(dialog, "txtFTPPort")->setText(port);
    control(dialog, "txtFTPWaitTime")->setText(waitTime);
    account(dialog, fFTPQuick::Server)->setText(server);
    account(dialog, fFTPQuick::Password)->setText(password);

    QTEST(connectButton->isEnabled(), "enabled");
    QTEST(control(dialog, "txtFTPPort")->text(), "shownPort");
    QTEST(control(dialog, "txtFTPWaitTime")->text(), "shownWaitTime");
}

void QuickConnectTest::enterKey_data()
{
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("server");
    QTest::addColumn<bool>("connects");

    QTest::newRow("in the server box") << "txtFTPAccount(0)" << "ftp.example.org" << true;
    QTest::newRow("in the folder box") << "txtFTPAccount(3)" << "ftp.example.org" << true;
    QTest::newRow("with Connect disabled") << "txtFTPAccount(0)" << "example.org" << false;
    QTest::newRow("in the port box") << "txtFTPPort" << "ftp.example.org" << true;
}

void QuickConnectTest::enterKey()
{
    QFETCH(QString, box);
    QFETCH(QString, server);
    QFETCH(bool, connects);
    FtpSettings settings = namedUser();
    settings.sFTPServer = server;
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QLineEdit *target = control(dialog, box);
    target->setFocus();
    QTest::keyClick(target, Qt::Key_Return);

    QCOMPARE(dialog.isVisible(), !connects);
    QCOMPARE(dialog.result(), connects ? QDialog::Accepted : QDialog::Rejected);
}

void QuickConnectTest::closing_data()
{
    closingRows();
}

void QuickConnectTest::closing()
{
    QFETCH(QString, how);
    FtpSettings settings = namedUser();
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    type(account(dialog, fFTPQuick::Server), u"ftp.other.net"_qs);
    type(account(dialog, fFTPQuick::Password), u"pw2"_qs);
    type(control(dialog, "txtFTPPort"), u"990"_qs);
    type(control(dialog, "txtFTPWaitTime"), u"12"_qs);
    QTest::mouseClick(control<QCheckBox>(dialog, "chkFTPPassive"), Qt::LeftButton, {}, QPoint(5, 5));
    QTest::keyClick(control<QComboBox>(dialog, "cmbEncryption"), Qt::Key_Down);

    closeBy(dialog, how);

    QVERIFY(!dialog.isVisible());
    QTEST(dialog.Canceled(), "canceled");
    QFETCH(bool, settingsWritten);
    QCOMPARE(summary(settings), settingsWritten
                                    ? QStringList({"ftp.other.net", "bob", "pw2", "/pub", "990", "12", "active"})
                                    : QStringList({"ftp.example.org", "bob", "secret", "/pub", "2121", "45", "passive"}));
    QCOMPARE(settings.nEncryption, settingsWritten ? FtpEncryption::ImplicitTls : FtpEncryption::ExplicitTls);
}

void QuickConnectTest::tabOrder()
{
    FtpSettings settings = namedUser();
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QCOMPARE(tabWalk(11), QStringList({"txtFTPAccount(0)", "txtFTPAccount(1)", "txtFTPAccount(2)", "txtFTPAccount(3)",
                                   "txtFTPPort", "txtFTPWaitTime", "chkAnonymous", "chkFTPPassive", "cmbEncryption",
                                   "cmdConnect", "cmdCancel", "txtFTPAccount(0)"}));
}

QTEST_MAIN(QuickConnectTest)
#include "QuickConnectTest.moc"
