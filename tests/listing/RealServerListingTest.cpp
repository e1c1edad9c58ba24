// cFTPList on the LIST output of the four real servers: the test prepares one
// folder of awkward entries per server, captures the listing over the wire and
// checks every entry that the parser makes of it.

#include <korvan/cFTPList.h>

#include "fixtures/ServerRows.h"
#include "servers/FtpServer.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QMap>
#include <QTest>

using korvan::cFTPList;
using namespace korvan::test;

namespace {

enum class Type { File, Folder, Link };

// One entry of the prepared folder and what the parser must make of it.
struct Fixture {
    QString localName;
    Type type;
    qint64 size;        // bytes written (files)
    QString linkTarget; // "{root}" stands for the server's root folder
    QString name;       // expected FileName
    QString sizeText;   // expected FileSize; links: the length of the target
};

const QString kRootMark = QStringLiteral("{root}");
const QString kOldFile = QStringLiteral("old.txt");
const QString kDotFile = QStringLiteral(".hidden");
// Noon UTC, so the day is 15 January in every time zone a server may list in.
const QDateTime kOldDate(QDate(2003, 1, 15), QTime(12, 0), Qt::UTC);

const QList<Fixture> &fixtures()
{
    static const QList<Fixture> list{
        {"empty.bin", Type::File, 0, {}, "empty.bin", "0"},
        {"one.bin", Type::File, 1, {}, "one.bin", "1"},
        {"small.bin", Type::File, 1234, {}, "small.bin", "1,234"},
        {"big.bin", Type::File, 123456789, {}, "big.bin", "123,456,789"},
        {"two  blanks.txt", Type::File, 3, {}, "two blanks.txt", "3"},
        {"folder", Type::Folder, 0, {}, "folder", ""},
        {"rel-link", Type::Link, 0, "folder", "rel-link", {}},
        {"abs-link", Type::Link, 0, kRootMark + "/folder", "abs-link", {}},
        {"file-link", Type::Link, 0, "small.bin", "file-link", {}},
        {kOldFile, Type::File, 4, {}, kOldFile, "4"},
        {QStringLiteral("Grüße ✓.txt"), Type::File, 2, {}, QStringLiteral("Grüße ✓.txt"), "2"},
    };
    return list;
}

QString resolvedTarget(const Fixture &fixture, const QString &root)
{
    return QString(fixture.linkTarget).replace(kRootMark, root);
}

// Fixed permissions, so the attribute word does not depend on the umask.
constexpr QFile::Permissions kFilePermissions = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup
                                                | QFile::ReadOther;
constexpr QFile::Permissions kFolderPermissions = kFilePermissions | QFile::WriteOwner | QFile::ExeOwner
                                                  | QFile::ExeGroup | QFile::ExeOther;

bool createFile(const QString &path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // The 123,456,789-byte file is sparse: resize() writes no data blocks.
    const bool sized = size > 4096 ? file.resize(size) : file.write(QByteArray(size, 'k')) == size;
    return sized && file.setPermissions(kFilePermissions);
}

bool createEntry(const QString &root, const Fixture &fixture)
{
    const QString path = root + u'/' + fixture.localName;
    switch (fixture.type) {
    case Type::File:
        return createFile(path, fixture.size);
    case Type::Folder:
        return QDir(root).mkdir(fixture.localName) && QFile::setPermissions(path, kFolderPermissions);
    case Type::Link:
        return QFile::link(resolvedTarget(fixture, root), path);
    }
    return false;
}

bool prepareFolder(const QString &root, QString *error)
{
    for (const Fixture &fixture : fixtures()) {
        if (!createEntry(root, fixture)) {
            *error = "cannot create " + fixture.localName;
            return false;
        }
    }
    QFile old(root + u'/' + kOldFile);
    if (!createFile(root + u'/' + kDotFile, 1) || !old.open(QIODevice::ReadWrite)
        || !old.setFileTime(kOldDate, QFileDevice::FileModificationTime)) {
        *error = "cannot create the dot-file or date " + kOldFile;
        return false;
    }
    return true;
}

struct Capture {
    QString error;
    QString root;    // the server's root folder while it ran
    QString listing; // raw LIST text, decoded as UTF-8
};

// Starts the server, prepares its folder and captures the listing once per server.
const Capture &captureFor(ServerKind kind)
{
    static QMap<ServerKind, Capture> captures;
    if (captures.contains(kind))
        return captures[kind];
    Capture &capture = captures[kind];
    FtpServer server(kind);
    if (!server.start(&capture.error) || !prepareFolder(server.rootDir(), &capture.error))
        return capture;
    server.handOver();
    capture.root = server.rootDir();
    capture.listing = QString::fromUtf8(peerListing(server, true, &capture.error));
    return capture;
}

cFTPList parse(const Capture &capture)
{
    cFTPList list;
    list.setFolder("/");
    QString text = capture.listing;
    list.setFTPFileList(text);
    return list;
}

int indexOf(const cFTPList &list, const QString &name)
{
    for (int i = 0; i < list.FileNumb(); ++i) {
        if (list.FileName(i) == name)
            return i;
    }
    return -1;
}

QString expectedAttr(Type type)
{
    switch (type) {
    case Type::File:
        return "-rw-r--r--";
    case Type::Folder:
        return "drwxr-xr-x";
    case Type::Link:
        return "lrwxrwxrwx";
    }
    return {};
}

#define CAPTURE_OR_FAIL(var, kind)                                                                                     \
    const Capture &var = captureFor(kind);                                                                             \
    QVERIFY2(var.error.isEmpty(), qPrintable(serverName(kind) + ": " + var.error))

} // namespace

