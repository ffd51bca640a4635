// Readers in short-lived processes, one after another, of a writer that outlives them all: each
// new reader gets samples, even when the one before it was killed while it handled a sample.
// A process killed so leaves its shared-memory ports behind, and the next process of the host
// would take the same ports: the writer, still bound to the old ones, would then send it nothing.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "ChildProcess.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"

namespace {

constexpr int kKilledReaderDomain = 117;
constexpr int kReaderGenerations = 4;

TEST(KilledReaders, EachNewReaderProcessReceivesFromTheWriterThatOutlivedTheLast) {
    const std::string topic = "killed_readers_clock";
    qorROS2::Publisher<qorROS2::rosgraphMsgs::Clock> writer(topic, qorROS2::createClockQOS(),
                                                            kKilledReaderDomain);
    std::atomic<bool> stop{false};
    std::thread ticking([&writer, &stop] {
        qorROS2::rosgraphMsgs::Clock tick{};
        while (!stop.load()) {
            ++tick.clock.nanosec;
            writer.sendMessage(tick);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    for (int generation = 0; generation < kReaderGenerations; ++generation) {
        SCOPED_TRACE("reader process " + std::to_string(generation));
        // Killed (SIGKILL) when it goes out of scope, with its receiving thread held in the
        // callback of its first sample.
        qorTest::ChildProcess reader(
            {QOR_SHARED_MEMORY_PEER, "stall", std::to_string(kKilledReaderDomain), topic},
            {qorTest::ChildProcess::OUTPUT, {}, ""});
        ASSERT_TRUE(reader.started()) << reader.startError();
        const bool received =
            reader.waitForLine("received", qorTest::kDeliveryDeadline).has_value();
        EXPECT_TRUE(received) << "its output: " << reader.output()
                              << "\n/dev/shm ports of the domain: "
                              << qorTest::commandOutput("ls -l /dev/shm | grep -E 'port366[6-9]'");
        if (!received) {
            break;
        }
    }
    stop = true;
    ticking.join();
}

}  // namespace
