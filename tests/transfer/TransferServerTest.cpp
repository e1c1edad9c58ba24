// The session and the transfer engines against the real Debian FTP servers on
// loopback: every server in passive and active mode, and FTPS (explicit and
// implicit, TLS 1.2 and 1.3) where the server offers it. Each row logs on, runs
// the folder commands, and moves trees both ways byte for byte. Then the log-ons
// a real server refuses, the keep-alive, and the command line's certificate trust.

#include "fixtures/KorvanProgram.h"
#include "fixtures/ServerBench.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "ftp/CertificateTrust.h"
#include "listing/FolderRetrieval.h"
#include "transfer/DownloadEngine.h"
#include "transfer/TransferHost.h"
#include "transfer/UploadEngine.h"

#include <QDir>
#include <QFile>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

using namespace korvan;
using namespace korvan::test;

namespace {

// "name with blanks" uses single blanks: listings collapse runs of blanks.
const QList<TreeFile> kRemoteTree{
    {"tree/top.txt", 10},
    {"tree/zero.txt", 0},
    {"tree/name with blanks.txt", 3000},
    {"tree/nested/middle.bin", 70000},
    {"tree/nested/deeper/bottom.bin", 200000},
    {"tree/folder with blank/inner.txt", 5},
    {"tree/big.bin", 24 << 20},
};
const QStringList kRemoteEmptyFolders{"tree/empty", "tree/nested/deeper/empty too"};

// Many small files as well: each is a data connection, where TLS 1.3 uploads
// once failed now and then with 426.
QList<TreeFile> localTree()
{
    QList<TreeFile> files{
        {"up/a.txt", 12},
        {"up/.dotfile", 7},
        {"up/zero.bin", 0},
        {"up/with blank.txt", 40000},
        {"up/sub/b.bin", 123456},
        {"up/sub/deeper/c.bin", 25396},
        {"up/.hidden/skipped.txt", 9},
        {"up/sub/.cache/skipped.bin", 9},
    };
    for (int i = 0; i < 30; ++i)
        files.append({QStringLiteral("up/many/f%1.bin").arg(i), qint64(i) * 7919 % 30001 + 1});
    return files;
}
const QList<TreeFile> kLocalTree = localTree();

// pyftpdlib lists a name that is not UTF-8 with "?" for its bytes: no client reaches it there.
const QByteArray kLatin1Name = "caf\xe9.txt";

// Qt would store the name as UTF-8; the server must find these very bytes on disk.
bool writeRawName(const QByteArray &path, const QByteArray &contents)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const bool written = fd >= 0 && ::write(fd, contents.constData(), contents.size()) == contents.size();
    return ::close(fd) == 0 && written;
}

struct CountingHost : TransferHost {
    int refreshes = 0;
    void progressSetLabels(const QString &, const QString &, const QString &) override {}
    void refreshCurrentFolder() override { ++refreshes; }
};

struct Bench : ServerBench {
    explicit Bench(ServerKind kind)
        : ServerBench(kind), folders(session, ui), download(session, ui, folders, &host), upload(session, ui, &host)
    {}
    void configure(bool passive, ServerTls tls)
    {
        settings = settingsFor(server, passive);
        if (tls != ServerTls::None)
            settings.nEncryption = tls == ServerTls::Implicit ? FtpEncryption::ImplicitTls : FtpEncryption::ExplicitTls;
    }
    QStringList sent() const { return ui.logLines(LogColour::Blue); }
    FolderRetrieval folders;
    CountingHost host;
    DownloadEngine download;
    UploadEngine upload;
};

QString tlsName(ServerTls tls)
{
    return tls == ServerTls::None ? "plain" : tls == ServerTls::Implicit ? "implicit" : "explicit";
}

QMap<QString, QString> below(const QString &prefix, const QMap<QString, QString> &tree)
{
    QMap<QString, QString> result;
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        if (it.key().startsWith(prefix) && it.key() != prefix)
            result[it.key().mid(prefix.size())] = it.value();
    }
    return result;
}

} // namespace

