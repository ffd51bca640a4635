#pragma once

// A program started by a test: with its arguments, variables added to the test's environment and,
// if asked, inside a network namespace; its output kept as it comes; waited for with a deadline;
// and never left behind. A thread of its own reads the output (so that a program that prints much
// never blocks on a full pipe) and reaps the program as soon as it ends.

#include <sys/types.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "WaitFor.h"

namespace qorTest {

class ChildProcess {
  public:
    /// Where the program's standard output and standard error go.
    enum Output {
        INHERITED,  ///< both stay the test's (they show in the test's log)
        OUTPUT,     ///< standard output is kept; standard error stays the test's
        SEPARATE,   ///< each is kept on its own
        MERGED,     ///< both are kept together, in the order written, as `2>&1` does
        TERMINAL,   ///< both on one raw pseudo-terminal, as a user sees them (the bytes read are
                    ///< the bytes written, with no line-end translation)
    };

    struct Options {
        Output output = INHERITED;
        std::vector<std::string> environment;  ///< NAME=value, added to the test's or replacing
        std::string networkNamespace;          ///< a namespace `ip netns` made; "": the test's
    };

    /// Starts `argv` (argv[0] is a path, or a name looked up in PATH) with standard input from
    /// /dev/null, in a process group of its own. The program is killed should the thread that
    /// started it end first. See started() and startError() for whether it runs.
    ChildProcess(const std::vector<std::string>& argv, Options options);
    /// As above, with the test's output and environment.
    explicit ChildProcess(const std::vector<std::string>& argv);
    /// Kills the program and whatever it started in its process group, and reaps it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return m_pid > 0; }
    /// Why the program could not be started; "" when it was.
    const std::string& startError() const { return m_startError; }

    /// Sends `number` to the program; false once it has ended.
    bool signal(int number);
    /// The exit code once the program has ended (minus the signal that ended it, if one did);
    /// nothing while it still runs at `deadline`.
    std::optional<int> waitForExit(Deadline deadline);
    /// Sends `number`, then waits for the end as waitForExit does.
    std::optional<int> stop(int number, Deadline deadline);
    /// Whether the program has installed a handler of signal `number` (it shows in the SigCgt
    /// mask of /proc/PID/status), so that the signal no longer ends it at once.
    bool catchesSignal(int number) const;

    /// Waits until `condition` holds for all the output kept so far (true), or until `deadline`
    /// passes or the program ends without it holding (false).
    bool readUntil(const std::function<bool(const std::string&)>& condition, Deadline deadline);
    /// The index of the first complete line of output from `from` on that `match` accepts, once
    /// it has been written; nothing when the deadline passes or the program ends first.
    std::optional<std::size_t> waitForLine(const std::function<bool(const std::string&)>& match,
                                           Deadline deadline, std::size_t from = 0);
    /// As above, for a line equal to `line`.
    std::optional<std::size_t> waitForLine(const std::string& line, Deadline deadline,
                                           std::size_t from = 0);

    /// The output kept so far (standard output, or both streams when they are kept together).
    std::string output() const;
    /// The complete lines of output kept so far.
    std::vector<std::string> lines() const;
    /// Standard error kept so far, when it is kept on its own.
    std::string errors() const;

  private:
    void readAndReap(int outputFd, int errorFd);
    void append(std::string& kept, const char* bytes, std::size_t count, bool isOutput);

    pid_t m_pid = -1;
    int m_pidFd = -1;
    std::string m_startError;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_output;
    std::vector<std::string> m_lines;
    std::size_t m_lineStart = 0;
    std::string m_errors;
    std::optional<int> m_exitCode;
    std::thread m_reader;
};

/// What a finished program printed and how it ended.
struct RunResult {
    int exitCode = -1;   ///< its exit code; -1 when it did not exit normally, or in time
    std::string output;  ///< standard output (both streams when they were kept together)
    std::string errors;  ///< standard error, when it was kept on its own
};

/// Runs `argv` to its end, keeping its output as `options` says. At `deadline` it is asked to
/// stop (SIGTERM) and killed five seconds later.
RunResult runToCompletion(const std::vector<std::string>& argv,
                          const ChildProcess::Options& options, Deadline deadline);

/// Runs `command` through /bin/sh and returns what it wrote to its standard output; its errors
/// go to the test's. Stopped after five minutes at most.
std::string commandOutput(const std::string& command);

}  // namespace qorTest
