#pragma once
// One remote folder's listing: the raw text a server sends for LIST, turned into
// a table of entries. (Interface fixed here; the parser fills in the details.)

#include <QString>
#include <QVector>
#include <stdexcept>

namespace korvan {

struct TFILE {
    QString FileName;
    QString FileSize;
    QString FileAttr;
    QString FileLink;
    QString FileDate;
    bool bFolder = false;
};

// Thrown by the per-entry accessors for an index outside the entry table.
class SubscriptOutOfRange : public std::out_of_range {
public:
    explicit SubscriptOutOfRange(qint64 index);
};

class cFTPList {
public:
    QString Folder() const;
    void setFolder(const QString &folder);
    qint32 FileNumb() const;
    void setFileNumb(qint32 n);

    QString FileName(qint32 Index) const;
    void setFileName(qint32 Index, const QString &value);
    QString FileDate(qint32 Index) const;
    void setFileDate(qint32 Index, const QString &value);
    QString FileSize(qint32 Index) const;
    void setFileSize(qint32 Index, const QString &value);
    QString FileAttr(qint32 Index) const;
    void setFileAttr(qint32 Index, const QString &value);
    QString FileLink(qint32 Index) const;
    void setFileLink(qint32 Index, const QString &value);
    bool IsFolder(qint32 Index) const;
    void setIsFolder(qint32 Index, bool value);
    bool IsLink(qint32 Index) const;
    QString Path(qint32 Index) const;

    // Parses the listing; takes the text over and leaves `sFileList` empty.
    void setFTPFileList(QString &sFileList);

private:
    QString sFolder;
    qint32 nFileNumb = 0;
    QVector<TFILE> entries;
    int style = 0;
    bool hasAttributes = false;
};

} // namespace korvan
