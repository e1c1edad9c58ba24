#include "sites/SiteStore.h"

#include "korvan/FtpSettings.h"
#include "sites/mmEncrypt.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>

#include <dlfcn.h>
#include <unistd.h>

namespace korvan {

namespace {

const QString lineBreak = QStringLiteral("\r\n");

struct PredefinedSite {
    const char *caption;
    const char *server;
    const char *folder = "";
};

// Public anonymous archives of software and of hosting software.
const PredefinedSite webServerSites[] = {
    {"Apache Software Foundation", "ftp.apache.org"},
    {"CPAN", "ftp.cpan.org"},
    {"Debian", "ftp.debian.org"},
    {"FreeBSD", "ftp.freebsd.org"},
    {"ISC", "ftp.isc.org"},
    {"Mozilla", "ftp.mozilla.org"},
    {"NetBSD", "ftp.netbsd.org"},
    {"OpenBSD", "ftp.openbsd.org"},
    {"OpenSSL", "ftp.openssl.org"},
    {"PostgreSQL", "ftp.postgresql.org"},
    {"Python", "ftp.python.org"},
};

const PredefinedSite misSites[] = {
    {"CTAN", "ftp.ctan.org"},
    {"FAU Erlangen", "ftp.fau.de"},
    {"FUNET", "ftp.funet.fi", "/pub/gnu"},
    {"GNU Project", "ftp.gnu.org"},
    {"HEAnet", "ftp.heanet.ie"},
    {"ibiblio", "ftp.ibiblio.org"},
    {"JAIST", "ftp.jaist.ac.jp"},
    {"Kernel.org", "ftp.kernel.org"},
    {"NLUUG", "ftp.nluug.nl"},
    {"OSU Open Source Lab", "ftp.osuosl.org"},
    {"RIKEN", "ftp.riken.jp"},
    {"RWTH Aachen", "ftp.halifax.rwth-aachen.de"},
    {"Samba", "ftp.samba.org"},
    {"Slackware", "ftp.slackware.com"},
    {"SUNET", "ftp.sunet.se"},
    {"TU Chemnitz", "ftp.tu-chemnitz.de"},
    {"UK Mirror Service", "ftp.mirrorservice.org"},
    {"X.Org", "ftp.x.org"},
};

TreeNode folderNode(const QString &name)
{
    TreeNode node;
    node.text = node.key = name;
    node.image = folderImage;
    node.selectedImage = openFolderImage;
    node.sorted = true;
    return node;
}

TreeNode siteNode(const PredefinedSite &site)
{
    SiteRecord record;
    record.server = QString::fromLatin1(site.server);
    record.user = QStringLiteral("anonymous");
    record.password = mmEncrypt::Encrypt(sSiteAnonPassword);
    record.folder = QString::fromLatin1(site.folder);
    record.anonymous = QStringLiteral("1");
    record.port = QStringLiteral("21");
    record.waitTime = QStringLiteral("30");
    TreeNode node;
    node.text = node.key = QString::fromLatin1(site.caption);
    node.image = siteImage;
    node.tag = record.toTag();
    return node;
}

template <std::size_t N> void addSites(Tree &tree, TreeNode &folder, const PredefinedSite (&sites)[N])
{
    for (const PredefinedSite &site : sites)
        mRwTreeView::addNode(tree, &folder, siteNode(site));
}

QString componentFolder()
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void *>(&defaultSiteTree), &info) || !info.dli_fname)
        return {};
    return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
}

} // namespace

SiteRecord SiteRecord::fromTag(const QString &tag)
{
    QStringList lines = tag.split(lineBreak);
    lines.resize(10);
    return {lines[0], lines[1], lines[2], lines[3], lines[4], lines[5], lines[6], lines[7], lines[8], lines[9]};
}

QString SiteRecord::toTag() const
{
    QStringList lines{server, user, password, folder, anonymous, savePassword, passive, port, waitTime};
    if (encryptionIndex() != 0)
        lines << encryption;
    return lines.join(lineBreak);
}

int SiteRecord::encryptionIndex() const
{
    const int index = encryption.toInt();
    return index == int(FtpEncryption::ExplicitTls) || index == int(FtpEncryption::ImplicitTls) ? index : 0;
}

QString tagAsSaved(const QString &tag)
{
    if (tag.isEmpty())
        return tag;
    SiteRecord record = SiteRecord::fromTag(tag);
    if (record.savePassword.trimmed().toInt() != 0)
        return tag;
    record.password.clear();
    return record.toTag();
}

Tree defaultSiteTree()
{
    Tree tree;
    TreeNode &root = mRwTreeView::addNode(tree, nullptr, folderNode(QStringLiteral("FTP sites")));
    mRwTreeView::addNode(tree, &root, folderNode(QStringLiteral("Personal")));
    addSites(tree, mRwTreeView::addNode(tree, &root, folderNode(QStringLiteral("Web Server"))), webServerSites);
    addSites(tree, mRwTreeView::addNode(tree, &root, folderNode(QStringLiteral("MIS"))), misSites);
    return tree;
}

QString siteStoreFile(const QString &componentFolder, const QString &userConfigFolder)
{
    const QString name = QStringLiteral("FTPSite.dat");
    if (!componentFolder.isEmpty() && ::access(QFile::encodeName(componentFolder).constData(), W_OK) == 0)
        return QDir(componentFolder).filePath(name);
    return QDir(userConfigFolder).filePath(name);
}

QString siteStoreFile()
{
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return siteStoreFile(componentFolder(), QDir(config).filePath(QStringLiteral("korvan")));
}

} // namespace korvan
