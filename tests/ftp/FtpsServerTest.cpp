// FTPS against the TLS-capable Debian servers on loopback, each with a
// certificate made for the test: explicit and implicit TLS, passive and active,
// TLS 1.2 and 1.3 forced in turn. Per row a tree of 50 files goes down and up
// byte for byte with no refused data connection (522, 425, 426). Then the user's
// trust in a certificate that does not verify, and a server that refuses AUTH TLS.

#include "fixtures/KorvanProgram.h"
#include "fixtures/ServerBench.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "ftp/CertificateTrust.h"
#include "listing/FolderRetrieval.h"
#include "transfer/DownloadEngine.h"
#include "transfer/UploadEngine.h"

#include <QDir>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QTest>

using namespace korvan;
using namespace korvan::test;

namespace {

QList<TreeFile> fiftyFiles()
{
    QList<TreeFile> files;
    for (int i = 0; i < 50; ++i)
        files.append({QStringLiteral("tree/f%1/file %2.bin").arg(i % 5).arg(i), qint64(i) * 7919 % 300001 + 1});
    return files;
}

struct Bench : ServerBench {
    explicit Bench(ServerKind kind)
        : ServerBench(kind), folders(session, ui), download(session, ui, folders), upload(session, ui)
    {}
    // Log-on; the certificate question answered Yes.
    bool logOn(ServerTls tls, bool passive)
    {
        settings = settingsFor(server, passive);
        settings.nEncryption = tls == ServerTls::Implicit ? FtpEncryption::ImplicitTls : FtpEncryption::ExplicitTls;
        ui.answerQuestion(QuestionAnswer::Yes);
        return session.LogOn();
    }
    QStringList refusedDataConnections() const
    {
        QStringList refused;
        for (const QString &line : ui.logLines(LogColour::Red)) {
            if (line.startsWith(u"522") || line.startsWith(u"425") || line.startsWith(u"426"))
                refused << line;
        }
        return refused;
    }
    FolderRetrieval folders;
    DownloadEngine download;
    UploadEngine upload;
};

} // namespace

class FtpsServerTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void treesOverTls_data();
    void treesOverTls();
    void certificateQuestion_data();
    void certificateQuestion();
    void authTlsRefused();
    void commandLine_data();
    void commandLine();

private:
    QTemporaryDir configHome;
    QSslConfiguration systemDefault = QSslConfiguration::defaultConfiguration();
};

void FtpsServerTest::initTestCase()
{
    // The trusted certificates go to a folder of this test, not the user's.
    qputenv("XDG_CONFIG_HOME", configHome.path().toUtf8());
}

void FtpsServerTest::cleanup()
{
    QSslConfiguration::setDefaultConfiguration(systemDefault);
    QFile::remove(CertificateTrust().filePath());
}

void FtpsServerTest::treesOverTls_data()
{
    QTest::addColumn<ServerKind>("kind");
    QTest::addColumn<ServerTls>("tls");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<QSsl::SslProtocol>("protocol");
    for (ServerKind kind : tlsServerKinds()) {
        for (ServerTls tls : {ServerTls::Explicit, ServerTls::Implicit}) {
            if (tls == ServerTls::Implicit && !offersImplicitTls(kind))
                continue;
            for (bool passive : {true, false}) {
                for (QSsl::SslProtocol protocol : {QSsl::TlsV1_2, QSsl::TlsV1_3}) {
                    QTest::addRow("%s %s %s %s", qPrintable(serverName(kind)),
                                  tls == ServerTls::Implicit ? "implicit" : "explicit", passive ? "passive" : "active",
                                  protocol == QSsl::TlsV1_2 ? "TLS1.2" : "TLS1.3")
                        << kind << tls << passive << protocol;
                }
            }
        }
    }
}