class RealServerListingTest : public QObject {
    Q_OBJECT

private slots:
    void everyEntryComesOut_data()
    {
        QTest::addColumn<ServerKind>("kind");
        QTest::addColumn<int>("fixture");
        for (ServerKind kind : allServerKinds()) {
            for (int i = 0; i < fixtures().size(); ++i)
                QTest::newRow(qPrintable(serverName(kind) + u'/' + fixtures().at(i).localName)) << kind << i;
        }
    }
    void everyEntryComesOut()
    {
        QFETCH(ServerKind, kind);
        QFETCH(int, fixture);
        CAPTURE_OR_FAIL(capture, kind);
        const Fixture &expected = fixtures().at(fixture);
        const cFTPList list = parse(capture);
        const int i = indexOf(list, expected.name);
        QVERIFY2(i >= 0, qPrintable("no entry \"" + expected.name + "\" in:\n" + capture.listing));

        const QString target = resolvedTarget(expected, capture.root);
        const QString sizeText = expected.type == Type::Link ? QString::number(target.toUtf8().size())
                                                             : expected.sizeText;
        QCOMPARE(list.FileSize(i), sizeText);
        QCOMPARE(list.FileAttr(i), expectedAttr(expected.type));
        QCOMPARE(list.IsFolder(i), expected.type == Type::Folder);
        QCOMPARE(list.IsLink(i), expected.type == Type::Link);
        // Absolute targets come as the link holds them: the local path, chroot or not.
        QCOMPARE(list.FileLink(i), target);
        QCOMPARE(list.Path(i), "/" + expected.name + (expected.type == Type::Folder ? "/" : ""));
    }

    void dotFileIsNeverAnEntry_data() { addServerRows(); }
    void dotFileIsNeverAnEntry()
    {
        QFETCH(ServerKind, kind);
        CAPTURE_OR_FAIL(capture, kind);
        const cFTPList list = parse(capture);
        QCOMPARE(indexOf(list, kDotFile), -1);
        QCOMPARE(list.FileNumb(), int(fixtures().size()));
    }

    // The server really sent two blanks; the parser keeps one.
    void blanksInNamesCollapse_data() { addServerRows(); }
    void blanksInNamesCollapse()
    {
        QFETCH(ServerKind, kind);
        CAPTURE_OR_FAIL(capture, kind);
        QVERIFY2(capture.listing.contains(" two  blanks.txt\r\n"), qPrintable(capture.listing));
        QCOMPARE(indexOf(parse(capture), "two  blanks.txt"), -1);
    }

    // "Jan 15  2003": a date without a time reads as midnight.
    void oldDateHasNoTime_data() { addServerRows(); }
    void oldDateHasNoTime()
    {
        QFETCH(ServerKind, kind);
        CAPTURE_OR_FAIL(capture, kind);
        const cFTPList list = parse(capture);
        const int i = indexOf(list, kOldFile);
        QVERIFY(i >= 0);
        QCOMPARE(list.FileDate(i), QStringLiteral("1/15/2003 12:00 AM"));
    }

    // Files written just now are listed with this year's date and a time.
    void recentDateIsNow_data() { addServerRows(); }
    void recentDateIsNow()
    {
        QFETCH(ServerKind, kind);
        CAPTURE_OR_FAIL(capture, kind);
        const cFTPList list = parse(capture);
        const int i = indexOf(list, "small.bin");
        QVERIFY(i >= 0);
        const QDateTime listed = QLocale(QLocale::English).toDateTime(list.FileDate(i), "M/d/yyyy h:mm AP");
        QVERIFY2(listed.isValid(), qPrintable(list.FileDate(i)));
        // The server lists in its own time zone (proftpd in UTC): allow any offset.
        QVERIFY2(qAbs(listed.secsTo(QDateTime::currentDateTime())) < 15 * 3600, qPrintable(list.FileDate(i)));
    }
};

QTEST_GUILESS_MAIN(RealServerListingTest)
#include "RealServerListingTest.moc"
