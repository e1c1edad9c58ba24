#include "sites/PropertyBag.h"

#include <QtEndian>

namespace korvan {

namespace {

constexpr char signature[] = "KvPB";
constexpr qsizetype signatureSize = 4;

enum Type : quint8 { TextType = 1, Int16Type = 2, Int32Type = 3 };

// Reads fixed-size integers and length-prefixed byte runs from a buffer,
// failing (nothing returned) when the buffer ends first.
class Cursor {
public:
    explicit Cursor(const QByteArray &bytes) : bytes_(bytes) {}

    template <typename T> std::optional<T> integer()
    {
        if (bytes_.size() - pos_ < qsizetype(sizeof(T)))
            return {};
        const T value = qFromLittleEndian<T>(bytes_.constData() + pos_);
        pos_ += sizeof(T);
        return value;
    }

    template <typename Length> std::optional<QByteArray> run()
    {
        const auto length = integer<Length>();
        if (!length || bytes_.size() - pos_ < qsizetype(*length))
            return {};
        const QByteArray out = bytes_.mid(pos_, qsizetype(*length));
        pos_ += qsizetype(*length);
        return out;
    }

private:
    const QByteArray &bytes_;
    qsizetype pos_ = 0;
};

template <typename T> void appendInteger(QByteArray &out, T value)
{
    char raw[sizeof(T)];
    qToLittleEndian(value, raw);
    out.append(raw, sizeof(T));
}

template <typename Length> void appendRun(QByteArray &out, const QByteArray &run)
{
    appendInteger(out, Length(run.size()));
    out.append(run);
}

std::optional<PropertyBag::Value> readValue(Cursor &cursor, quint8 type)
{
    switch (type) {
    case TextType:
        if (const auto text = cursor.run<quint32>())
            return QString::fromUtf8(*text);
        return {};
    case Int16Type:
        if (const auto value = cursor.integer<qint16>())
            return *value;
        return {};
    case Int32Type:
        if (const auto value = cursor.integer<qint32>())
            return *value;
        return {};
    default:
        return {};
    }
}

} // namespace

bool PropertyBag::setContents(const QByteArray &bytes)
{
    entries_.clear();
    index_.clear();
    if (!bytes.startsWith(QByteArrayView(signature, signatureSize)))
        return false;
    Cursor cursor(bytes);
    cursor.integer<quint32>(); // the signature
    const auto count = cursor.integer<quint32>();
    if (!count)
        return false;
    for (quint32 i = 0; i < *count; ++i) {
        const auto type = cursor.integer<quint8>();
        const auto name = cursor.run<quint16>();
        if (!type || !name)
            return false;
        auto value = readValue(cursor, *type);
        if (!value)
            return false;
        put(QString::fromUtf8(*name), std::move(*value));
    }
    return true;
}

QByteArray PropertyBag::contents() const
{
    QByteArray out(signature, signatureSize);
    appendInteger(out, quint32(entries_.size()));
    for (const Entry &entry : entries_) {
        const quint8 type = std::visit(
            [](const auto &v) -> quint8 {
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, QString>)
                    return TextType;
                else if constexpr (std::is_same_v<T, qint16>)
                    return Int16Type;
                else
                    return Int32Type;
            },
            entry.value);
        appendInteger(out, type);
        appendRun<quint16>(out, entry.name.toUtf8());
        std::visit(
            [&out](const auto &v) {
                if constexpr (std::is_same_v<std::decay_t<decltype(v)>, QString>)
                    appendRun<quint32>(out, v.toUtf8());
                else
                    appendInteger(out, v);
            },
            entry.value);
    }
    return out;
}

void PropertyBag::put(const QString &name, Value value)
{
    const auto found = index_.constFind(name);
    if (found != index_.constEnd()) {
        entries_[*found].value = std::move(value);
        return;
    }
    index_.insert(name, entries_.size());
    entries_.append({name, std::move(value)});
}

void PropertyBag::writeText(const QString &name, const QString &value, const std::optional<QString> &defaultValue)
{
    if (value != defaultValue)
        put(name, value);
}

void PropertyBag::writeInt16(const QString &name, qint16 value, std::optional<qint16> defaultValue)
{
    if (value != defaultValue)
        put(name, value);
}

void PropertyBag::writeInt32(const QString &name, qint32 value, std::optional<qint32> defaultValue)
{
    if (value != defaultValue)
        put(name, value);
}

QString PropertyBag::readText(const QString &name, const QString &defaultValue) const
{
    const auto found = index_.constFind(name);
    if (found == index_.constEnd())
        return defaultValue;
    return std::visit(
        [](const auto &v) {
            if constexpr (std::is_same_v<std::decay_t<decltype(v)>, QString>)
                return v;
            else
                return QString::number(v);
        },
        entries_.at(*found).value);
}

std::optional<qint32> PropertyBag::readInteger(const QString &name, qint32 defaultValue) const
{
    const auto found = index_.constFind(name);
    if (found == index_.constEnd())
        return defaultValue;
    return std::visit(
        [](const auto &v) -> std::optional<qint32> {
            if constexpr (std::is_same_v<std::decay_t<decltype(v)>, QString>) {
                bool ok = false;
                const qint32 number = v.trimmed().toInt(&ok);
                return ok ? std::optional<qint32>(number) : std::nullopt;
            } else {
                return qint32(v);
            }
        },
        entries_.at(*found).value);
}

} // namespace korvan