void FtpsServerTest::treesOverTls()
{
    QFETCH(ServerKind, kind);
    QFETCH(ServerTls, tls);
    QFETCH(bool, passive);
    QFETCH(QSsl::SslProtocol, protocol);
    QSslConfiguration forced = systemDefault;
    forced.setProtocol(protocol);
    QSslConfiguration::setDefaultConfiguration(forced);
    Bench bench(kind);
    bench.server.setTls(tls);
    START_OR_FAIL(bench.server);
    const QList<TreeFile> files = fiftyFiles();
    QVERIFY(writeTree(bench.server.rootDir(), files));
    bench.server.handOver();

    QVERIFY(bench.logOn(tls, passive));
    QCOMPARE(bench.ui.questions.size(), 1);
    QVERIFY(bench.ui.questions[0].text.contains(bench.server.certificateFingerprint()));
    const QString version = protocol == QSsl::TlsV1_2 ? u"TLSv1.2"_qs : u"TLSv1.3"_qs;
    QVERIFY2(bench.ui.logLines(LogColour::Magenta).join('\n').contains(u"TLS connection established: "_qs + version),
             qPrintable(bench.ui.logText()));
    QVERIFY(bench.session.ListFolder(u"LIST /tree/f0"_qs));
    QCOMPARE(bench.session.listText().count(u".bin"_qs), 10);

    QTemporaryDir local;
    QVERIFY(bench.download.DownloadSelected(local.path(), QStringList{"/tree/"}));
    QCOMPARE(bench.download.summary().succeeded, 50);
    QVERIFY(QDir(local.path()).rename("tree", "back"));
    QVERIFY(bench.upload.UploadSelected({local.filePath("back")}));
    QCOMPARE(bench.upload.summary().succeeded, 50);
    QCOMPARE(describe(treeOf(bench.server.rootDir() + "/back")), describe(treeOf(bench.server.rootDir() + "/tree")));
    QCOMPARE(describe(treeOf(local.filePath("back"))), describe(treeOf(bench.server.rootDir() + "/tree")));

    QCOMPARE(bench.refusedDataConnections(), QStringList());
    QCOMPARE(bench.ui.logLines(LogColour::Red), QStringList());
    QVERIFY2(bench.ui.failures.isEmpty(), qPrintable(bench.ui.failures.join('\n')));
}

// An unknown certificate is asked about once and remembered; a certificate
// other than the one trusted there is asked about again, with a warning, and
// refused it ends the log-on before anything is sent.
void FtpsServerTest::certificateQuestion_data()
{
    QTest::addColumn<bool>("trustedAnother");
    QTest::addColumn<QuestionAnswer>("answer");
    QTest::newRow("unknown: asked, remembered") << false << QuestionAnswer::Yes;
    QTest::newRow("changed: asked again, refused") << true << QuestionAnswer::No;
}

void FtpsServerTest::certificateQuestion()
{
    QFETCH(bool, trustedAnother);
    QFETCH(QuestionAnswer, answer);
    Bench bench(ServerKind::Vsftpd);
    bench.server.setTls(ServerTls::Explicit);
    START_OR_FAIL(bench.server);
    const QString hostAndPort = bench.server.host() + ':' + QString::number(bench.server.port());
    const QString other = NormalizedFingerprint(QString(64, u'a'));
    if (trustedAnother)
        QVERIFY(CertificateTrust().remember(hostAndPort, other));
    bench.settings = settingsFor(bench.server, true);
    bench.settings.nEncryption = FtpEncryption::ExplicitTls;
    bench.ui.answerQuestion(answer);
    if (answer == QuestionAnswer::No)
        bench.ui.answerQuestion(QuestionAnswer::No); // the offer to retry the log-on
    QCOMPARE(bench.session.LogOn(), answer == QuestionAnswer::Yes);

    const HeadlessUi::Question asked = bench.ui.questions.value(0);
    QCOMPARE(asked.title, kCertificateQuestionTitle.toString());
    QVERIFY2(asked.text.contains(hostAndPort) && asked.text.contains(bench.server.certificateFingerprint())
                 && asked.text.contains(u"self-signed"_qs, Qt::CaseInsensitive),
             qPrintable(asked.text));
    QCOMPARE(asked.text.contains(u"WARNING"_qs), trustedAnother);
    QCOMPARE(CertificateTrust().remembered(hostAndPort),
             answer == QuestionAnswer::Yes ? bench.server.certificateFingerprint() : other);
    if (answer == QuestionAnswer::No) {
        QCOMPARE(bench.ui.logLines(LogColour::Blue), QStringList{u"AUTH TLS"_qs});
        QCOMPARE(bench.session.lastFailure().untrustedFingerprint, bench.server.certificateFingerprint());
        return;
    }
    bench.session.Disconnect();
    QVERIFY(bench.session.LogOn());
    QCOMPARE(bench.ui.questions.size(), 1);
    QVERIFY2(bench.ui.failures.isEmpty(), qPrintable(bench.ui.failures.join('\n')));
}

