#include "explorer/CommandStates.h"

namespace korvan {

CommandStates ComputeCommandStates(const CommandInputs &in)
{
    const bool ready = in.idle && in.connected;
    CommandStates states;
    states.makeDir = states.abort = states.refresh = ready;
    // Disconnect and the passive switch stay on while a transfer runs.
    states.disconnect = states.switchPassive = in.connected;
    states.rename = states.remove = ready && in.anySelected;
    states.connect = states.quickConnect = in.idle && !in.connected;
    states.selectAll = states.invertSelection = ready && in.count >= 1;
    states.goUp = !in.commandInProgress && in.treeNodeHasParent;
    return states;
}

bool CommandInProgress(bool progressBusy, bool dataConnectionOpen, bool replyAwaited)
{
    return progressBusy || dataConnectionOpen || replyAwaited;
}

} // namespace korvan
