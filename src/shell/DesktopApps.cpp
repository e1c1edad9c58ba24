#include "shell/DesktopApps.h"

#include <QFile>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>

namespace korvan {

namespace {

// xdg-mime is a small shell script: it answers in tens of milliseconds.
constexpr int kQueryTimeoutMs = 3000;

QString DefaultApplicationForType(const QString &mimeType)
{
    QProcess query;
    query.start(u"xdg-mime"_qs, {u"query"_qs, u"default"_qs, mimeType});
    if (!query.waitForFinished(kQueryTimeoutMs) || query.exitCode() != 0)
        return {};
    return QString::fromLocal8Bit(query.readAllStandardOutput()).trimmed();
}

// The first word of the entry's Exec line: the program it runs.
QString ProgramOfEntry(const QString &desktopId)
{
    const QString entry =
        QStandardPaths::locate(QStandardPaths::ApplicationsLocation, desktopId, QStandardPaths::LocateFile);
    QFile file(entry);
    if (entry.isEmpty() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(u"Exec="_qs))
            return line.mid(5).section(u' ', 0, 0, QString::SectionSkipEmpty);
    }
    return {};
}

} // namespace

QString DefaultApplicationFor(const QString &path)
{
    return DefaultApplicationForType(QMimeDatabase().mimeTypeForFile(path).name());
}

QString PlainTextEditor()
{
    const QString program = ProgramOfEntry(DefaultApplicationForType(u"text/plain"_qs));
    return program.isEmpty() ? u"editor"_qs : program;
}

bool OpenWithDefaultApplication(const QString &path)
{
    return QProcess::startDetached(u"xdg-open"_qs, {path});
}

} // namespace korvan