#define CHECK_NO_UI_FAILURES(bench) QVERIFY2((bench).ui.failures.isEmpty(), qPrintable((bench).ui.failures.join('\n')))

class TransferServerTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void serverAndMode_data();
    void serverAndMode();
    void logOnRefused_data();
    void logOnRefused();
    void keepAliveWhileIdle();
    void commandLineTrust_data();
    void commandLineTrust();

private:
    void checkFolderCommands(Bench &bench);
    void checkTrees(Bench &bench);
    void checkLatin1Name(Bench &bench);

    QTemporaryDir configHome;
    QSslConfiguration systemDefault = QSslConfiguration::defaultConfiguration();
};

void TransferServerTest::initTestCase()
{
    // The trusted certificates go to a folder of this test, not the user's.
    qputenv("XDG_CONFIG_HOME", configHome.path().toUtf8());
}

void TransferServerTest::cleanup()
{
    QSslConfiguration::setDefaultConfiguration(systemDefault);
    QFile::remove(CertificateTrust().filePath());
}

void TransferServerTest::serverAndMode_data()
{
    QTest::addColumn<ServerKind>("kind");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<ServerTls>("tls");
    QTest::addColumn<QSsl::SslProtocol>("protocol");
    const auto add = [](ServerKind kind, bool passive, ServerTls tls, QSsl::SslProtocol protocol) {
        const char *version = tls == ServerTls::None ? "" : protocol == QSsl::TlsV1_2 ? " TLS1.2" : " TLS1.3";
        QTest::addRow("%s %s %s%s", qPrintable(serverName(kind)), passive ? "passive" : "active",
                      qPrintable(tlsName(tls)), version)
            << kind << passive << tls << protocol;
    };
    for (ServerKind kind : allServerKinds()) {
        for (bool passive : {true, false})
            add(kind, passive, ServerTls::None, QSsl::SecureProtocols);
    }
    for (ServerKind kind : tlsServerKinds()) {
        for (ServerTls tls : {ServerTls::Explicit, ServerTls::Implicit}) {
            for (bool passive : {true, false}) {
                for (QSsl::SslProtocol protocol : {QSsl::TlsV1_2, QSsl::TlsV1_3}) {
                    if (tls == ServerTls::Explicit || offersImplicitTls(kind))
                        add(kind, passive, tls, protocol);
                }
            }
        }
    }
}

void TransferServerTest::serverAndMode()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    QFETCH(ServerTls, tls);
    QFETCH(QSsl::SslProtocol, protocol);
    QSslConfiguration forced = systemDefault;
    forced.setProtocol(protocol);
    QSslConfiguration::setDefaultConfiguration(forced);
    Bench bench(kind);
    bench.server.setTls(tls);
    START_OR_FAIL(bench.server);
    const QString root = bench.server.rootDir();
    QVERIFY(writeTree(root, kRemoteTree, kRemoteEmptyFolders));
    QVERIFY(writeTree(root, {{"old.txt", 1000}, {"doomed.bin", 10}}, {"sub/deeper"}));
    // A link to a folder: its contents belong to the folder it leads to.
    QVERIFY(QFile::link("nested", root + "/tree/link to nested"));
    if (kind != ServerKind::Pyftpdlib)
        QVERIFY(writeRawName(QFile::encodeName(root) + "/" + kLatin1Name, "latin-1 named\n"));
    bench.server.handOver();
    bench.configure(passive, tls);
    if (tls != ServerTls::None)
        bench.ui.answerQuestion(QuestionAnswer::Yes); // the self-signed certificate

    QVERIFY(bench.session.LogOn());
    const QStringList logOn{"USER " + bench.server.user(), "PASS " + QString(bench.server.password().size(), '*'),
                            "SYST", "PWD"};
    QCOMPARE(bench.sent().mid(bench.sent().indexOf("USER " + bench.server.user()), 4), logOn);
    QVERIFY(!bench.ui.logText().contains(bench.server.password()));
    QCOMPARE(bench.session.sCurrentDir(), QString("/"));
    if (tls != ServerTls::None) {
        QCOMPARE(bench.ui.questions.size(), 1);
        QVERIFY(bench.ui.questions[0].text.contains(bench.server.certificateFingerprint()));
        const QString version = protocol == QSsl::TlsV1_2 ? "TLSv1.2" : "TLSv1.3";
        QVERIFY(bench.ui.logText().contains("TLS connection established: " + version));
    }
    checkFolderCommands(bench);
    if (QTest::currentTestFailed())
        return;
    checkTrees(bench);
    if (QTest::currentTestFailed())
        return;
    if (kind != ServerKind::Pyftpdlib)
        checkLatin1Name(bench);

    // No refused data connection (522, 425, 426) nor any other error on the way.
    QCOMPARE(bench.ui.logLines(LogColour::Red), QStringList());
    QVERIFY(bench.session.Disconnect());
    QCOMPARE(bench.sent().last(), QString("QUIT"));
    if (tls != ServerTls::None) { // the certificate is remembered: no second question
        QVERIFY(bench.session.LogOn());
        QCOMPARE(bench.ui.questions.size(), 1);
    }
    CHECK_NO_UI_FAILURES(bench);
}

