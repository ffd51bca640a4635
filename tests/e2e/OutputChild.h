#pragma once

// A program started by a test whose standard output is read while it runs: lines are collected
// until a condition on them holds or a deadline passes, and the program is killed and reaped at
// destruction if it is still running; a test can see when it handles a signal, signal it and
// await its exit. On a terminal of its own, standard output and standard error both go to one raw
// pseudo-terminal, as a user sees them.

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace qorE2eTest {

class OutputChild {
  public:
    /// Where the program's output goes.
    enum Output {
        PIPE,      ///< standard output into a pipe; standard error stays the test's
        TERMINAL,  ///< standard output and error on a raw pseudo-terminal (no line-end
                   ///< translation: the bytes read are the bytes written)
    };

    /// Starts `argv` (argv[0] is the program's path) with the test's environment.
    explicit OutputChild(const std::vector<std::string>& argv, Output output = PIPE) {
        int writeEnd = -1;
        if (output == TERMINAL) {
            termios raw{};
            ::cfmakeraw(&raw);
            if (::openpty(&m_output, &writeEnd, nullptr, &raw, nullptr) != 0) {
                return;
            }
            ::fcntl(m_output, F_SETFD, FD_CLOEXEC);
            ::fcntl(writeEnd, F_SETFD, FD_CLOEXEC);
        } else {
            int pipeEnds[2] = {-1, -1};
            if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
                return;
            }
            m_output = pipeEnds[0];
            writeEnd = pipeEnds[1];
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, writeEnd, STDOUT_FILENO);
        if (output == TERMINAL) {
            posix_spawn_file_actions_adddup2(&actions, writeEnd, STDERR_FILENO);
        }
        std::vector<char*> pointers;
        for (const std::string& arg : argv) {
            pointers.push_back(const_cast<char*>(arg.c_str()));
        }
        pointers.push_back(nullptr);
        if (posix_spawn(&m_pid, pointers[0], &actions, nullptr, pointers.data(), environ) != 0) {
            m_pid = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(writeEnd);
        ::fcntl(m_output, F_SETFL, ::fcntl(m_output, F_GETFL) | O_NONBLOCK);
    }

    ~OutputChild() {
        if (m_pid > 0 && !m_exitCode) {
            ::kill(m_pid, SIGKILL);
            int status = 0;
            ::waitpid(m_pid, &status, 0);
        }
        if (m_output >= 0) {
            ::close(m_output);
        }
    }

    OutputChild(const OutputChild&) = delete;
    OutputChild& operator=(const OutputChild&) = delete;

    bool started() const { return m_pid > 0; }

    /// Reads what the program prints until `condition(text so far)` holds (true) or `deadline`
    /// has passed or the program closed its output without it holding (false).
    template <typename Condition>
    bool readUntil(Condition condition, std::chrono::milliseconds deadline) {
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (!condition(m_text)) {
            if (!readAvailable() || std::chrono::steady_clock::now() >= end) {
                return condition(m_text);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    /// Sends `signal` and waits up to `deadline` for the program to end, reading what it prints
    /// meanwhile; its exit code, or nothing if it is still running (or ended by a signal, then
    /// -signal).
    std::optional<int> stop(int signal, std::chrono::milliseconds deadline) {
        if (m_pid <= 0) {
            return std::nullopt;
        }
        ::kill(m_pid, signal);
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (!m_exitCode && std::chrono::steady_clock::now() < end) {
            readAvailable();
            int status = 0;
            if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        }
        readAvailable();
        return m_exitCode;
    }

    /// Waits up to `deadline` for the program to end by itself, as stop() does without sending
    /// a signal (signal 0 only checks that the process exists).
    std::optional<int> waitForExit(std::chrono::milliseconds deadline) { return stop(0, deadline); }

    /// Whether the program has installed a handler of signal `number` (it shows in the SigCgt
    /// mask of /proc/PID/status), so that the signal no longer ends it at once.
    bool catchesSignal(int number) const {
        std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("SigCgt:", 0) == 0) {
                const unsigned long long mask = std::stoull(line.substr(7), nullptr, 16);
                return ((mask >> (number - 1)) & 1U) != 0;
            }
        }
        return false;
    }

    /// Everything read so far.
    const std::string& text() const { return m_text; }

  private:
    /// Appends what the output holds now; false once the program has closed it (a pipe reads
    /// 0 bytes, a terminal fails with EIO).
    bool readAvailable() {
        char buffer[4096];
        for (;;) {
            const ssize_t count = ::read(m_output, buffer, sizeof(buffer));
            if (count > 0) {
                m_text.append(buffer, static_cast<std::size_t>(count));
                continue;
            }
            return count < 0 && errno == EAGAIN;
        }
    }

    pid_t m_pid = -1;
    int m_output = -1;
    std::string m_text;
    std::optional<int> m_exitCode;
};

}  // namespace qorE2eTest
