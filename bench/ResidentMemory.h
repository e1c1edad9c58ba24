#pragma once
// The benchmarks' memory figure: this process's resident set (VmRSS) in KiB.

#include <QByteArray>
#include <QFile>

namespace korvan::bench {

inline qint64 ResidentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').constFirst().toLongLong();
    }
    return 0;
}

} // namespace korvan::bench
