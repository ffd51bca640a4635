#include "PeerProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace qorROS2::bench {
namespace {

volatile std::sig_atomic_t g_stopRequested = 0;

extern "C" void onStopSignal(int) {
    g_stopRequested = 1;
}

}  // namespace

PeerProcess::PeerProcess(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{"/proc/self/exe"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& argument : argv) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const int error =
        posix_spawn(&m_pid, "/proc/self/exe", nullptr, nullptr, pointers.data(), environ);
    if (error != 0) {
        throw std::runtime_error(std::string("cannot start the benchmark's peer: ") +
                                 std::strerror(error));
    }
}

PeerProcess::~PeerProcess() {
    stop();
}

int PeerProcess::stop() {
    if (m_pid < 0) {
        return 0;
    }
    ::kill(m_pid, SIGTERM);
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void watchForStop() {
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    // A peer whose benchmark died must not spin on forever.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

bool stopRequested() {
    return g_stopRequested != 0;
}

}  // namespace qorROS2::bench
