#pragma once

// A test peer running as a child process: its standard output is read line by line as it comes,
// its standard error is kept, and the test waits for lines or for its end with a deadline.

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace qorInterop {

using Deadline = std::chrono::steady_clock::time_point;

/// The point in time `duration` from now.
inline Deadline deadlineIn(std::chrono::milliseconds duration) {
    return std::chrono::steady_clock::now() + duration;
}

class PeerProcess {
  public:
    /// Starts `arguments[0]` with the arguments that follow. The child is killed should the test
    /// process die. Throws std::runtime_error when the process cannot be started.
    explicit PeerProcess(const std::vector<std::string>& arguments);
    /// Kills the child if it still runs and reaps it.
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    /// The index of the first line from `from` on that `match` accepts, once it has been
    /// written; nothing when the deadline passes or the child ends first.
    std::optional<std::size_t> waitForLine(const std::function<bool(const std::string&)>& match,
                                           Deadline deadline, std::size_t from = 0);
    /// As above, for a line equal to `line`.
    std::optional<std::size_t> waitForLine(const std::string& line, Deadline deadline,
                                           std::size_t from = 0);

    /// The lines between "sample <index>" and the "end" after it, once both have been written.
    std::optional<std::vector<std::string>> waitForSample(std::size_t index, Deadline deadline);

    /// Asks the child to finish (SIGTERM).
    void stop();
    /// The child's exit status, or minus the signal that killed it, once it has ended and closed
    /// its output; nothing when the deadline passes first.
    std::optional<int> waitForExit(Deadline deadline);

    /// Every complete line written to standard output so far.
    std::vector<std::string> lines() const;
    /// Everything written to standard error so far.
    std::string errorOutput() const;
    /// Output and error output so far, to explain a failure.
    std::string transcript() const;

  private:
    void readOutput(int outFd, int errFd);

    pid_t m_pid = -1;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_lines;
    std::string m_partialLine;
    std::string m_errors;
    bool m_ended = false;
    int m_status = 0;
    std::thread m_reader;
};

}  // namespace qorInterop
