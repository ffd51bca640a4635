#pragma once

// Ctrl-C and SIGTERM end the running command cleanly, so endpoints are deleted in order.

namespace qorCli {

/// Installs the handlers of SIGINT and SIGTERM.
void installStopSignal();

/// True once SIGINT or SIGTERM has arrived.
bool stopRequested();

}  // namespace qorCli
