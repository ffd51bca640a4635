#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <linux/close_range.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

extern char** environ;

namespace qorTest {

namespace {

// After the program has ended, what it wrote is already buffered; whatever it left running in
// the background may still write. Reading stops when everybody has closed the output or it has
// been quiet this long.
constexpr int kQuietAfterExitMs = 500;

// Closes the descriptors it holds when it goes out of scope, unless released.
struct Descriptors {
    std::vector<int> fds;
    ~Descriptors() {
        for (const int fd : fds) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
    int add(int fd) {
        fds.push_back(fd);
        return fd;
    }
};

// `name` as execve wants it: itself when it holds a slash, else the first executable of that
// name in PATH; "" when there is none.
std::string programPath(const std::string& name) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    const char* path = std::getenv("PATH");
    std::string folders = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = folders.find(':', start);
        const std::string folder = folders.substr(start, end - start);
        const std::string candidate = (folder.empty() ? "." : folder) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        if (end == std::string::npos) {
            return "";
        }
        start = end + 1;
    }
}

// The test's environment with `added` (NAME=value entries) added, replacing same-named ones.
std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        bool replaced = false;
        for (const std::string& other : added) {
            replaced = replaced || other.substr(0, other.find('=')) == name;
        }
        if (!replaced) {
            entries.push_back(text);
        }
    }
    entries.insert(entries.end(), added.begin(), added.end());
    return entries;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

// What the child does between fork and exec: only async-signal-safe calls. `output` and `error`
// become its standard output and error (-1: the test's stay); `status` reports a failure.
[[noreturn]] void becomeProgram(const char* path, char* const* argv, char* const* envp,
                                int networkFd, int output, int error, int status, pid_t parent) {
    const auto fail = [status] {
        const int code = errno;
        [[maybe_unused]] const ssize_t written = ::write(status, &code, sizeof(code));
        ::_exit(127);
    };
    // Its own process group, so that whatever it starts can be ended with it.
    ::setpgid(0, 0);
    // The program must not outlive a test that crashes or is killed.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(127);
    }
    if (networkFd >= 0 && ::setns(networkFd, CLONE_NEWNET) != 0) {
        fail();
    }
    // Signals the test blocks or ignores are the program's to handle as it would anywhere.
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGINT, SIGTERM, SIGPIPE, SIGHUP, SIGQUIT}) {
        ::signal(number, SIG_DFL);
    }
    const int devNull = ::open("/dev/null", O_RDONLY);
    if (devNull < 0 || ::dup2(devNull, STDIN_FILENO) < 0 ||
        (output >= 0 && ::dup2(output, STDOUT_FILENO) < 0) ||
        (error >= 0 && ::dup2(error, STDERR_FILENO) < 0)) {
        fail();
    }
    // The test's sockets and files are none of the program's business.
    ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    ::execve(path, argv, envp);
    fail();
    ::_exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv) : ChildProcess(argv, Options()) {}

