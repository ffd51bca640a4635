// The server's own thread: named, and as far below its maker on the nice scale as it was told,
// so that a simulation serving its web view keeps the CPU it needs.

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

#include "qorROS2/web/FoxgloveServer.h"

namespace {

using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;

// The nice value of this process's thread named `name`; none when no thread has that name.
std::optional<int> niceOfThreadNamed(const std::string& name) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string threadName;
        std::getline(comm, threadName);
        if (threadName != name) {
            continue;
        }
        errno = 0;
        const int nice =
            getpriority(PRIO_PROCESS, static_cast<id_t>(std::stoi(task.path().filename())));
        if (errno != 0) {
            return std::nullopt;
        }
        return nice;
    }
    return std::nullopt;
}

// The thread is named and lowered on its own, just after the server starts it.
std::optional<int> niceOfServerThread() {
    for (int attempt = 0; attempt < 500; ++attempt) {
        if (const auto nice = niceOfThreadNamed("qor-web")) {
            return nice;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return std::nullopt;
}

int ownNice() {
    return getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
}

ServerOptions withNiceness(int niceness) {
    ServerOptions options;
    options.port = 0;
    options.niceness = niceness;
    return options;
}

TEST(ServerThread, RunsAtItsMakersPriorityUnlessToldOtherwise) {
    ASSERT_LT(ownNice(), 10) << "the test runs too low on the nice scale to see a difference";
    FoxgloveServer server(withNiceness(0));
    EXPECT_EQ(niceOfServerThread(), ownNice());
    EXPECT_EQ(server.niceness(), 0);
}

TEST(ServerThread, RunsAsManyNiceStepsBelowItsMakerAsTold) {
    ASSERT_LT(ownNice(), 10) << "the test runs too low on the nice scale to see a difference";
    FoxgloveServer server(withNiceness(7));
    EXPECT_EQ(niceOfServerThread(), ownNice() + 7);
    EXPECT_EQ(server.niceness(), 7);
}

TEST(ServerThread, StopsAtTheBottomOfTheNiceScale) {
    ASSERT_LT(ownNice(), 10) << "the test runs too low on the nice scale to see a difference";
    FoxgloveServer server(withNiceness(19));
    EXPECT_EQ(niceOfServerThread(), std::min(ownNice() + 19, 19));
}

TEST(ServerThread, ANicenessOffTheScaleIsRefused) {
    for (const int niceness : {-1, 20, 1000}) {
        try {
            FoxgloveServer server(withNiceness(niceness));
            ADD_FAILURE() << "accepted " << niceness;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(std::string(error.what()),
                      "web server: a niceness of " + std::to_string(niceness) +
                          " is not a step of the nice scale from 0 to 19");
        }
    }
}

TEST(ServerThread, AFeedingThreadLowersItselfAsTheServerDoes) {
    ASSERT_LT(ownNice(), 10) << "the test runs too low on the nice scale to see a difference";
    const int maker = ownNice();
    int seen = -100;
    std::thread feeder([&seen] {
        qorROS2::web::lowerCallingThread(4);
        seen = ownNice();
    });
    feeder.join();
    EXPECT_EQ(seen, maker + 4);
    EXPECT_EQ(ownNice(), maker) << "the caller's own thread was lowered";
}

}  // namespace
