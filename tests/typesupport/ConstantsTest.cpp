// Proves the table of constants against ROS 2 Humble's definitions as an independent package
// carries them: every constant of every type, its type, value and place among the fields.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "MessageTypeTesting.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

// "uint8 FLOAT32 7 name": type, name, value and the field declared next ("-" for none).
using ConstantLines = std::map<std::string, std::vector<std::string>>;  // by "pkg/Name"

ConstantLines loadPeerConstants() {
    const std::string command = std::string("\"") + QOR_NODE_EXECUTABLE + "\" \"" +
                                QOR_TEST_PEERS_DIR + "/dump-constants.js\" ros2humble";
    std::istringstream lines(qorTest::commandOutput(command));
    ConstantLines constants;
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string distribution;
        std::string type;
        words >> distribution >> type;
        std::string rest;
        std::getline(words, rest);
        constants[type].push_back(rest.substr(1));
    }
    return constants;
}

const ConstantLines& peerConstants() {
    static const ConstantLines loaded = loadPeerConstants();
    return loaded;
}

std::vector<std::string> ourConstants(const TypeSupport& type) {
    std::vector<std::string> lines;
    for (const ConstantDescription& constant : type.constants()) {
        const std::string next = constant.beforeField < type.fields().size()
                                     ? type.fields()[constant.beforeField].name
                                     : std::string("-");
        lines.push_back(constant.type + " " + constant.name + " " + constant.value + " " + next);
    }
    return lines;
}

template <typename Record>
class ConstantsOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(ConstantsOfEveryType, qorTest::AllMessageTypeRecords, qorTest::RecordTestName);

TYPED_TEST(ConstantsOfEveryType, AreThoseOfRosHumblesDefinitionInOrder) {
    const std::string key = std::string(MessageDescription<TypeParam>::package) + "/" +
                            MessageDescription<TypeParam>::name;
    const auto found = peerConstants().find(key);
    std::vector<std::string> expected =
        found == peerConstants().end() ? std::vector<std::string>() : found->second;
    if (key == "service_msgs/ServiceEventInfo") {
        // Humble has no service_msgs, so neither has the peer's copy; these are Jazzy's.
        EXPECT_TRUE(expected.empty());
        expected = {"uint8 REQUEST_SENT 0 event_type", "uint8 REQUEST_RECEIVED 1 event_type",
                    "uint8 RESPONSE_SENT 2 event_type", "uint8 RESPONSE_RECEIVED 3 event_type"};
    }
    EXPECT_EQ(ourConstants(getTypeSupport(key)), expected);
}

// Counted over the types both know: the peer's packages have types we do not (tf2_msgs/TF2Error),
// and Humble has no service_msgs.
TEST(Constants, AllOfRosHumblesConstantsOfOurTypesAreKnown) {
    std::size_t peerCount = 0;
    for (const auto& [type, lines] : peerConstants()) {
        if (findTypeSupport(type) != nullptr) {
            peerCount += lines.size();
        }
    }
    std::size_t ourCount = 0;
    for (const TypeSupport* type : typeSupports()) {
        if (peerConstants().count(type->description().shortName()) != 0) {
            ourCount += type->constants().size();
        }
    }
    EXPECT_EQ(ourCount, peerCount);
    EXPECT_EQ(ourCount, 46U + 5U + 10U);  // the design's types, Log, ParameterType
}

TEST(Constants, OfAServicesRequestAreThoseOfItsDefinition) {
    const auto& constants =
        getServiceTypeSupport("rcl_interfaces/srv/ListParameters").request().constants();
    ASSERT_EQ(constants.size(), 1U);
    EXPECT_EQ(constants.front().declaration, "uint64 DEPTH_RECURSIVE=0");
    EXPECT_EQ(constants.front().beforeField, 0U);
}

TEST(Constants, OfATypeWithoutFieldsComeAfterItsNoFields) {
    const auto& constants = getTypeSupport("rcl_interfaces/msg/ParameterType").constants();
    ASSERT_EQ(constants.size(), 10U);
    EXPECT_EQ(constants.back().declaration, "uint8 PARAMETER_STRING_ARRAY=9");
    EXPECT_EQ(constants.back().beforeField, 0U);
}

TEST(Constants, KeepTheirDeclarationAsRosWritesIt) {
    const auto& constants = getTypeSupport("sensor_msgs/msg/NavSatStatus").constants();
    ASSERT_FALSE(constants.empty());
    EXPECT_EQ(constants.front().declaration, "int8 STATUS_NO_FIX =  -1");
    EXPECT_EQ(constants.front().type, "int8");
    EXPECT_EQ(constants.front().name, "STATUS_NO_FIX");
    EXPECT_EQ(constants.front().value, "-1");
}

}  // namespace