// CWD with and without the trailing slash, CDUP, a failing CWD, MKD, RMD, DELE,
// and a rename whose new name the user types.
void TransferServerTest::checkFolderCommands(Bench &bench)
{
    FtpSession &session = bench.session;
    const QString root = bench.server.rootDir();
    const qsizetype before = bench.sent().size();
    QVERIFY(session.ChangeDir("/sub/") && session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/"));
    QVERIFY(session.ChangeDir("deeper") && session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/deeper/"));
    QVERIFY(session.ChangeDirUp() && session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/"));
    QVERIFY(session.ChangeDir("/") && session.PrintDir());
    QVERIFY(!session.ChangeDir("/no-such-folder"));
    QCOMPARE(session.nReplyState(), ReplyState::Failed);
    QVERIFY(bench.ui.logLines(LogColour::Red).value(0).startsWith("550"));
    bench.ui.log.removeIf([](const HeadlessUi::LogEntry &entry) { return entry.colour == LogColour::Red; });

    QVERIFY(session.MakeDir("made/"));
    QVERIFY(QFileInfo(root + "/made").isDir());
    QVERIFY(session.RemoveDir("made/"));
    QVERIFY(!QFileInfo::exists(root + "/made"));
    QVERIFY(session.DeleteFile("doomed.bin"));
    QVERIFY(!QFileInfo::exists(root + "/doomed.bin"));
    bench.ui.answerInput("new.txt/");
    QVERIFY(session.RenameFrom("old.txt"));
    QCOMPARE(bench.ui.inputs.value(0).prompt, QString("Type new name:"));
    QCOMPARE(bench.ui.inputs.value(0).title, QString("Rename"));
    QCOMPARE(bench.ui.inputs.value(0).defaultText, QString("old.txt"));
    QVERIFY(QFileInfo::exists(root + "/new.txt") && !QFileInfo::exists(root + "/old.txt"));
    QCOMPARE(bench.sent().mid(before),
             (QStringList{"CWD /sub", "PWD", "CWD deeper", "PWD", "CDUP", "PWD", "CWD /", "PWD", "CWD /no-such-folder",
                          "MKD made", "RMD made", "DELE doomed.bin", "RNFR old.txt", "RNTO new.txt"}));
}

// Down: the tree as it is on the server, zero-size files left out. Up: the local
// tree as it is on disk, without dot-folders and zero-size files. Down again what
// went up (dot-files are not listed, so not fetched).
void TransferServerTest::checkTrees(Bench &bench)
{
    const QString root = bench.server.rootDir();
    const QString dataCommand = bench.settings.bPassive ? "PASV" : "PORT 127,0,0,1,";
    QTemporaryDir downloaded;
    QVERIFY(bench.download.DownloadSelected(downloaded.path(), QString("/tree/\r\n")));
    const auto nonEmpty = [](const TreeFile &file) { return file.size > 0; };
    QCOMPARE(describe(treeOf(downloaded.path())), describe(expectedTree(kRemoteTree, kRemoteEmptyFolders, nonEmpty)));
    QCOMPARE(bench.download.summary().failed, 0);
    QCOMPARE(bench.download.summary().zeroSize, 1);
    QCOMPARE(bench.download.summary().succeeded, 6); // the link's folder comes down once
    const QStringList sent = bench.sent();
    QVERIFY(std::any_of(sent.cbegin(), sent.cend(), [&](const QString &line) { return line.startsWith(dataCommand); }));

    QTemporaryDir source;
    QVERIFY(writeTree(source.path(), kLocalTree));
    QVERIFY(bench.upload.UploadSelected({source.filePath("up")}));
    const auto uploaded = [](const TreeFile &file) {
        return file.size > 0 && !file.path.contains("/.hidden/") && !file.path.contains("/.cache/");
    };
    QCOMPARE(describe(treeOf(root + "/up")), describe(below("up/", expectedTree(kLocalTree, {}, uploaded))));
    QCOMPARE(bench.upload.summary().failed, 0);
    QCOMPARE(bench.upload.summary().zeroSize, 1);
    QCOMPARE(bench.host.refreshes, 1);

    QTemporaryDir again;
    QVERIFY(bench.download.DownloadSelected(again.path(), QStringList{"/up/"}));
    const auto listed = [&](const TreeFile &file) { return uploaded(file) && !file.path.startsWith("up/."); };
    QCOMPARE(describe(treeOf(again.path())), describe(expectedTree(kLocalTree, {}, listed)));
    QCOMPARE(bench.download.summary().failed, 0);
    QCOMPARE(bench.session.sCurrentDir(), QString("/"));
}

// A name stored as Latin-1 bytes is listed as Latin-1 and fetched back by the very same bytes.
void TransferServerTest::checkLatin1Name(Bench &bench)
{
    QTemporaryDir local;
    QVERIFY(bench.session.SetType("A") && bench.session.ListFolder());
    const QString name = QString::fromLatin1(kLatin1Name);
    QVERIFY2(bench.session.listText().contains(name), qPrintable(bench.session.listText()));
    QVERIFY(bench.session.SetType("I"));
    QVERIFY(bench.session.RetrieveFile(name, local.filePath("copy.txt"), 14).succeeded());
    QCOMPARE(readFile(local.filePath("copy.txt")), QByteArray("latin-1 named\n"));
}

// What a refused log-on leaves: the question asked (answered No), the commands
// that went out, and the reason in red.
void TransferServerTest::logOnRefused_data()
{
    QTest::addColumn<ServerKind>("kind");
    QTest::addColumn<ServerTls>("tls");
    QTest::addColumn<bool>("trustedAnother");
    QTest::addColumn<QString>("question");
    QTest::addColumn<QStringList>("sent");
    QTest::addColumn<QString>("red");
    QTest::newRow("wrong password") << ServerKind::Pyftpdlib << ServerTls::None << false
                                    << "Log on failed to 127.0.0.1.\r\nLast command was PASS ********\r\nTry again ? "
                                    << QStringList{"USER", "PASS ********", "QUIT"} << "530";
    // pyftpdlib without TLS answers AUTH with 500: nothing more goes out, QUIT included.
    QTest::newRow("TLS required, server has none") << ServerKind::Pyftpdlib << ServerTls::Explicit << false
                                                   << "Log on failed" << QStringList{"AUTH TLS"} << "refused AUTH TLS";
    // A certificate other than the one trusted for this address: asked with a
    // warning, refused, nothing sent after AUTH TLS.
    QTest::newRow("changed certificate refused")
        << ServerKind::Vsftpd << ServerTls::Explicit << true << "WARNING" << QStringList{"AUTH TLS"} << QString();
}

void TransferServerTest::logOnRefused()
{
    QFETCH(ServerKind, kind);
    QFETCH(ServerTls, tls);
    QFETCH(bool, trustedAnother);
    QFETCH(QString, question);
    QFETCH(QStringList, sent);
    QFETCH(QString, red);
    Bench bench(kind);
    if (kind != ServerKind::Pyftpdlib)
        bench.server.setTls(tls);
    START_OR_FAIL(bench.server);
    const QString hostAndPort = bench.server.host() + ':' + QString::number(bench.server.port());
    const QString other = NormalizedFingerprint(QString(64, u'a'));
    if (trustedAnother)
        QVERIFY(CertificateTrust().remember(hostAndPort, other));
    bench.configure(true, tls);
    if (tls == ServerTls::None)
        bench.settings.sFTPPassword = "wrong-pw";
    for (int i = 0; i < 2; ++i)
        bench.ui.answerQuestion(QuestionAnswer::No);
    QVERIFY(!bench.session.LogOn());
    bench.session.Disconnect();

    QVERIFY2(bench.ui.questions.value(0).text.contains(question), qPrintable(bench.ui.questions.value(0).text));
    QCOMPARE(bench.ui.questions.value(0).title, trustedAnother ? kCertificateQuestionTitle.toString() : "Vantrel");
    QCOMPARE(bench.sent().replaceInStrings(" " + bench.server.user(), QString()), sent);
    QVERIFY2(bench.ui.logLines(LogColour::Red).join('\n').contains(red), qPrintable(bench.ui.logText()));
    QCOMPARE(bench.ui.reconnectRequests, 0);
    QVERIFY(!bench.session.keepAliveActive());
    if (trustedAnother) {
        QCOMPARE(CertificateTrust().remembered(hostAndPort), other);
        QCOMPARE(bench.session.lastFailure().untrustedFingerprint, bench.server.certificateFingerprint());
    }
}

// NOOP goes out on the keep-alive timer only while nothing else is running.
void TransferServerTest::keepAliveWhileIdle()
{
    Bench bench(ServerKind::Pyftpdlib);
    START_OR_FAIL(bench.server);
    bench.configure(true, ServerTls::None);
    bench.session.setKeepAliveInterval(100);
    QVERIFY(bench.session.LogOn());
    QTRY_VERIFY(bench.sent().count("NOOP") >= 2);

    // Busy transfer dialog: no NOOP, over several ticks that asked and were told so.
    bench.ui.busy = true;
    QTRY_COMPARE(bench.session.nReplyState(), ReplyState::Done);
    const qsizetype before = bench.sent().count("NOOP");
    const int asked = bench.ui.busyQueries;
    QTRY_VERIFY(bench.ui.busyQueries >= asked + 4);
    QCOMPARE(bench.sent().count("NOOP"), before);
    CHECK_NO_UI_FAILURES(bench);
}

// korvan without a terminal: a certificate that does not verify ends the run with
// status 4 and its fingerprint, unless --trust names that fingerprint.
void TransferServerTest::commandLineTrust_data()
{
    QTest::addColumn<ServerTls>("tls");
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("ftpes, not trusted") << ServerTls::Explicit << "ftpes" << QStringList() << false << 4;
    QTest::newRow("ftp --tls, --trust") << ServerTls::Explicit << "ftp" << QStringList{"--tls"} << true << 0;
    QTest::newRow("ftps, --trust, active") << ServerTls::Implicit << "ftps" << QStringList{"--active"} << true << 0;
}

void TransferServerTest::commandLineTrust()
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
    const QString url = scheme + "://" + server.user() + ':' + server.password() + '@' + server.host() + ':'
                        + QString::number(server.port()) + '/';
    const KorvanRun run = runKorvan(QStringList{"ls"} + options + QStringList{url});
    QVERIFY2(run.exitCode == exitCode, qPrintable(describeRun(run)));
    QCOMPARE(run.out.contains("listed.txt"), trusted);
    QCOMPARE(run.err.contains(fingerprint.toLatin1()), !trusted);
    QVERIFY(!run.err.contains(server.password().toUtf8()));
}

QTEST_GUILESS_MAIN(TransferServerTest)
#include "TransferServerTest.moc"
