// One explorer window on one real server for the window tests, and what a user reads off it: the rows, the tree's
// folders and the log as shown.
#pragma once

#include "explorer/AddressCombo.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/FolderTree.h"
#include "explorer/LogPane.h"
#include "explorer/fFTPMain.h"
#include "fixtures/ServerRows.h"
#include "servers/FtpServer.h"
#include "sites/DialogDriving.h"

namespace korvan::test {

// The names in the order the window's list shows them.
inline QStringList rowNamesOf(const fFTPMain &window)
{
    const FileListModel &model = *window.listModel();
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row)
        names << model.data(model.index(row, 0)).toString();
    return names;
}

// The sub-folder names of a tree node, as shown.
inline QStringList treeChildrenOf(const fFTPMain &window, const QString &folder)
{
    QStringList names;
    const QTreeWidgetItem *node = window.tree()->findNode(folder);
    for (int i = 0; node && i < node->childCount(); ++i) {
        if (!node->child(i)->isHidden())
            names << node->child(i)->text(0);
    }
    names.sort();
    return names;
}

// The log as shown a moment later (its lines follow paced).
inline QString logOf(fFTPMain &window)
{
    window.logPane()->flushPending();
    return window.logPane()->toPlainText();
}

struct WindowBench {
    explicit WindowBench(ServerKind kind) : server(kind) {}

    bool connect(bool passive = true)
    {
        ftpSettings() = settingsFor(server, passive);
        window.show();
        return window.ConnectWith(ftpSettings());
    }

    // Enter pressed after typing text into the address combo; back when the list has been filled.
    void typeAddress(const QString &text)
    {
        window.SetStatusText({});
        QLineEdit *edit = window.addressCombo()->lineEdit();
        edit->setText(text);
        QTest::keyClick(edit, Qt::Key_Return);
        QTRY_VERIFY(window.statusText().endsWith(u"FILES OR FOLDERS"_qs));
    }

    int rowOf(const QString &name) const { return window.listModel()->rowOfName(name); }
    QStringList rowNames() const { return rowNamesOf(window); }

    FtpServer server;
    fFTPMain window;
};

// The input box answered: `text` typed, then OK or Cancel.
inline QPointer<QTimer> answerInput(const QString &text, bool ok = true, QString *defaultSeen = nullptr)
{
    return whenModal([text, ok, defaultSeen](QWidget *box) {
        QLineEdit *edit = control(*box, u"InputText"_qs);
        if (defaultSeen)
            *defaultSeen = edit->text();
        edit->setText(text);
        QMetaObject::invokeMethod(box, ok ? "accept" : "reject", Qt::QueuedConnection);
    });
}

// The window as the user sees it a moment later: its texts follow paced.
inline void saveScreenshot(fFTPMain *window, const QString &name)
{
    window->showPendingTexts();
    saveScreenshot(static_cast<QWidget *>(window), name);
}

} // namespace korvan::test
