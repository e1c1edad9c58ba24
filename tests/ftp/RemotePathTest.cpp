// Remote path helpers: how folder paths and link targets are resolved.
#include "ftp/RemotePath.h"

#include <QTest>

using korvan::NormalizeRemotePath;
using korvan::StripTrailingSlash;

class RemotePathTest : public QObject {
    Q_OBJECT
private slots:
    void normalize_data();
    void normalize();
    void stripTrailingSlash_data();
    void stripTrailingSlash();
};

void RemotePathTest::normalize_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    QTest::newRow("root") << "/" << "/";
    QTest::newRow("empty is the root") << "" << "/";
    QTest::newRow("plain folder gets its slashes") << "/pub/x" << "/pub/x/";
    QTest::newRow("relative text is read from the root") << "pub/x" << "/pub/x/";
    QTest::newRow("dot dropped") << "/a/./b/" << "/a/b/";
    QTest::newRow("dot-dot drops the folder before it") << "/home/me/../x/" << "/home/x/";
    QTest::newRow("dot-dot skips emptied pieces") << "/a/b/./../c/" << "/a/c/";
    QTest::newRow("two dot-dots") << "/a/b/c/../../d/" << "/a/d/";
    QTest::newRow("dot-dots past the root stay at the root") << "/a/./b/../../.." << "/";
    QTest::newRow("dot-dot at the root") << "/../x/" << "/x/";
    QTest::newRow("double slash restarts at the root") << "/home/me//pub/x/" << "/pub/x/";
    QTest::newRow("absolute link behind a folder") << "/home/me//var/ftp/" << "/var/ftp/";
    QTest::newRow("the last double slash wins") << "/a//b//c/" << "/c/";
    QTest::newRow("triple slash") << "/a///b/" << "/b/";
    QTest::newRow("trailing double slash") << "/a/b//" << "/";
    QTest::newRow("dots inside names are kept") << "/a/.hidden/..x/x../" << "/a/.hidden/..x/x../";
    QTest::newRow("three dots is a name") << "/a/.../" << "/a/.../";
    QTest::newRow("blanks and Unicode kept") << "/my docs/Grüße/" << "/my docs/Grüße/";
    // clang-format on
}

void RemotePathTest::normalize()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(NormalizeRemotePath(path), expected);
}

void RemotePathTest::stripTrailingSlash_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("stripped");
    QTest::addColumn<QString>("withSlash");

    QTest::newRow("root stays") << "/" << "/" << "/";
    QTest::newRow("folder loses its slash") << "/pub/" << "/pub" << "/pub/";
    QTest::newRow("only one slash goes") << "/pub//" << "/pub/" << "/pub//";
    QTest::newRow("no slash") << "/pub" << "/pub" << "/pub/";
    QTest::newRow("empty") << "" << "" << "/";
    QTest::newRow("relative") << "pub/" << "pub" << "pub/";
    // clang-format on
}

// The two trailing-slash helpers, one taking away and one adding.
void RemotePathTest::stripTrailingSlash()
{
    QFETCH(QString, path);
    QTEST(StripTrailingSlash(path), "stripped");
    QTEST(korvan::WithTrailingSlash(path), "withSlash");
}

QTEST_APPLESS_MAIN(RemotePathTest)
#include "RemotePathTest.moc"
