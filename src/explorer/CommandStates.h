#pragma once
// When each command of the explorer window may run: a pure computation over what
// the window knows at that moment, so the whole table can be checked without a window.

namespace korvan {

struct CommandInputs {
    bool idle = true;         // the progress dialog is not busy
    bool connected = false;   // control connection up (or forced by the caller)
    bool anySelected = false; // at least one entry of the file list selected
    int count = 0;            // entries in the file list
    bool commandInProgress = false;
    bool treeNodeHasParent = false; // the selected folder node is not the root
};

struct CommandStates {
    bool makeDir = false;
    bool rename = false;
    bool remove = false; // "&Delete..."
    bool abort = false;
    bool refresh = false;
    bool connect = false;
    bool quickConnect = false;
    bool disconnect = false;
    bool switchPassive = false;
    bool selectAll = false;
    bool invertSelection = false;
    bool goUp = false;
};

CommandStates ComputeCommandStates(const CommandInputs &in);

// A command is in progress while the transfer dialog is busy, the data connection
// is open, or the session still waits for the reply to its last command.
bool CommandInProgress(bool progressBusy, bool dataConnectionOpen, bool replyAwaited);

} // namespace korvan
