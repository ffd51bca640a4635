// Records travel both ways between our transport and Eclipse Cyclone DDS: our publisher sends a
// record, a Cyclone peer decodes it into idlc's C struct and prints its values, another Cyclone
// peer decodes it and writes it back, and our subscriber decodes what Cyclone encoded.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "InteropRecords.h"
#include "InteropTesting.h"
#include "MessageTypeTesting.h"
#include "PeerProcess.h"
#include "RecordText.h"
#include "RecordWalk.h"
#include "StandardRecords.h"
#include "WaitFor.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;

template <typename Record>
class CycloneEcho : public ::testing::Test {};
TYPED_TEST_SUITE(CycloneEcho, qorInterop::StandardRecords, qorTest::RecordTestName);

TYPED_TEST(CycloneEcho, ComesBackUnchangedAndPrintsAsSent) {
    using Record = TypeParam;
    const Record sent = qorInterop::interopRecord<Record>();
    const std::string type = rosTypeName<Record>();
    const std::string name =
        std::string(MessageDescription<Record>::package) + "_" + MessageDescription<Record>::name;
    const std::string outTopic = qorInterop::interopTopic(name + "_out");
    const std::string backTopic = qorInterop::interopTopic(name + "_back");
    const std::int8_t domain = qorInterop::interopDomain();
    const auto deadline = qorTest::Deadline(qorInterop::patience);

    // The peers first: they hear the announcement our participant makes when it starts, so they
    // know it before it answers their own (see peer/CycloneDomain.h).
    PeerProcess echo({qorInterop::peerProgram(), "echo", type, outTopic, backTopic, "1", "--domain",
                      std::to_string(domain)});
    PeerProcess print({qorInterop::peerProgram(), "print", type, outTopic, "1", "--domain",
                       std::to_string(domain)});
    ASSERT_TRUE(echo.waitForLine("ready", deadline)) << echo.transcript();
    ASSERT_TRUE(print.waitForLine("ready", deadline)) << print.transcript();

    Publisher<Record> publisher(outTopic, QOS{}, domain);
    Subscriber<Record> subscriber(backTopic, QOS{}, domain);

    ASSERT_TRUE(echo.waitForLine("reader-matched 1", deadline)) << echo.transcript();
    ASSERT_TRUE(echo.waitForLine("writer-matched 1", deadline)) << echo.transcript();
    ASSERT_TRUE(print.waitForLine("reader-matched 1", deadline)) << print.transcript();
    ASSERT_TRUE(qorTest::waitFor(
        [&] {
            return publisher.matchedSubscriptions() == 2 && subscriber.matchedPublications() == 1;
        },
        deadline))
        << "publisher matched " << publisher.matchedSubscriptions() << ", subscriber matched "
        << subscriber.matchedPublications();

    // A Cyclone reader takes the first heartbeat it sees from a new writer as the point from
    // which it wants data; a sample written before that heartbeat arrives, even one written after
    // both sides matched, counts as history a volatile reader never asked for. So the record is
    // sent again until it has come through; every copy is the same record.
    Record received{};
    bool echoed = false;
    const bool through = qorTest::repeatUntil(
        [&] { EXPECT_TRUE(publisher.sendMessage(sent)); },
        [&] {
            echoed = echoed || subscriber.receiveMessage(received);
            return echoed &&
                   print.waitForLine("end", qorTest::Deadline(std::chrono::milliseconds(0)));
        },
        std::chrono::milliseconds(300), deadline);
    ASSERT_TRUE(through) << echo.transcript() << print.transcript();

    EXPECT_TRUE(qorTest::sameContents(sent, received));
    EXPECT_EQ(subscriber.droppedSamples(), 0U);
    const auto printed = print.waitForSample(0, deadline);
    ASSERT_TRUE(printed) << print.transcript();
    EXPECT_EQ(qorInterop::firstDifference(qorInterop::recordLines(sent), *printed), "");

    EXPECT_EQ(echo.waitForExit(deadline), 0) << echo.transcript();
    EXPECT_EQ(print.waitForExit(deadline), 0) << print.transcript();
    EXPECT_EQ(echo.errors(), "");
    EXPECT_EQ(print.errors(), "");
}

}  // namespace
