#pragma once
// A named-value store: an unordered set of entries, each a name and a typed
// value (text, 16-bit or 32-bit integer), turned into bytes and back. The site
// store file is exactly one bag's bytes and nothing else.
//
// Byte layout (integers little-endian, texts UTF-8):
//   signature   4 bytes  "KvPB"
//   count       uint32   number of entries that follow
//   count entries, each:
//     type      uint8    1 text, 2 int16, 3 int32
//     name      uint16 byte length, then the name's bytes
//     value     text:  uint32 byte length, then the text's bytes
//               int16: 2 bytes; int32: 4 bytes
// The layout describes and delimits itself: a reader knows where the bag ends
// and ignores any bytes after it (the old, non-truncating save left the tail of
// a longer previous file behind the new bag). Entries keep the order they were
// written in; a name written twice keeps its last value. A value equal to the
// default the writer gives is left out, and a reader asking for a missing name
// gets its own default.
//
// A damaged bag (wrong signature, an entry cut short, an unknown type) keeps
// the entries read before the damage: a file cut short still yields what it
// holds.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>
#include <variant>

namespace korvan {

class PropertyBag {
public:
    using Value = std::variant<QString, qint16, qint32>;

    // Replaces the contents with the bag read from `bytes`. Returns false when
    // the bytes are not a whole bag; the entries before the damage are kept.
    bool setContents(const QByteArray &bytes);
    QByteArray contents() const;

    // Writes the value unless it equals `defaultValue`.
    void writeText(const QString &name, const QString &value, const std::optional<QString> &defaultValue = {});
    void writeInt16(const QString &name, qint16 value, std::optional<qint16> defaultValue = {});
    void writeInt32(const QString &name, qint32 value, std::optional<qint32> defaultValue = {});

    bool contains(const QString &name) const { return index_.contains(name); }
    qsizetype size() const { return entries_.size(); }

    // A missing entry reads as the default. Integers read as their decimal text.
    QString readText(const QString &name, const QString &defaultValue) const;
    // A missing entry reads as the default; a text that is no 32-bit integer
    // gives nothing (the caller treats it as a bad entry).
    std::optional<qint32> readInteger(const QString &name, qint32 defaultValue) const;

private:
    struct Entry {
        QString name;
        Value value;
    };
    void put(const QString &name, Value value);

    QList<Entry> entries_;
    QHash<QString, qsizetype> index_;
};

} // namespace korvan
