// The quick-connect dialog driven as a user would: what it shows from the
// settings and after the anonymous box or the user name changes, when Connect
// (and so Enter) works, what each way of closing it leaves in the settings.
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
    void shows_data();
    void shows();
    void connectEnabled_data();
    void connectEnabled();
    void closing_data();
    void closing();
};

void QuickConnectTest::shows_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("action"); // "": as opened; text typed as the user; "click" on the check box
    QTest::addColumn<QString>("shownUser");
    QTest::addColumn<QString>("shownPassword");
    QTest::addColumn<bool>("anonymous");

    QTest::newRow("opened: no user is anonymous") << "" << "" << "anonymous" << sAnonPassword << true;
    QTest::newRow("opened: named user") << "bob" << "" << "bob" << "secret" << false;
    QTest::newRow("opened: anonymous user keeps its password") << "Anonymous" << "" << "Anonymous" << "secret" << true;
    QTest::newRow("typing Anonymous sets the box") << "bob" << "Anonymous" << "anonymous" << sAnonPassword << true;
    QTest::newRow("typing another name clears it") << "" << "bobby" << "bobby" << "" << false;
    QTest::newRow("clearing the box empties an anonymous user") << "" << "click" << "" << "" << false;
    QTest::newRow("setting the box fills in anonymous") << "bob" << "click" << "anonymous" << sAnonPassword << true;
}

// The password is masked unless the log-on is anonymous.
void QuickConnectTest::shows()
{
    QFETCH(QString, user);
    QFETCH(QString, action);
    QFETCH(bool, anonymous);
    FtpSettings settings = namedUser();
    settings.sFTPUser = user;
    settings.sFTPPassword = user.isEmpty() ? QString() : u"secret"_qs;
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QCOMPARE(QApplication::focusWidget(), account(dialog, fFTPQuick::Server));
    QCOMPARE(unnamedControls(dialog), QStringList());
    if (action == u"click")
        QTest::mouseClick(control<QCheckBox>(dialog, "chkAnonymous"), Qt::LeftButton, {}, QPoint(5, 5));
    else if (!action.isEmpty())
        type(account(dialog, fFTPQuick::User), action);

    QTEST(account(dialog, fFTPQuick::User)->text(), "shownUser");
    QTEST(account(dialog, fFTPQuick::Password)->text(), "shownPassword");
    QCOMPARE(control<QCheckBox>(dialog, "chkAnonymous")->isChecked(), anonymous);
    QCOMPARE(account(dialog, fFTPQuick::Password)->echoMode() == QLineEdit::Password, !anonymous);
    if (action.isEmpty()) {
        const QStringList others{account(dialog, fFTPQuick::Server)->text(), account(dialog, fFTPQuick::Folder)->text(),
                                 control(dialog, "txtFTPPort")->text(), control(dialog, "txtFTPWaitTime")->text()};
        QCOMPARE(others, QStringList({"ftp.example.org", "/pub", "2121", "45"}));
        QVERIFY(control<QCheckBox>(dialog, "chkFTPPassive")->isChecked());
        QCOMPARE(control<QComboBox>(dialog, "cmbEncryption")->currentIndex(), int(FtpEncryption::ExplicitTls));
        saveScreenshot(dialog, u"fFTPQuick-"_qs + (user.isEmpty() ? u"no-user"_qs : user));
    }
}

void QuickConnectTest::connectEnabled_data()
{
    QTest::addColumn<bool>("enabledBefore");
    QTest::addColumn<QString>("port"); // set in this order: port, waiting time, server, password
    QTest::addColumn<QString>("waitTime");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("shownPortAndWait");

    QTest::newRow("three-word server") << false << "21" << "30" << "alpha.beta.gamma" << "pw" << true << "21/30";
    QTest::newRow("two-word server") << true << "21" << "30" << "beta.gamma" << "pw" << false << "21/30";
    QTest::newRow("four-number address") << false << "21" << "30" << "10.0.0.1" << "pw" << true << "21/30";
    QTest::newRow("three-number address") << true << "21" << "30" << "10.0.1" << "pw" << false << "21/30";
    QTest::newRow("empty password") << true << "21" << "30" << "alpha.beta.gamma" << "" << false << "21/30";
    QTest::newRow("port 0 becomes 21") << false << "0" << "30" << "alpha.beta.gamma" << "pw" << true << "21/30";
    QTest::newRow("waiting time 0 becomes 30") << false << "21" << "0" << "alpha.beta.gamma" << "pw" << true << "21/30";
    QTest::newRow("negative port") << true << "-1" << "30" << "alpha.beta.gamma" << "pw" << false << "-1/30";
    QTest::newRow("half a second is above 0")
        << false << "21" << "0.5" << "alpha.beta.gamma" << "pw" << true << "21/0.5";
    QTest::newRow("port abc keeps Connect enabled") << true << "abc" << "30" << "beta.gamma" << "" << true << "abc/30";
    QTest::newRow("port abc keeps Connect disabled") << false << "abc" << "30" << "alpha.beta.gamma" << "pw" << false
                                                     << "abc/30";
    QTest::newRow("empty waiting time keeps Connect enabled") << true << "21" << "" << "ftp" << "pw" << true << "21/";
}

// Enter in a box connects only while Connect is enabled.
void QuickConnectTest::connectEnabled()
{
    QFETCH(bool, enabledBefore);
    FtpSettings settings = namedUser();
    if (!enabledBefore)
        settings.sFTPServer = u"ftp"_qs;
    fFTPQuick dialog(nullptr, settings);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    auto *connectButton = control<QPushButton>(dialog, "cmdConnect");
    QCOMPARE(connectButton->isEnabled(), enabledBefore);

    // Pasted whole: typed key by key, a first "0" would already become the default.
    QFETCH(QString, port);
    QFETCH(QString, waitTime);
    QFETCH(QString, server);
    QFETCH(QString, password);
    control(dialog, "txtFTPPort")->setText(port);
    control(dialog, "txtFTPWaitTime")->setText(waitTime);
    account(dialog, fFTPQuick::Server)->setText(server);
    account(dialog, fFTPQuick::Password)->setText(password);

    QFETCH(bool, enabled);
    QCOMPARE(connectButton->isEnabled(), enabled);
    QTEST(control(dialog, "txtFTPPort")->text() + u'/' + control(dialog, "txtFTPWaitTime")->text(), "shownPortAndWait");
    account(dialog, fFTPQuick::Folder)->setFocus();
    QTest::keyClick(account(dialog, fFTPQuick::Folder), Qt::Key_Return);
    QCOMPARE(dialog.isVisible(), !enabled);
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
    QCOMPARE(summary(settings),
             settingsWritten ? QStringList({"ftp.other.net", "bob", "pw2", "/pub", "990", "12", "active", "2"})
                             : QStringList({"ftp.example.org", "bob", "secret", "/pub", "2121", "45", "passive", "1"}));
}

QTEST_MAIN(QuickConnectTest)
#include "QuickConnectTest.moc"
