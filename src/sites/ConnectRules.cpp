#include "sites/ConnectRules.h"

#include <QStringList>

#include <cmath>
#include <limits>

namespace korvan::connectRules {

std::optional<double> numericValue(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return {};
    return value;
}

std::optional<qint32> integerValue(const QString &text)
{
    const auto value = numericValue(text);
    if (!value)
        return {};
    const double rounded = std::nearbyint(*value); // halves to even: "2.5" gives 2
    if (rounded < std::numeric_limits<qint32>::min() || rounded > std::numeric_limits<qint32>::max())
        return {};
    return qint32(rounded);
}

bool serverNameAccepted(const QString &server)
{
    if (server.isEmpty())
        return false;
    const QStringList parts = server.split(QLatin1Char('.'));
    const qsizetype needed = numericValue(parts.first()) ? 4 : 3;
    return parts.size() >= needed;
}

bool isAnonymousUser(const QString &user)
{
    return user.compare(QLatin1String("anonymous"), Qt::CaseInsensitive) == 0;
}

} // namespace korvan::connectRules
