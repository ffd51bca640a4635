// Proves the type hashes: against values ROS 2 itself published, and every message type (the
// design's 89 and the further ones) against an independent computation in node from an
// independent copy of ROS 2's definitions.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "MessageTypeTesting.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2::typesupport;

std::string hashOf(const std::string& name) {
    return getTypeSupport(name).typeHash();
}

// The values rosidl generated for ROS 2 Jazzy, as ROS 2's own notes and generated sources give
// them.
TEST(TypeHash, MatchesPublishedValuesForStringTwistClockJointState) {
    EXPECT_EQ(hashOf("std_msgs/msg/String"),
              "RIHS01_df668c740482bbd48fb39d76a70dfd4bd59db1288021743503259e948f6b1a18");
    EXPECT_EQ(hashOf("geometry_msgs/msg/Twist"),
              "RIHS01_9c45bf16fe0983d80e3cfe750d6835843d265a9a6c46bd2e609fcddde6fb8d2a");
    EXPECT_EQ(hashOf("rosgraph_msgs/msg/Clock"),
              "RIHS01_692f7a66e93a3c83e71765d033b60349ba68023a8c689a79e48078bcb5c58564");
    EXPECT_EQ(hashOf("sensor_msgs/msg/JointState"),
              "RIHS01_a13ee3a330e346c9d87b5aa18d24e11690752bd33a0350f11c5882bc9179260e");
}

TEST(TypeHash, MatchesPublishedValuesForTimeAndPoint) {
    EXPECT_EQ(hashOf("builtin_interfaces/msg/Time"),
              "RIHS01_b106235e25a4c5ed35098aa0a61a3ee9c9b18d197f398b0e4206cea9acf9c197");
    EXPECT_EQ(hashOf("geometry_msgs/msg/Point"),
              "RIHS01_6963084842a9b04494d6b2941d11444708d892da2f4b09843b9c43f42a7f6881");
}

// The three decisions rosidl takes that a reader of the .msg text could get wrong: `byte` keeps
// its own type id, `char` is hashed as uint8, and the empty message hashes the one member its
// generated structures have. The values are those rosidl generated into std_msgs.
TEST(TypeHash, MatchesPublishedValuesForByteCharEmpty) {
    EXPECT_EQ(hashOf("std_msgs/msg/Byte"),
              "RIHS01_41e1a3345f73fe93ede006da826a6ee274af23dd4653976ff249b0f44e3e798f");
    EXPECT_EQ(hashOf("std_msgs/msg/Char"),
              "RIHS01_3ad2d04dd29ba19d04b16659afa3ccaedd691914b02a64e82e252f2fa6a586a9");
    EXPECT_EQ(hashOf("std_msgs/msg/Empty"),
              "RIHS01_20b625256f32d5dbc0d04fee44f43c41e51c70d3502f84b4a08e7a9c26a96312");
}

TEST(TypeHash, MatchesPublishedValuesForHeaderFloat64ColorRGBA) {
    EXPECT_EQ(hashOf("std_msgs/msg/Header"),
              "RIHS01_f49fb3ae2cf070f793645ff749683ac6b06203e41c891e17701b1cb597ce6a01");
    EXPECT_EQ(hashOf("std_msgs/msg/Float64"),
              "RIHS01_705ba9c3d1a09df43737eb67095534de36fd426c0587779bda2bc51fe790182a");
    EXPECT_EQ(hashOf("std_msgs/msg/ColorRGBA"),
              "RIHS01_77a7a5b9ae477306097665106e0413ba74440245b1f3d0c6d6405fe5c7813fe8");
}

// The ROS 2 Jazzy value, as ROS2-FACTS and the tf2 tools give it.
TEST(TypeHash, MatchesThePublishedValueForTFMessage) {
    EXPECT_EQ(hashOf("tf2_msgs/msg/TFMessage"),
              "RIHS01_e369d0f05a23ae52508854b66f6aa0437f3449d652e8cbf22d5abe85d020f087");
}

using PeerHashes = std::map<std::string, std::map<std::string, std::string>>;  // distribution, type

// Runs the peer: "<distribution> <type> <hash>" per line.
PeerHashes loadPeerHashes() {
    const std::string command = std::string("\"") + QOR_NODE_EXECUTABLE + "\" \"" +
                                QOR_TEST_PEERS_DIR + "/type-hashes.js\" ros2jazzy ros2humble";
    std::istringstream lines(qorTest::commandOutput(command));
    PeerHashes hashes;
    std::string distribution;
    std::string type;
    std::string hash;
    while (lines >> distribution >> type >> hash) {
        hashes[distribution][type] = hash;
    }
    return hashes;
}

const PeerHashes& peerHashes() {
    static const PeerHashes loaded = loadPeerHashes();
    return loaded;
}

template <typename Record>
class TypeHashOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(TypeHashOfEveryType, qorTest::AllMessageTypeRecords, qorTest::RecordTestName);

TYPED_TEST(TypeHashOfEveryType, MatchesThePeersComputationFromRosDefinitions) {
    const std::string name = qorROS2::rosTypeName<TypeParam>();
    const auto& jazzy = peerHashes().at("ros2jazzy");
    const auto& humble = peerHashes().at("ros2humble");
    if (name == "service_msgs/msg/ServiceEventInfo") {
        // The peer's copy of the definitions has no service_msgs; rosidl generated this value
        // into the type descriptions of every Jazzy service.
        EXPECT_EQ(jazzy.count(name), 0U);
        EXPECT_EQ(hashOf(name),
                  "RIHS01_41bcbbe07a75c9b52bc96bfd5c24d7f0fc0a08c0cb7921b3373c5732345a6f45");
        return;
    }
    ASSERT_EQ(jazzy.count(name), 1U) << "the peer has no definition of " << name;
    if (name == "sensor_msgs/msg/Range") {
        // Jazzy added `float32 variance`, which the records, following Humble, do not have: the
        // hash is checked against Humble's definition, and differs from Jazzy's.
        EXPECT_EQ(hashOf(name), humble.at(name));
        EXPECT_NE(hashOf(name), jazzy.at(name));
    } else {
        EXPECT_EQ(hashOf(name), jazzy.at(name));
    }
}

}  // namespace
