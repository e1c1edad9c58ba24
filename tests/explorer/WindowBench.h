// One explorer window on one real server for the window tests, and the few moves a
// user makes that QtTest has no words for: answering a modal box, reading the rows
// as shown, saving a screenshot. KORVAN_TEST_LOG=1 prints the window's log.
#pragma once

#include "explorer/AddressCombo.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/FolderTree.h"
#include "explorer/LogPane.h"
#include "explorer/fFTPMain.h"
#include "fixtures/ServerRows.h"
#include "servers/FtpServer.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <QPointer>
#include <QTimer>

#include <functional>

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

struct WindowBench {
    explicit WindowBench(ServerKind kind) : server(kind) {}
    ~WindowBench()
    {
        if (qEnvironmentVariableIsSet("KORVAN_TEST_LOG"))
            qInfo().noquote() << window.logPane()->toPlainText();
    }

    bool connect(bool passive = true)
    {
        ftpSettings() = settingsFor(server, passive);
        window.show();
        return window.ConnectWith(ftpSettings());
    }

    QStringList rowNames() const { return rowNamesOf(window); }

    // Enter pressed after typing text into the address combo; back when the list
    // has been filled.
    void typeAddress(const QString &text)
    {
        window.SetStatusText({});
        QLineEdit *edit = window.addressCombo()->lineEdit();
        edit->setText(text);
        QTest::keyClick(edit, Qt::Key_Return);
        QTRY_VERIFY(window.statusText().endsWith(u"FILES OR FOLDERS"_qs));
    }

    int rowOf(const QString &name) const { return window.listModel()->rowOfName(name); }

    QStringList treeChildren(const QString &folder) const { return treeChildrenOf(window, folder); }

    FtpServer server;
    fFTPMain window;
};

// Runs `answer` on the next modal box once it is up (the box runs its own loop).
// Answers the next modal dialog; the returned pointer turns null once it has.
inline QPointer<QTimer> whenModal(std::function<void(QWidget *)> answer)
{
    auto *poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer] {
        if (QWidget *box = QApplication::activeModalWidget()) {
            poll->deleteLater();
            poll->stop();
            answer(box);
        }
    });
    poll->start(5);
    return poll;
}

// "<title>: <text>" of a question box.
inline QString questionOf(QWidget *box)
{
    for (const QLabel *label : box->findChildren<QLabel *>()) {
        if (label->accessibleName() == u"Question")
            return box->windowTitle() + u": "_qs + label->text();
    }
    return {};
}

inline void clickChild(QWidget *box, const QString &objectName)
{
    if (auto *button = box->findChild<QPushButton *>(objectName))
        button->click();
}

// The input box answered: `text` typed, then OK or Cancel.
inline QPointer<QTimer> answerInput(const QString &text, bool ok = true, QString *defaultSeen = nullptr)
{
    return whenModal([text, ok, defaultSeen](QWidget *box) {
        auto *edit = box->findChild<QLineEdit *>(u"InputText"_qs);
        if (defaultSeen)
            *defaultSeen = edit ? edit->text() : QString();
        if (edit)
            edit->setText(text);
        QMetaObject::invokeMethod(box, ok ? "accept" : "reject", Qt::QueuedConnection);
    });
}

inline QString screenshotPath(const QString &name)
{
    const QString dir = qEnvironmentVariable("KORVAN_BUILD_DIR", QDir::tempPath()) + u"/screenshots"_qs;
    QDir().mkpath(dir);
    return dir + u'/' + name + u".png"_qs;
}

// The widget with the dialogs that float over it (the progress dialog, a question)
// drawn where they stand, as the user sees them.
inline void saveScreenshot(QWidget *widget, const QString &name)
{
    // What the window shows a moment later: its texts follow paced.
    QList<fFTPMain *> windows = widget->window()->findChildren<fFTPMain *>();
    if (auto *own = qobject_cast<fFTPMain *>(widget->window()))
        windows << own;
    for (fFTPMain *window : windows)
        window->showPendingTexts();
    QPixmap shot = widget->grab();
    QPainter painter(&shot);
    for (QWidget *top : QApplication::topLevelWidgets()) {
        const QWidget *owner = top->parentWidget();
        if (top != widget && top->isVisible() && owner && owner->window() == widget->window())
            painter.drawPixmap(widget->mapFromGlobal(top->mapToGlobal(QPoint(0, 0))), top->grab());
    }
    painter.end();
    QVERIFY(shot.save(screenshotPath(name)));
}

} // namespace korvan::test
