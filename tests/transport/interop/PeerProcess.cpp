#include "PeerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace qorInterop {

namespace {

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("cannot create a pipe: ") + std::strerror(errno));
    }
    return ends;
}

// In the child, between fork and exec: only async-signal-safe calls.
[[noreturn]] void becomePeer(char* const* argv, int outFd, int errFd, pid_t parent) {
    // The peer must not outlive a test process that crashes or is killed.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(127);
    }
    const int devNull = open("/dev/null", O_RDONLY);
    if (devNull < 0 || dup2(devNull, STDIN_FILENO) < 0 || dup2(outFd, STDOUT_FILENO) < 0 ||
        dup2(errFd, STDERR_FILENO) < 0) {
        _exit(127);
    }
    // The test process's sockets and files are none of the peer's business.
    close_range(3, ~0U, 0);
    execv(argv[0], argv);
    _exit(127);
}

}  // namespace

PeerProcess::PeerProcess(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        throw std::runtime_error("no program to start");
    }
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    const std::array<int, 2> out = makePipe();
    const std::array<int, 2> err = makePipe();
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid < 0) {
        const int error = errno;
        for (int fd : {out[0], out[1], err[0], err[1]}) {
            close(fd);
        }
        throw std::runtime_error("cannot start " + arguments[0] + ": " + std::strerror(error));
    }
    if (m_pid == 0) {
        becomePeer(argv.data(), out[1], err[1], parent);
    }
    close(out[1]);
    close(err[1]);
    m_reader = std::thread([this, out, err] { readOutput(out[0], err[0]); });
}

PeerProcess::~PeerProcess() {
    bool ended = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ended = m_ended;
    }
    if (!ended) {
        kill(m_pid, SIGKILL);
    }
    m_reader.join();
}

void PeerProcess::readOutput(int outFd, int errFd) {
    std::array<pollfd, 2> fds{pollfd{outFd, POLLIN, 0}, pollfd{errFd, POLLIN, 0}};
    std::array<char, 65536> buffer{};
    int openPipes = 2;
    while (openPipes > 0) {
        if (poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        for (pollfd& entry : fds) {
            if (entry.fd < 0 || entry.revents == 0) {
                continue;
            }
            const ssize_t count = read(entry.fd, buffer.data(), buffer.size());
            if (count <= 0) {
                close(entry.fd);
                entry.fd = -1;
                --openPipes;
                continue;
            }
            const std::string text(buffer.data(), static_cast<std::size_t>(count));
            std::lock_guard<std::mutex> lock(m_mutex);
            if (entry.fd == errFd) {
                m_errors += text;
                continue;
            }
            m_partialLine += text;
            std::size_t start = 0;
            for (std::size_t end = m_partialLine.find('\n'); end != std::string::npos;
                 end = m_partialLine.find('\n', start)) {
                m_lines.push_back(m_partialLine.substr(start, end - start));
                start = end + 1;
            }
            m_partialLine.erase(0, start);
            m_changed.notify_all();
        }
    }
    for (const pollfd& entry : fds) {
        if (entry.fd >= 0) {
            close(entry.fd);
        }
    }
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_ended = true;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    m_changed.notify_all();
}

std::optional<std::size_t> PeerProcess::waitForLine(
    const std::function<bool(const std::string&)>& match, Deadline deadline, std::size_t from) {
    std::unique_lock<std::mutex> lock(m_mutex);
    std::size_t next = from;
    for (;;) {
        for (; next < m_lines.size(); ++next) {
            if (match(m_lines[next])) {
                return next;
            }
        }
        if (m_ended) {
            return std::nullopt;
        }
        if (m_changed.wait_until(lock, deadline) == std::cv_status::timeout &&
            next == m_lines.size()) {
            return std::nullopt;
        }
    }
}

std::optional<std::size_t> PeerProcess::waitForLine(const std::string& line, Deadline deadline,
                                                    std::size_t from) {
    return waitForLine([&line](const std::string& candidate) { return candidate == line; },
                       deadline, from);
}

std::optional<std::vector<std::string>> PeerProcess::waitForSample(std::size_t index,
                                                                   Deadline deadline) {
    const auto first = waitForLine("sample " + std::to_string(index), deadline);
    if (!first) {
        return std::nullopt;
    }
    const auto last = waitForLine("end", deadline, *first + 1);
    if (!last) {
        return std::nullopt;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto begin = m_lines.begin() + static_cast<std::ptrdiff_t>(*first + 1);
    return std::vector<std::string>(begin, m_lines.begin() + static_cast<std::ptrdiff_t>(*last));
}

void PeerProcess::stop() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_ended) {
        kill(m_pid, SIGTERM);
    }
}

std::optional<int> PeerProcess::waitForExit(Deadline deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_until(lock, deadline, [this] { return m_ended; })) {
        return std::nullopt;
    }
    return m_status;
}

std::vector<std::string> PeerProcess::lines() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

std::string PeerProcess::errorOutput() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_errors;
}

std::string PeerProcess::transcript() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string text = "--- peer output:\n";
    for (const std::string& line : m_lines) {
        // A printed image is one very long line; its start is enough to explain a failure.
        text += line.size() > 200 ? line.substr(0, 200) + "..." : line;
        text += '\n';
    }
    text += m_partialLine + "--- peer errors:\n" + m_errors;
    return text;
}

}  // namespace qorInterop
