// The component class as a host drives it, against a real server: the address
// goes through the quick-connect dialog to a logged-on explorer window, embedded
// or not; a refused log-on asks to try again and reopens the dialog.

#include "explorer/WindowBench.h"
#include "fixtures/TestFiles.h"
#include "korvan/cPellam.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <memory>

namespace korvan::test {

class cPellamTest : public QObject {
    Q_OBJECT
private slots:
    void connectsToAnAddress_data();
    void connectsToAnAddress();
    void refusedLogOnAsksToTryAgain_data();
    void refusedLogOnAsksToTryAgain();
    void configureOffersNoConnect();
    void tempDirIsOwnerOnly();
    void endingUnloadsTheWindow();
};

namespace {

fFTPMain *explorerWindow()
{
    for (QWidget *top : QApplication::allWidgets()) {
        if (auto *window = qobject_cast<fFTPMain *>(top))
            return window;
    }
    return nullptr;
}

QString address(const FtpServer &server, const QString &user, const QString &password)
{
    return u"ftp://%1:%2@%3/docs"_qs.arg(user, password, server.host());
}

QStringList accountShown(QWidget *quick)
{
    QStringList fields;
    for (int i = 0; i < 4; ++i)
        fields << quick->findChild<QLineEdit *>(u"txtFTPAccount(%1)"_qs.arg(i))->text();
    return fields;
}

// The quick-connect dialog: what it shows is kept, the password typed over when
// one is given, then Connect, then `next`.
void connectInQuickDialog(QStringList *shown, const QString &password = {}, std::function<void()> next = {})
{
    whenModal([shown, password, next](QWidget *box) {
        *shown = accountShown(box);
        if (!password.isEmpty())
            box->findChild<QLineEdit *>(u"txtFTPAccount(2)"_qs)->setText(password);
        clickChild(box, u"cmdConnect"_qs);
        if (next)
            next();
    });
}

} // namespace

void cPellamTest::connectsToAnAddress_data()
{
    QTest::addColumn<bool>("embedded");
    QTest::newRow("own window") << false;
    QTest::newRow("embedded in the host's window") << true;
}

void cPellamTest::connectsToAnAddress()
{
    QFETCH(bool, embedded);
    FtpServer server(ServerKind::Pyftpdlib);
    START_OR_FAIL(server);
    QVERIFY(writeTree(server.rootDir(), {{u"docs/guide.txt"_qs, 12}}));
    QWidget host;
    host.resize(1001, 700);
    host.show();
    auto pellam = std::make_unique<cPellam>();
    QVERIFY(!pellam->IsBusy());

    ftpSettings().nFTPPort = server.port(); // an address carries no port
    QStringList shown;
    connectInQuickDialog(&shown);
    pellam->FTPConnectEx(address(server, server.user(), server.password()), embedded ? &host : nullptr);

    QCOMPARE(shown, (QStringList{server.host(), server.user(), server.password(), u"/docs"_qs}));
    fFTPMain *window = explorerWindow();
    QVERIFY(window);
    QTRY_COMPARE(rowNamesOf(*window), QStringList{u"guide.txt"_qs});
    QVERIFY(window->connected());
    QVERIFY(pellam->IsBusy());
    QCOMPARE(window->parentWidget(), embedded ? &host : nullptr);
    if (embedded)
        QCOMPARE(window->geometry(), QRect(200, 140, 601, 420));
    saveScreenshot(embedded ? &host : window, embedded ? u"cPellam-embedded"_qs : u"cPellam-own-window"_qs);

    window->close();
    QTRY_VERIFY(!pellam->IsBusy());
}

void cPellamTest::refusedLogOnAsksToTryAgain_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("passwordShown");
    QTest::addColumn<bool>("tryAgain");
    QTest::newRow("wrong password, No") << u"right"_qs << u"wrong"_qs << u"wrong"_qs << false;
    QTest::newRow("wrong password, Yes") << u"right"_qs << u"wrong"_qs << u"wrong"_qs << true;
    QTest::newRow("anonymous gets the host's address") << u"Anonymous"_qs << u"secret"_qs << u"vantrel@"_qs << false;
}

void cPellamTest::refusedLogOnAsksToTryAgain()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QString, passwordShown);
    QFETCH(bool, tryAgain);
    FtpServer server(ServerKind::Pyftpdlib);
    START_OR_FAIL(server);
    QVERIFY(writeTree(server.rootDir(), {{u"docs/guide.txt"_qs, 12}}));
    cPellam pellam;
    if (user == u"right")
        user = server.user();
    ftpSettings().nFTPPort = server.port();

    QStringList shown;
    QStringList shownAgain;
    QString question;
    // The refusal's question comes up inside the log-on, after the dialog has closed.
    connectInQuickDialog(&shown, {}, [&] {
        whenModal([&](QWidget *box) {
            question = questionOf(box);
            if (tryAgain)
                connectInQuickDialog(&shownAgain, server.password());
            clickChild(box, tryAgain ? u"FirstButton"_qs : u"SecondButton"_qs);
        });
    });
    pellam.FTPConnectEx(address(server, user, password));

    QCOMPARE(shown.mid(1, 2), (QStringList{user, passwordShown}));
    QTRY_VERIFY(question.startsWith(u"Vantrel: Log on failed to "_qs + server.host() + u"."_qs));
    fFTPMain *window = explorerWindow();
    QVERIFY(window);
    // Yes opens the dialog again, filled in as it was left.
    QTRY_COMPARE(shownAgain, tryAgain ? shown : QStringList());
    QTRY_COMPARE(rowNamesOf(*window), tryAgain ? QStringList{u"guide.txt"_qs} : QStringList());
    // Logged on shows as the server in the title; a refused log-on leaves the window open.
    QCOMPARE(window->windowTitle(), tryAgain ? server.host() : u"FTP"_qs);
    QVERIFY(pellam.IsBusy());
}

void cPellamTest::configureOffersNoConnect()
{
    cPellam pellam;
    QString title;
    bool connectShown = true;
    whenModal([&](QWidget *box) {
        title = box->windowTitle();
        connectShown = box->findChild<QPushButton *>(u"cmdConnect"_qs)->isVisible();
        clickChild(box, u"cmdCancel"_qs);
    });
    pellam.Configure();
    QCOMPARE(title, u"FTP Site Manager"_qs);
    QVERIFY(!connectShown);
    QVERIFY(!pellam.IsBusy());
}

void cPellamTest::tempDirIsOwnerOnly()
{
    QTemporaryDir base;
    const QString folder = base.path() + u"/korvan temp"_qs;
    cPellam pellam;
    pellam.SetTempDir(folder);
    QCOMPARE(ftpSettings().sTempDir, folder + u'/');
    const QFileInfo made(folder);
    QVERIFY(made.isDir());
    // Qt reports the owner's rights twice: as the owner's and as ours.
    QCOMPARE(made.permissions(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadUser
                                     | QFile::WriteUser | QFile::ExeUser);
}

void cPellamTest::endingUnloadsTheWindow()
{
    auto pellam = std::make_unique<cPellam>();
    pellam->FTPConnect();
    QVERIFY(pellam->IsBusy());
    QPointer<fFTPMain> window = explorerWindow();
    QVERIFY(window && window->isVisible());
    pellam.reset();
    QVERIFY(!window);
    QVERIFY(!ftpSettings().bBusy);
}

} // namespace korvan::test

QTEST_MAIN(korvan::test::cPellamTest)
#include "cPellamTest.moc"
