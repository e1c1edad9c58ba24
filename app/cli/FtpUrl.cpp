#include "FtpUrl.h"

#include "ftp/RemotePath.h"
#include "korvan/FtpSettings.h"

#include <algorithm>

namespace korvan::cli {

namespace {

struct Scheme {
    QStringView prefix;
    FtpEncryption encryption;
    quint16 defaultPort;
};
constexpr Scheme kSchemes[] = {
    {u"ftp://", FtpEncryption::Plain, 21},
    {u"ftpes://", FtpEncryption::ExplicitTls, 21},
    {u"ftps://", FtpEncryption::ImplicitTls, 990},
};

int hexValue(QChar c)
{
    if (c >= u'0' && c <= u'9')
        return c.unicode() - u'0';
    const QChar lower = c.toLower();
    if (lower >= u'a' && lower <= u'f')
        return lower.unicode() - u'a' + 10;
    return -1;
}

bool fail(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return false;
}

// "host", "host:port", "[::1]:port" into the URL.
bool parseHostPort(QStringView text, FtpUrl &url, QString *error)
{
    QStringView host = text;
    QStringView port;
    if (text.startsWith(u'[')) {
        const qsizetype close = text.indexOf(u']');
        if (close < 0)
            return fail(error, u"an IPv6 address needs its closing ']'"_qs);
        host = text.mid(1, close - 1);
        const QStringView rest = text.mid(close + 1);
        if (!rest.isEmpty() && !rest.startsWith(u':'))
            return fail(error, u"unexpected text after ']'"_qs);
        port = rest.mid(1);
    } else {
        const qsizetype colon = text.indexOf(u':');
        if (colon >= 0) {
            host = text.left(colon);
            port = text.mid(colon + 1);
        }
    }
    if (host.isEmpty())
        return fail(error, u"the URL names no host"_qs);
    url.host = host.toString();
    if (port.isEmpty()) // "host:" is the default port, as in any URL
        return true;
    bool ok = false;
    const uint number = port.toUInt(&ok);
    if (!ok || number == 0 || number > 65535 || !port.front().isDigit())
        return fail(error, u"the port must be a number from 1 to 65535"_qs);
    url.port = quint16(number);
    return true;
}

bool parseUserInfo(QStringView text, FtpUrl &url, QString *error)
{
    const qsizetype colon = text.indexOf(u':');
    const std::optional<QString> user = PercentDecoded(colon < 0 ? text.toString() : text.left(colon).toString());
    const std::optional<QString> password = colon < 0 ? std::optional<QString>(QString())
                                                      : PercentDecoded(text.mid(colon + 1).toString());
    if (!user || !password)
        return fail(error, u"a '%' in the user or password must be followed by two hexadecimal digits"_qs);
    url.user = *user;
    url.password = *password;
    return true;
}

} // namespace

std::optional<QString> PercentDecoded(const QString &text)
{
    if (!text.contains(u'%'))
        return text;
    QByteArray bytes;
    bytes.reserve(text.size());
    const QByteArray utf8 = text.toUtf8();
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        if (utf8[i] != '%') {
            bytes += utf8[i];
            continue;
        }
        const int high = i + 2 < utf8.size() ? hexValue(QChar(utf8[i + 1])) : -1;
        const int low = high >= 0 ? hexValue(QChar(utf8[i + 2])) : -1;
        if (low < 0)
            return std::nullopt;
        bytes += char(high * 16 + low);
        i += 2;
    }
    return QString::fromUtf8(bytes);
}

std::optional<FtpUrl> ParseFtpUrl(const QString &text, QString *error)
{
    const auto scheme = std::find_if(std::begin(kSchemes), std::end(kSchemes), [&](const Scheme &candidate) {
        return text.startsWith(candidate.prefix, Qt::CaseInsensitive);
    });
    if (scheme == std::end(kSchemes)) {
        fail(error, u"an FTP URL starts with ftp://, ftpes:// or ftps://"_qs);
        return std::nullopt;
    }
    const QStringView rest = QStringView(text).mid(scheme->prefix.size());
    const qsizetype slash = rest.indexOf(u'/');
    const QStringView authority = slash < 0 ? rest : rest.left(slash);
    const QStringView encodedPath = slash < 0 ? QStringView() : rest.mid(slash + 1);

    FtpUrl url;
    url.encryption = scheme->encryption;
    url.port = scheme->defaultPort;
    // The last "@" ends the user part, so an unencoded "@" in a password still works.
    const qsizetype at = authority.lastIndexOf(u'@');
    if (at >= 0 && !parseUserInfo(authority.left(at), url, error))
        return std::nullopt;
    if (!parseHostPort(authority.mid(at + 1), url, error))
        return std::nullopt;
    const std::optional<QString> path = PercentDecoded(encodedPath.toString());
    if (!path) {
        fail(error, u"a '%' in the path must be followed by two hexadecimal digits"_qs);
        return std::nullopt;
    }
    url.path = *path;
    if (url.user.isEmpty()) {
        url.user = u"anonymous"_qs;
        url.password = sAnonPassword;
    }
    return url;
}

QString FtpUrl::remotePath(const QString &home) const
{
    const QString base = WithTrailingSlash(home);
    const QString joined = path.startsWith(u'/') ? path : base + path;
    // The helper always ends a path with "/"; only a folder the URL marks keeps it.
    const QString normalized = NormalizeRemotePath(joined);
    return joined.endsWith(u'/') ? normalized : StripTrailingSlash(normalized);
}

bool FtpUrl::sameLogOn(const FtpUrl &other) const
{
    return host == other.host && port == other.port && user == other.user && password == other.password
           && encryption == other.encryption;
}

QString FtpUrl::hostAndPort() const
{
    const QString shownHost = host.contains(u':') ? u'[' + host + u']' : host;
    return shownHost + u':' + QString::number(port);
}

} // namespace korvan::cli
