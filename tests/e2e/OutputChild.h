#pragma once

// A program started by a test whose standard output is read while it runs: lines are collected
// until a condition on them holds or a deadline passes, and the program is killed and reaped at
// destruction if it is still running.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace qorE2eTest {

class OutputChild {
  public:
    /// Starts `argv` (argv[0] is the program's path) with the test's environment.
    explicit OutputChild(const std::vector<std::string>& argv) {
        int pipeEnds[2] = {-1, -1};
        if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
        posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
        std::vector<char*> pointers;
        for (const std::string& arg : argv) {
            pointers.push_back(const_cast<char*>(arg.c_str()));
        }
        pointers.push_back(nullptr);
        if (posix_spawn(&m_pid, pointers[0], &actions, nullptr, pointers.data(), environ) != 0) {
            m_pid = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(pipeEnds[1]);
        m_output = pipeEnds[0];
        ::fcntl(m_output, F_SETFL, ::fcntl(m_output, F_GETFL) | O_NONBLOCK);
    }

    ~OutputChild() {
        if (m_pid > 0) {
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
        char buffer[4096];
        while (!condition(m_text)) {
            const ssize_t count = ::read(m_output, buffer, sizeof(buffer));
            if (count > 0) {
                m_text.append(buffer, static_cast<std::size_t>(count));
                continue;
            }
            if (count == 0 || std::chrono::steady_clock::now() >= end) {
                return condition(m_text);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    /// Everything read so far.
    const std::string& text() const { return m_text; }

  private:
    pid_t m_pid = -1;
    int m_output = -1;
    std::string m_text;
};

}  // namespace qorE2eTest
