// korvan parse-listing: shows what the listing parser makes of LIST output.
#include "Command.h"
#include "EntryJson.h"

#include "korvan/cFTPList.h"

#include <QFile>
#include <QStringDecoder>

#include <cstdio>

namespace korvan::cli {

namespace {

constexpr char kHelp[] =
    "Usage: korvan parse-listing [--folder PATH] < listing.txt\n"
    "\n"
    "Reads the text an FTP server sends in answer to LIST from standard input,\n"
    "parses it as Korvan's file list does and prints one JSON object per entry\n"
    "and line, with the keys FileName, FileSize, FileAttr, FileLink, FileDate,\n"
    "bFolder, IsLink and Path.\n"
    "\n"
    "  --folder PATH  the remote folder the listing belongs to, ending with \"/\"\n"
    "                 (default \"/\"); Path is built from it\n"
    "\n"
    "Input bytes are read as UTF-8 when they are valid UTF-8, otherwise as Latin-1.\n"
    "FTP servers end listing lines with CR LF, and the parser splits lines only\n"
    "there; a file saved on disk usually has bare LF line ends, so every bare LF\n"
    "of the input is turned into CR LF first.\n"
    "\n"
    "UNIX (ls -l) and DOS listings are recognised; lines that are no entry\n"
    "(\"total 12\", \".\", \"..\", names beginning with \".\") print nothing.\n"
    "Sizes are grouped with \",\" (1,234); dates are printed as M/d/yyyy h:mm AM.\n"
    "\n"
    "Example:\n"
    "  printf 'drwxr-xr-x 2 me me 4096 Jan 15 10:20 pub\\n' | korvan parse-listing --folder /home/me/\n";

QString decodedInput(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringConverter::Utf8);
    QString text = utf8(bytes);
    if (utf8.hasError())
        return QString::fromLatin1(bytes);
    return text;
}

QString withCrLfLineEnds(const QString &text)
{
    QString result;
    result.reserve(text.size() + text.size() / 32);
    QChar previous;
    for (const QChar c : text) {
        if (c == u'\n' && previous != u'\r')
            result += u'\r';
        result += c;
        previous = c;
    }
    return result;
}

int parseListing(const QStringList &arguments)
{
    QString folder = QStringLiteral("/");
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == u"--folder" && i + 1 < arguments.size()) {
            folder = arguments[++i];
        } else if (arguments[i].startsWith(u"--folder=")) {
            folder = arguments[i].mid(int(sizeof("--folder=")) - 1);
        } else {
            std::fprintf(stderr, "korvan parse-listing: unexpected argument '%s' (see 'korvan parse-listing --help')\n",
                         qPrintable(arguments[i]));
            return ExitUsage;
        }
    }

    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly)) {
        std::fputs("korvan parse-listing: cannot read standard input\n", stderr);
        return ExitFailure;
    }
    QString text = withCrLfLineEnds(decodedInput(input.readAll()));

    cFTPList list;
    list.setFolder(folder);
    list.setFTPFileList(text);

    QByteArray out;
    for (qint32 i = 0; i < list.FileNumb(); ++i)
        out += EntryJsonLine(list, i);
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return std::fflush(stdout) == 0 ? ExitOk : ExitFailure;
}

} // namespace

const Command parseListingCommand = {
    "parse-listing",
    "parse LIST output from standard input, print its entries as JSON lines",
    kHelp,
    parseListing,
};

} // namespace korvan::cli
