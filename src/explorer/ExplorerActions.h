#pragma once
// Every command of the explorer window as one QAction, created once and shared by
// the menu bar's "&FTP" menu, the file list's popup (the same menu) and the tool
// bars; and the one place that applies the enabled states.

#include "explorer/CommandStates.h"

#include <QObject>

#include <array>

class QAction;
class QActionGroup;
class QMenu;
class QToolBar;
class QWidget;

namespace korvan {

class ExplorerActions : public QObject {
    Q_OBJECT
public:
    // The entries of mnuFTPCommand, by their index in the menu.
    enum Command {
        MakeDir = 0,
        Rename = 1,
        Delete = 2,
        Abort = 4,
        Refresh = 5,
        Connect = 7,
        QuickConnect = 8,
        Disconnect = 9,
        SwitchPassive = 11,
    };
    static constexpr int kCommandCount = 12;

    explicit ExplorerActions(QWidget *window);

    QMenu *mnuFTP = nullptr;
    QMenu *mnuView = nullptr;
    QToolBar *tBar1 = nullptr;
    QToolBar *tBar2 = nullptr;
    QAction *treeToggle = nullptr; // tBar2's one button
    QAction *goUp = nullptr;       // tBar1 "GoUp"
    QAction *selectAll = nullptr;
    QAction *invertSelection = nullptr;
    QAction *exit = nullptr;
    QAction *downloadTo = nullptr; // the selection into a folder the user chooses

    QAction *command(Command which) const { return commands[which]; }
    QAction *viewStyle(int style) const { return viewStyles[style]; }
    void apply(const CommandStates &states);
    // Ticks exactly the entry of the style in force.
    void tickViewStyle(int style);

signals:
    // A mnuFTPCommand entry or its tool button.
    void commandTriggered(int index);
    void viewStyleChosen(int style);

private:
    void buildMenu(QWidget *window);
    void buildToolBars(QWidget *window);

    std::array<QAction *, kCommandCount> commands{};
    std::array<QAction *, 4> viewStyles{};
};

} // namespace korvan
