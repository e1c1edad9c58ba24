// One explorer window on one real server for the window tests, and the few moves a
// user makes that QtTest has no words for: answering a modal box, reading the rows
// as shown, saving a screenshot. KORVAN_TEST_LOG=1 prints the window's log.
#pragma once

#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/FolderTree.h"
#include "explorer/LogPane.h"
#include "explorer/fFTPMain.h"
#include "fixtures/ServerRows.h"
#include "servers/FtpServer.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

namespace korvan::test {

struct WindowBench {
    explicit WindowBench(ServerKind kind) : server(kind) {}
    ~WindowBench()
    {
        if (qEnvironmentVariableIsSet("KORVAN_TEST_LOG"))
            qInfo().noquote() << window.logPane()->toPlainText();
    }

    bool connect(bool passive = true)
    {
        pointSettingsAt(server, passive);
        window.show();
        return window.ConnectWith(ftpSettings());
    }

    // The names in the order the list shows them.
    QStringList rowNames() const
    {
        const FileListModel &model = *window.listModel();
        QStringList names;
        for (int row = 0; row < model.rowCount(); ++row)
            names << model.data(model.index(row, 0)).toString();
        return names;
    }

    int rowOf(const QString &name) const { return window.listModel()->rowOfName(name); }

    // The sub-folder names of a tree node, as shown.
    QStringList treeChildren(const QString &folder) const
    {
        QStringList names;
        const QTreeWidgetItem *node = window.tree()->findNode(folder);
        for (int i = 0; node && i < node->childCount(); ++i)
            names << node->child(i)->text(0);
        names.sort();
        return names;
    }

    FtpServer server;
    fFTPMain window;
};

// Runs `answer` on the next modal box once it is up (the box runs its own loop).
inline void whenModal(std::function<void(QWidget *)> answer)
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
}

inline void clickChild(QWidget *box, const QString &objectName)
{
    if (auto *button = box->findChild<QPushButton *>(objectName))
        button->click();
}

// The input box answered with text (empty: Cancel).
inline void answerInput(const QString &text, QString *defaultSeen = nullptr)
{
    whenModal([text, defaultSeen](QWidget *box) {
        auto *edit = box->findChild<QLineEdit *>(u"InputText"_qs);
        if (defaultSeen)
            *defaultSeen = edit ? edit->text() : QString();
        if (edit)
            edit->setText(text);
        QMetaObject::invokeMethod(box, text.isEmpty() ? "reject" : "accept", Qt::QueuedConnection);
    });
}

inline QString screenshotPath(const QString &name)
{
    const QString dir = qEnvironmentVariable("KORVAN_BUILD_DIR", QDir::tempPath()) + u"/screenshots"_qs;
    QDir().mkpath(dir);
    return dir + u'/' + name + u".png"_qs;
}

inline void saveScreenshot(QWidget *widget, const QString &name)
{
    QVERIFY(widget->grab().save(screenshotPath(name)));
}

} // namespace korvan::test
