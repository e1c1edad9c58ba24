#pragma once
// Generated FTP listings for the benchmarks: names, sizes and dates spread as in a
// real archive (links, folders, blanks and non-Latin letters in names), from a seed.

#include <QString>
#include <QStringList>

#include <cmath>
#include <random>

namespace korvan::bench {

const QStringList kStems = {
    u"report"_qs,       u"backup"_qs, u"IMG"_qs,  u"debian"_qs, u"notes"_qs,  u"index"_qs, u"Grüße"_qs,
    u"projet final"_qs, u"data"_qs,   u"logo"_qs, u"setup"_qs,  u"README"_qs, u"写真"_qs,  u"my  music"_qs,
};
const QStringList kExtensions = {u".txt"_qs, u".tar.gz"_qs, u".iso"_qs, u".jpg"_qs, u".pdf"_qs, u""_qs, u".html"_qs};
const QStringList kMonths = {u"Jan"_qs, u"Feb"_qs, u"Mar"_qs, u"Apr"_qs, u"May"_qs, u"Jun"_qs,
                             u"Jul"_qs, u"Aug"_qs, u"Sep"_qs, u"Oct"_qs, u"Nov"_qs, u"Dec"_qs};
const QStringList kOwners = {u"ftp"_qs, u"root"_qs, u"www-data"_qs, u"1000"_qs};

class Generator {
public:
    explicit Generator(unsigned seed) : random(seed) {}

    QString unixListing(int lines)
    {
        QString text = u"total 123456\r\n"_qs;
        for (int i = 1; i < lines; ++i)
            text += unixLine(i) + u"\r\n"_qs;
        return text;
    }

    QString dosListing(int lines)
    {
        QString text;
        for (int i = 0; i < lines; ++i)
            text += dosLine(i) + u"\r\n"_qs;
        return text;
    }

private:
    int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); }

    QString name(int i)
    {
        return kStems[below(int(kStems.size()))] + u'-' + QString::number(i)
               + kExtensions[below(int(kExtensions.size()))];
    }

    // Sizes spread over magnitudes, as in a real archive.
    qint64 size() { return qint64(std::pow(10.0, std::uniform_real_distribution<double>(0, 10)(random))); }

    QString unixLine(int i)
    {
        const int kind = below(20); // 0: link, 1-3: folder, else file
        const QString perms = kind == 0 ? u"lrwxrwxrwx"_qs : kind <= 3 ? u"drwxr-xr-x"_qs : u"-rw-r--r--"_qs;
        const QString owner = kOwners[below(int(kOwners.size()))];
        const QString day = QString::number(below(28) + 1);
        const QString when = below(3) == 0
                                 ? u"%1:%2"_qs.arg(below(24), 2, 10, QChar(u'0')).arg(below(60), 2, 10, QChar(u'0'))
                                 : u" %1"_qs.arg(1995 + below(30));
        QString line = u"%1 %2 %3 %4 %5 %6 %7 %8 %9"_qs.arg(perms)
                           .arg(below(9) + 1, 3)
                           .arg(owner, -8)
                           .arg(owner, -8)
                           .arg(kind >= 1 && kind <= 3 ? 4096 : size(), 12)
                           .arg(kMonths[below(12)])
                           .arg(day, 2)
                           .arg(when, 5)
                           .arg(name(i));
        if (kind == 0)
            line += below(2) ? u" -> ../shared/target"_qs : u" -> /srv/ftp/pub"_qs;
        return line;
    }

    QString dosLine(int i)
    {
        const bool folder = below(6) == 0;
        const int hour = below(12) + 1;
        const QString date = u"%1-%2-%3  %4:%5%6"_qs.arg(below(12) + 1, 2, 10, QChar(u'0'))
                                 .arg(below(28) + 1, 2, 10, QChar(u'0'))
                                 .arg(below(100), 2, 10, QChar(u'0'))
                                 .arg(hour, 2, 10, QChar(u'0'))
                                 .arg(below(60), 2, 10, QChar(u'0'))
                                 .arg(below(2) ? u"AM"_qs : u"PM"_qs);
        const QString sizeColumn = folder ? u"      <DIR>         "_qs : u"%1"_qs.arg(size(), 20);
        return date + sizeColumn + u' ' + name(i);
    }

    std::mt19937 random;
};

} // namespace korvan::bench
