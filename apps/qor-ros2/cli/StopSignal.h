#pragma once

// Ctrl-C and SIGTERM end the running command cleanly, so endpoints are deleted in order, and
// the tool exits with the signal's number, as ros2 does.

namespace qorCli {

/// Installs the handlers of SIGINT and SIGTERM.
void installStopSignal();

/// True once SIGINT or SIGTERM has arrived.
bool stopRequested();

/// The exit code of a command that SIGINT or SIGTERM stopped: the signal's number (2 or 15), as
/// ros2 returns signal.SIGINT on KeyboardInterrupt and signal.SIGTERM when the context was shut
/// down from outside.
int stopExitCode();

/// Thrown by a wait that a stop signal cut short, so that the command does and prints nothing
/// more; main exits with stopExitCode(). Like Python's KeyboardInterrupt it derives from no
/// std::exception, so that a handler of ordinary failures lets it through.
struct StopRequested {};

/// Forgets the stop signal that arrived, for a verb whose work a stop signal ends as its normal
/// end (ros2 bag record exits 0 after Ctrl-C): the tool then exits with the verb's own code.
void acknowledgeStop();

/// Throws StopRequested once SIGINT or SIGTERM has arrived.
void throwIfStopRequested();

}  // namespace qorCli
