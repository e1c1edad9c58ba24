#include "explorer/ExplorerActions.h"

#include "explorer/ShellIcons.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QToolBar>

namespace korvan {

namespace {

struct CommandEntry {
    const char *caption; // nullptr: a separator
    QKeySequence shortcut;
};

const CommandEntry kCommandEntries[ExplorerActions::kCommandCount] = {
    {"&Make Dir...", QKeySequence(Qt::CTRL | Qt::Key_M)},
    {"&Rename...", QKeySequence(Qt::CTRL | Qt::Key_R)},
    {"&Delete...", QKeySequence(Qt::Key_Delete)},
    {nullptr, {}},
    {"&Abort", {}},
    {"Re&fresh", {}},
    {nullptr, {}},
    {"&Connect...", {}},
    {"&Quick Connect...", {}},
    {"&Disconnect", {}},
    {nullptr, {}},
    {"&Switch Passive Mode", {}},
};

const char *const kViewStyleCaptions[4] = {"L&arge Icons", "&Small Icons", "&List", "&Details"};

QAction *NewAction(QWidget *window, const QString &caption, const QKeySequence &shortcut = {})
{
    auto *action = new QAction(caption, window);
    action->setShortcut(shortcut);
    // Shortcuts work wherever the focus is in the window, menu open or not.
    action->setShortcutContext(Qt::WindowShortcut);
    window->addAction(action);
    return action;
}

} // namespace

ExplorerActions::ExplorerActions(QWidget *window) : QObject(window)
{
    buildMenu(window);
    buildToolBars(window);
}

void ExplorerActions::buildMenu(QWidget *window)
{
    mnuFTP = new QMenu(u"&FTP"_qs, window);
    mnuFTP->setObjectName(u"mnuFTP"_qs);
    mnuFTP->setAccessibleName(u"FTP"_qs);
    for (int i = 0; i < kCommandCount; ++i) {
        if (!kCommandEntries[i].caption) {
            mnuFTP->addSeparator();
            continue;
        }
        commands[i] = NewAction(window, QString::fromLatin1(kCommandEntries[i].caption), kCommandEntries[i].shortcut);
        commands[i]->setObjectName(u"mnuFTPCommand"_qs + QString::number(i));
        connect(commands[i], &QAction::triggered, this, [this, i] { emit commandTriggered(i); });
        mnuFTP->addAction(commands[i]);
    }
    mnuFTP->addSeparator();
    downloadTo = NewAction(window, u"Download to..."_qs);
    downloadTo->setObjectName(u"mnuDownloadTo"_qs);
    mnuFTP->addAction(downloadTo);
    mnuFTP->addSeparator();
    mnuView = mnuFTP->addMenu(u"&View"_qs);
    mnuView->setObjectName(u"mnuView"_qs);
    auto *styles = new QActionGroup(this);
    for (int style = 0; style < 4; ++style) {
        viewStyles[style] = NewAction(window, QString::fromLatin1(kViewStyleCaptions[style]));
        viewStyles[style]->setObjectName(u"mnuViewStyle"_qs + QString::number(style));
        viewStyles[style]->setCheckable(true);
        styles->addAction(viewStyles[style]);
        mnuView->addAction(viewStyles[style]);
        connect(viewStyles[style], &QAction::triggered, this, [this, style] { emit viewStyleChosen(style); });
    }
    mnuFTP->addSeparator();
    selectAll = NewAction(window, u"Select &All"_qs, QKeySequence(Qt::CTRL | Qt::Key_A));
    selectAll->setObjectName(u"mnuEditSelect0"_qs);
    invertSelection = NewAction(window, u"&Invert Selection"_qs, QKeySequence(Qt::CTRL | Qt::Key_I));
    invertSelection->setObjectName(u"mnuEditSelect1"_qs);
    mnuFTP->addAction(selectAll);
    mnuFTP->addAction(invertSelection);
    mnuFTP->addSeparator();
    exit = NewAction(window, u"E&xit"_qs);
    exit->setObjectName(u"mnuEditExit"_qs);
    mnuFTP->addAction(exit);
}

void ExplorerActions::buildToolBars(QWidget *window)
{
    tBar1 = new QToolBar(window);
    tBar1->setObjectName(u"tBar1"_qs);
    tBar1->setAccessibleName(u"tBar1"_qs);
    tBar1->setIconSize(QSize(16, 16));
    tBar1->setFloatable(false);
    tBar1->setMovable(false);
    struct Button {
        const char *key;
        const char *toolTip;
        QAction *action;
    };
    goUp = new QAction(window);
    const Button buttons[] = {
        {"QuickConnect", "Quick Connect to FTP...", commands[QuickConnect]},
        {"Connect", "Connect to FTP by Site Manager...", commands[Connect]},
        {"Disconnect", "Disconnect", commands[Disconnect]},
        {"GoUp", "Go Upward", goUp},
    };
    // The tool buttons share the menu's actions; only their look differs, so each
    // gets a tool-bar action that forwards to the menu action and mirrors its state.
    for (const Button &button : buttons) {
        QAction *shared = button.action;
        QAction *tool = shared == goUp ? goUp : new QAction(window);
        tool->setObjectName(QString::fromLatin1(button.key));
        tool->setIcon(ShellIcons::toolBarIcon(QString::fromLatin1(button.key)));
        tool->setText(QString::fromLatin1(button.toolTip));
        tool->setToolTip(QString::fromLatin1(button.toolTip));
        if (tool != shared) {
            connect(tool, &QAction::triggered, shared, &QAction::trigger);
            connect(shared, &QAction::enabledChanged, tool, &QAction::setEnabled);
            tool->setEnabled(shared->isEnabled());
        }
        tBar1->addAction(tool);
        tBar1->widgetForAction(tool)->setAccessibleName(QString::fromLatin1(button.toolTip));
    }

    tBar2 = new QToolBar(window);
    tBar2->setObjectName(u"tBar2"_qs);
    tBar2->setAccessibleName(u"tBar2"_qs);
    tBar2->setIconSize(QSize(16, 16));
    tBar2->setFloatable(false);
    tBar2->setMovable(false);
    treeToggle = new QAction(ShellIcons::toolBarIcon(u"Tree"_qs), u"Folders"_qs, window);
    treeToggle->setObjectName(u"Tree"_qs);
    treeToggle->setToolTip(u"Folders"_qs);
    treeToggle->setCheckable(true);
    treeToggle->setChecked(true);
    tBar2->addAction(treeToggle);
    tBar2->widgetForAction(treeToggle)->setAccessibleName(treeToggle->toolTip());
}

void ExplorerActions::apply(const CommandStates &states)
{
    command(MakeDir)->setEnabled(states.makeDir);
    command(Rename)->setEnabled(states.rename);
    command(Delete)->setEnabled(states.remove);
    command(Abort)->setEnabled(states.abort);
    command(Refresh)->setEnabled(states.refresh);
    command(Connect)->setEnabled(states.connect);
    command(QuickConnect)->setEnabled(states.quickConnect);
    command(Disconnect)->setEnabled(states.disconnect);
    command(SwitchPassive)->setEnabled(states.switchPassive);
    selectAll->setEnabled(states.selectAll);
    invertSelection->setEnabled(states.invertSelection);
    goUp->setEnabled(states.goUp);
}

void ExplorerActions::tickViewStyle(int style)
{
    for (int i = 0; i < 4; ++i)
        viewStyles[i]->setChecked(i == style);
}

} // namespace korvan
