// Quality-of-service pairs that ROS 2 users meet between our transport and Eclipse Cyclone DDS:
// whether a Cyclone reader of a given reliability matches our writer, and receives from it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "InteropRecords.h"
#include "InteropTesting.h"
#include "PeerProcess.h"
#include "RecordText.h"
#include "WaitFor.h"
#include "qorROS2/Publisher.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;

constexpr std::chrono::milliseconds resendInterval{100};

PeerProcess printPeer(const std::string& topic, const char* reliability) {
    return PeerProcess({qorInterop::peerProgram(), "print", rosTypeName<rosgraphMsgs::Clock>(),
                        topic, "1", "--reliability", reliability, "--domain",
                        std::to_string(qorInterop::interopDomain())});
}

bool hasLineStartingWith(const PeerProcess& peer, const std::string& start) {
    const auto lines = peer.lines();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.rfind(start, 0) == 0; });
}

// ROS 2 subscribes to the clock best effort; our clock publisher is reliable, which serves both.
TEST(CycloneQos, BestEffortReaderReceivesFromReliableWriter) {
    const std::string topic = qorInterop::interopTopic("clock_reliable_writer");
    const auto deadline = qorTest::Deadline(qorInterop::patience);
    const rosgraphMsgs::Clock sent = qorInterop::interopRecord<rosgraphMsgs::Clock>();

    PeerProcess reader = printPeer(topic, "best_effort");
    ASSERT_TRUE(reader.waitForLine("ready", deadline)) << reader.transcript();
    Publisher<rosgraphMsgs::Clock> publisher(topic, createClockQOS(), qorInterop::interopDomain());

    ASSERT_TRUE(reader.waitForLine("reader-matched 1", deadline)) << reader.transcript();
    ASSERT_TRUE(qorTest::waitFor([&] { return publisher.matchedSubscriptions() == 1; }, deadline));
    // Best effort may lose a sample, and a new reader may not take the first one: send until
    // one has arrived.
    ASSERT_TRUE(qorTest::repeatUntil(
        [&] { EXPECT_TRUE(publisher.sendMessage(sent)); },
        [&] {
            return reader.waitForLine("end", qorTest::Deadline(std::chrono::milliseconds(0)))
                .has_value();
        },
        resendInterval, deadline))
        << reader.transcript();

    const auto printed = reader.waitForSample(0, deadline);
    ASSERT_TRUE(printed) << reader.transcript();
    EXPECT_EQ(qorInterop::firstDifference(qorInterop::recordLines(sent), *printed), "");
    EXPECT_EQ(reader.waitForExit(deadline), 0) << reader.transcript();
    EXPECT_EQ(reader.errors(), "");
}

// A reliable reader asks for more than a best-effort writer offers: DDS must not match them.
// A best-effort reader that joins later proves that samples were flowing all along.
TEST(CycloneQos, BestEffortWriterDoesNotMatchReliableReader) {
    const std::string topic = qorInterop::interopTopic("clock_best_effort_writer");
    const auto deadline = qorTest::Deadline(qorInterop::patience);
    const rosgraphMsgs::Clock sent = qorInterop::interopRecord<rosgraphMsgs::Clock>();

    PeerProcess reliable = printPeer(topic, "reliable");
    ASSERT_TRUE(reliable.waitForLine("ready", deadline)) << reliable.transcript();
    Publisher<rosgraphMsgs::Clock> publisher(topic, createSensorDataQOS(),
                                             qorInterop::interopDomain());

    // The reliable reader has seen our writer and refused it.
    ASSERT_TRUE(reliable.waitForLine("reader-incompatible-qos RELIABILITY", deadline))
        << reliable.transcript();
    EXPECT_EQ(publisher.matchedSubscriptions(), 0U);

    PeerProcess control = printPeer(topic, "best_effort");
    ASSERT_TRUE(control.waitForLine("reader-matched 1", deadline)) << control.transcript();
    ASSERT_TRUE(qorTest::waitFor([&] { return publisher.matchedSubscriptions() == 1; }, deadline));
    std::size_t mostMatched = 0;
    ASSERT_TRUE(qorTest::repeatUntil(
        [&] { EXPECT_TRUE(publisher.sendMessage(sent)); },
        [&] {
            mostMatched = std::max(mostMatched, publisher.matchedSubscriptions());
            return control.waitForLine("end", qorTest::Deadline(std::chrono::milliseconds(0)))
                .has_value();
        },
        resendInterval, deadline))
        << control.transcript();
    EXPECT_EQ(control.waitForExit(deadline), 0) << control.transcript();

    // Only the control reader was ever matched and got a sample; the reliable one got none.
    EXPECT_EQ(mostMatched, 1U);
    reliable.stop();
    EXPECT_EQ(reliable.waitForExit(deadline), 0) << reliable.transcript();
    EXPECT_TRUE(reliable.waitForLine("stopped received=0", deadline)) << reliable.transcript();
    EXPECT_FALSE(hasLineStartingWith(reliable, "reader-matched")) << reliable.transcript();
    EXPECT_FALSE(hasLineStartingWith(reliable, "sample")) << reliable.transcript();
    EXPECT_EQ(reliable.errors(), "");
    EXPECT_EQ(control.errors(), "");
}

}  // namespace
