#pragma once

// A program started by a test, waited for with a deadline and never left behind.

#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "WaitFor.h"

extern char** environ;

namespace qorTest {

/// Starts `argv` (argv[0] is the program's path) at construction; kills and reaps it at
/// destruction if it is still running.
class ChildProcess {
  public:
    explicit ChildProcess(const std::vector<std::string>& argv) {
        std::vector<char*> pointers;
        for (const std::string& arg : argv) {
            pointers.push_back(const_cast<char*>(arg.c_str()));
        }
        pointers.push_back(nullptr);
        if (posix_spawnp(&m_pid, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0) {
            m_pid = -1;
        }
    }

    ~ChildProcess() {
        if (running()) {
            ::kill(m_pid, SIGKILL);
            int status = 0;
            ::waitpid(m_pid, &status, 0);
        }
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }

    /// Waits up to `deadline` for the program to end; its exit code, or nothing if it is still
    /// running (or ended by a signal, then -signal).
    std::optional<int> waitForExit(std::chrono::milliseconds deadline) {
        waitFor([this] { return !running(); }, deadline);
        return m_exitCode;
    }

  private:
    bool running() {
        if (m_pid <= 0 || m_exitCode) {
            return false;
        }
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) != m_pid) {
            return true;
        }
        m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return false;
    }

    pid_t m_pid = -1;
    std::optional<int> m_exitCode;
};

}  // namespace qorTest
