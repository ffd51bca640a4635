#pragma once

// The other side of a cross-process benchmark: this same program, started again with the peer's
// arguments, stopped with SIGTERM when the measurement is over.

#include <sys/types.h>

#include <string>
#include <vector>

namespace qorROS2::bench {

/// A running copy of this program. Its destructor stops it and waits for it.
class PeerProcess {
  public:
    /// Starts this program with `arguments`. Throws std::runtime_error when it cannot.
    explicit PeerProcess(const std::vector<std::string>& arguments);
    ~PeerProcess();

    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    /// Stops the peer and waits for it; returns its exit status (0 when it ended cleanly).
    int stop();

  private:
    pid_t m_pid = -1;
};

/// For the peer: sets up SIGTERM (and the parent's death) to end stopRequested().
void watchForStop();
/// Whether the peer was asked to stop.
bool stopRequested();

}  // namespace qorROS2::bench