// pyftpdlib without TLS answers AUTH with 500: with TLS required nothing more
// goes out, QUIT included.
void FtpsServerTest::authTlsRefused()
{
    Bench bench(ServerKind::Pyftpdlib);
    START_OR_FAIL(bench.server);
    bench.settings = settingsFor(bench.server, true);
    bench.settings.nEncryption = FtpEncryption::ExplicitTls;
    bench.ui.answerQuestion(QuestionAnswer::No); // the offer to retry the log-on
    QVERIFY(!bench.session.LogOn());
    bench.session.Disconnect();
    QCOMPARE(bench.ui.logLines(LogColour::Blue), QStringList{u"AUTH TLS"_qs});
    QVERIFY2(bench.ui.logLines(LogColour::Red).join('\n').contains(u"refused AUTH TLS"_qs),
             qPrintable(bench.ui.logText()));
    QVERIFY(bench.session.lastFailure().reason().contains(u"refused AUTH TLS"_qs));
}

// korvan without a terminal: a certificate that does not verify ends the run with
// status 4 and its fingerprint, unless --trust names that fingerprint.
void FtpsServerTest::commandLine_data()
{
    QTest::addColumn<ServerTls>("tls");
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("ftpes, not trusted") << ServerTls::Explicit << "ftpes" << QStringList() << false << 4;
    QTest::newRow("ftpes, --trust") << ServerTls::Explicit << "ftpes" << QStringList() << true << 0;
    QTest::newRow("ftp --tls, --trust") << ServerTls::Explicit << "ftp" << QStringList{"--tls"} << true << 0;
    QTest::newRow("ftps, --trust, active") << ServerTls::Implicit << "ftps" << QStringList{"--active"} << true << 0;
}

void FtpsServerTest::commandLine()
{
    QFETCH(ServerTls, tls);
    QFETCH(QString, scheme);
    QFETCH(QStringList, options);
    QFETCH(bool, trusted);
    QFETCH(int, exitCode);
    FtpServer server(ServerKind::Vsftpd);
    server.setTls(tls);
    START_OR_FAIL(server);
    QVERIFY(writeFile(server.rootDir() + "/listed.txt", "x"));
    server.handOver();
    const QString fingerprint = server.certificateFingerprint();
    if (trusted)
        options << "--trust" << QString(fingerprint).remove(':').toLower();
    const KorvanRun run = runKorvan(QStringList{"ls"} + options
                                    + QStringList{scheme + "://" + server.user() + ':' + server.password() + '@'
                                                  + server.host() + ':' + QString::number(server.port()) + '/'});
    QVERIFY2(run.exitCode == exitCode, qPrintable(describeRun(run)));
    QCOMPARE(run.out.contains("listed.txt"), trusted);
    QCOMPARE(run.err.contains(fingerprint.toLatin1()), !trusted);
    QVERIFY(!run.err.contains(server.password().toUtf8()));
}

QTEST_GUILESS_MAIN(FtpsServerTest)
#include "FtpsServerTest.moc"