ChildProcess::ChildProcess(const std::vector<std::string>& argv, Options options) {
    if (argv.empty()) {
        m_startError = "no program to start";
        return;
    }
    const std::string path = programPath(argv[0]);
    if (path.empty()) {
        m_startError = "cannot start " + argv[0] + ": not found in PATH";
        return;
    }
    const std::vector<std::string> environment = environmentWith(options.environment);
    std::vector<char*> argPointers = pointersTo(argv);
    std::vector<char*> envPointers = pointersTo(environment);

    Descriptors parentEnds;  // closed unless handed to the reader
    Descriptors childEnds;   // closed in the test once the child holds them
    int networkFd = -1;
    if (!options.networkNamespace.empty()) {
        const std::string file = "/run/netns/" + options.networkNamespace;
        networkFd = childEnds.add(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        if (networkFd < 0) {
            m_startError = "cannot open " + file + ": " + std::strerror(errno);
            return;
        }
    }
    const auto makePipe = [&](int& readEnd, int& writeEnd) {
        std::array<int, 2> ends{-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            m_startError = std::string("cannot create a pipe: ") + std::strerror(errno);
            return false;
        }
        readEnd = parentEnds.add(ends[0]);
        writeEnd = childEnds.add(ends[1]);
        return true;
    };
    int outputRead = -1, outputWrite = -1, errorRead = -1, errorWrite = -1;
    switch (options.output) {
        case INHERITED:
            break;
        case OUTPUT:
        case MERGED:
            if (!makePipe(outputRead, outputWrite)) {
                return;
            }
            errorWrite = options.output == MERGED ? outputWrite : -1;
            break;
        case SEPARATE:
            if (!makePipe(outputRead, outputWrite) || !makePipe(errorRead, errorWrite)) {
                return;
            }
            break;
        case TERMINAL: {
            termios raw{};
            ::cfmakeraw(&raw);
            if (::openpty(&outputRead, &outputWrite, nullptr, &raw, nullptr) != 0) {
                m_startError = std::string("cannot open a terminal: ") + std::strerror(errno);
                return;
            }
            parentEnds.add(outputRead);
            childEnds.add(outputWrite);
            ::fcntl(outputRead, F_SETFD, FD_CLOEXEC);
            ::fcntl(outputWrite, F_SETFD, FD_CLOEXEC);
            errorWrite = outputWrite;
            break;
        }
    }
    int statusRead = -1, statusWrite = -1;
    if (!makePipe(statusRead, statusWrite)) {
        return;
    }

    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        m_startError = "cannot start " + argv[0] + ": " + std::strerror(errno);
        return;
    }
    if (pid == 0) {
        becomeProgram(path.c_str(), argPointers.data(), envPointers.data(), networkFd, outputWrite,
                      errorWrite, statusWrite, parent);
    }
    ::setpgid(pid, pid);  // as the child does itself: whichever runs first
    for (int& fd : childEnds.fds) {
        ::close(fd);
        fd = -1;
    }
    int code = 0;
    ssize_t count = 0;
    while ((count = ::read(statusRead, &code, sizeof(code))) < 0 && errno == EINTR) {
    }
    if (count > 0) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        m_startError = "cannot start " + argv[0] + ": " + std::strerror(code);
        return;
    }
    m_pid = pid;
    // Through syscall: the C library of Debian 12 declares its wrapper without C linkage.
    m_pidFd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    for (int& fd : parentEnds.fds) {
        if (fd == outputRead || fd == errorRead) {
            fd = -1;  // the reader's from now on
        }
    }
    m_reader = std::thread([this, outputRead, errorRead] { readAndReap(outputRead, errorRead); });
}

ChildProcess::~ChildProcess() {
    if (m_pid <= 0) {
        return;
    }
    // The whole group: what the program started in the background must not outlive the test.
    ::kill(-m_pid, SIGKILL);
    m_reader.join();
    ::close(m_pidFd);
}

void ChildProcess::readAndReap(int outputFd, int errorFd) {
    std::array<pollfd, 3> fds{pollfd{outputFd, POLLIN, 0}, pollfd{errorFd, POLLIN, 0},
                              pollfd{m_pidFd, POLLIN, 0}};
    std::array<char, 65536> buffer{};
    bool exited = false;
    auto quietSince = std::chrono::steady_clock::now();
    for (;;) {
        const bool outputOpen = fds[0].fd >= 0 || fds[1].fd >= 0;
        if (exited && (!outputOpen || std::chrono::steady_clock::now() - quietSince >=
                                          std::chrono::milliseconds(kQuietAfterExitMs))) {
            break;
        }
        const int ready = ::poll(fds.data(), exited ? 2 : 3, exited ? kQuietAfterExitMs : -1);
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        for (std::size_t i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) {
                continue;
            }
            const ssize_t count = ::read(fds[i].fd, buffer.data(), buffer.size());
            if (count > 0) {
                append(i == 0 ? m_output : m_errors, buffer.data(), static_cast<std::size_t>(count),
                       i == 0);
                quietSince = std::chrono::steady_clock::now();
            } else if (count == 0 || errno != EINTR) {
                // The end of a pipe, or EIO from a terminal nobody holds any more.
                ::close(fds[i].fd);
                fds[i].fd = -1;
            }
        }
        if (!exited && (fds[2].revents & POLLIN) != 0) {
            exited = true;
            quietSince = std::chrono::steady_clock::now();
        }
    }
    for (std::size_t i = 0; i < 2; ++i) {
        if (fds[i].fd >= 0) {
            ::close(fds[i].fd);
        }
    }
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    m_changed.notify_all();
}

