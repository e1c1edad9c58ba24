#pragma once
// The one process-wide connection settings record. The component class, the
// connect dialogs and the passive-mode menu entry write it; the FTP session reads it.

#include <QString>
#include <QtGlobal>

namespace korvan {

// How the control and data connections are protected.
enum class FtpEncryption : qint32 {
    Plain = 0,       // no TLS (ftp://)
    ExplicitTls = 1, // AUTH TLS on the plain port, required (ftpes://)
    ImplicitTls = 2, // TLS from the first byte, usually port 990 (ftps://)
};

struct FtpSettings {
    QString sFontName;        // font face for the main window
    qint32 hFont = 0;         // font handle supplied by the host
    QString sTempDir;         // component's temporary folder, always ending in a separator
    QString sFTPServer;       // host name or address
    QString sFTPUser;
    QString sFTPPassword;     // plain text
    QString sFTPDir;          // initial remote folder, starts with "/" when set
    qint32 nFTPPort = 21;     // control port
    qint32 nFTPWaitTime = 30; // seconds to wait for a server reply
    bool bBusy = false;       // the explorer window is open
    bool bPassive = false;    // passive data connections
    FtpEncryption nEncryption = FtpEncryption::Plain;
};

// The shared instance. Created on first use with the defaults above and the
// system temporary folder.
FtpSettings &ftpSettings();

// The default anonymous passwords: e-mail style identifiers of the host, with
// the "@" at the end and at the start respectively.
extern const QString sAnonPassword;
extern const QString sSiteAnonPassword;

} // namespace korvan
