#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "NotifyTestSupport.h"
#include "qor/Notify.h"

namespace qor::test {
namespace {

using ::testing::ElementsAre;

TEST(NotifyThreads, EachThreadComposesOnItsOwnStream) {
    const NotifyLineCollector collector;
    std::ostream& mine = Notify::getThreadStringStream();
    mine << Notify::setDebugStrings(WARNING, "", -1, "") << "started here";

    const std::ostream* theirs = nullptr;
    std::thread other([&theirs] {
        theirs = &Notify::getThreadStringStream();
        logLine(ERROR, "other thread");
    });
    other.join();

    mine << ", finished here" << Notify::end();
    EXPECT_NE(theirs, &mine);
    EXPECT_THAT(collector.lines(),
                ElementsAre("Error: other thread", "Warning: started here, finished here"));
    EXPECT_THAT(collector.levels(), ElementsAre(ERROR, WARNING));
}

TEST(NotifyThreads, ConcurrentLinesArriveIntact) {
    constexpr int kThreads = 2;
    constexpr int kLinesPerThread = 1000;
    const NotifyLineCollector collector;

    auto compose = [](int thread) {
        for (int i = 0; i < kLinesPerThread; ++i) {
            // Many small pieces per line, to give the threads every chance to mix them.
            std::ostream& out = Notify::getThreadStringStream();
            out << Notify::setDebugStrings(WARNING, "", -1, "") << "thread " << thread << " line "
                << i << " of " << kLinesPerThread << std::endl
                << Notify::end();
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(compose, thread);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::vector<std::string> lines = collector.lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLinesPerThread));
    const std::regex shape("Warning: thread ([0-9]+) line ([0-9]+) of 1000");
    std::vector<int> nextLine(kThreads, 0);
    for (const std::string& line : lines) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, shape)) << line;
        const int thread = std::stoi(match[1].str());
        ASSERT_GE(thread, 0);
        ASSERT_LT(thread, kThreads);
        // Each thread's lines arrive once each and in the order it wrote them.
        ASSERT_EQ(std::stoi(match[2].str()), nextLine[static_cast<std::size_t>(thread)]);
        ++nextLine[static_cast<std::size_t>(thread)];
    }
    EXPECT_THAT(nextLine, ElementsAre(kLinesPerThread, kLinesPerThread));
    for (int level : collector.levels()) {
        ASSERT_EQ(level, WARNING);
    }
}

}  // namespace
}  // namespace qor::test