void ChildProcess::append(std::string& kept, const char* bytes, std::size_t count, bool isOutput) {
    std::lock_guard<std::mutex> lock(m_mutex);
    kept.append(bytes, count);
    if (isOutput) {
        for (std::size_t end = m_output.find('\n', m_lineStart); end != std::string::npos;
             end = m_output.find('\n', m_lineStart)) {
            m_lines.push_back(m_output.substr(m_lineStart, end - m_lineStart));
            m_lineStart = end + 1;
        }
    }
    m_changed.notify_all();
}

bool ChildProcess::signal(int number) {
    std::lock_guard<std::mutex> lock(m_mutex);
    // The pidfd names this program even once it has been reaped: no other process is hit.
    return m_pid > 0 && !m_exitCode &&
           ::syscall(SYS_pidfd_send_signal, m_pidFd, number, nullptr, 0) == 0;
}

std::optional<int> ChildProcess::waitForExit(Deadline deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_pid > 0) {
        m_changed.wait_until(lock, deadline.end(), [this] { return m_exitCode.has_value(); });
    }
    return m_exitCode;
}

std::optional<int> ChildProcess::stop(int number, Deadline deadline) {
    signal(number);
    return waitForExit(deadline);
}

bool ChildProcess::catchesSignal(int number) const {
    std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("SigCgt:", 0) == 0) {
            const unsigned long long mask = std::stoull(line.substr(7), nullptr, 16);
            return ((mask >> (number - 1)) & 1U) != 0;
        }
    }
    return false;
}

bool ChildProcess::readUntil(const std::function<bool(const std::string&)>& condition,
                             Deadline deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        // The condition may look at this object: it runs on a copy, with the lock released.
        const std::string text = m_output;
        const bool ended = m_exitCode.has_value() || m_pid <= 0;
        lock.unlock();
        if (condition(text)) {
            return true;
        }
        if (ended || deadline.passed()) {
            return false;
        }
        lock.lock();
        m_changed.wait_until(lock, deadline.end(), [&] {
            return m_output.size() != text.size() || m_exitCode.has_value();
        });
    }
}

std::optional<std::size_t> ChildProcess::waitForLine(
    const std::function<bool(const std::string&)>& match, Deadline deadline, std::size_t from) {
    std::unique_lock<std::mutex> lock(m_mutex);
    std::size_t next = from;
    for (;;) {
        for (; next < m_lines.size(); ++next) {
            if (match(m_lines[next])) {
                return next;
            }
        }
        if (m_exitCode || m_pid <= 0) {
            return std::nullopt;
        }
        if (!m_changed.wait_until(lock, deadline.end(), [&] {
                return m_lines.size() > next || m_exitCode.has_value();
            })) {
            return std::nullopt;
        }
    }
}

std::optional<std::size_t> ChildProcess::waitForLine(const std::string& line, Deadline deadline,
                                                     std::size_t from) {
    return waitForLine([&line](const std::string& candidate) { return candidate == line; },
                       deadline, from);
}

std::string ChildProcess::output() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_output;
}

std::vector<std::string> ChildProcess::lines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

std::string ChildProcess::errors() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_errors;
}

RunResult runToCompletion(const std::vector<std::string>& argv,
                          const ChildProcess::Options& options, Deadline deadline) {
    ChildProcess child(argv, options);
    RunResult result;
    if (!child.started()) {
        result.errors = child.startError();
        return result;
    }
    std::optional<int> exitCode = child.waitForExit(deadline);
    if (!exitCode) {
        exitCode = child.stop(SIGTERM, std::chrono::seconds(5));
    }
    result.exitCode = exitCode.value_or(-1) >= 0 ? *exitCode : -1;
    result.output = child.output();
    result.errors = child.errors();
    return result;
}

std::string commandOutput(const std::string& command) {
    ChildProcess::Options options;
    options.output = ChildProcess::OUTPUT;
    return runToCompletion({"/bin/sh", "-c", command}, options, std::chrono::minutes(5)).output;
}

}  // namespace qorTest
