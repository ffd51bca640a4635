// Proves the records against the ROS 2 message definitions as an independent package carries
// them: member names, order and types, for every standard record.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "MessageTypeTesting.h"
#include "qorROS2/Messages.h"

namespace {

using namespace qorROS2;

using FieldLine = std::pair<std::string, std::string>;  // name, type
using Definitions = std::map<std::string, std::vector<FieldLine>>;

// Runs the peer script and reads its lines: "<distribution> <type> [<field> <field type>]".
std::map<std::string, Definitions> loadDefinitions() {
    const std::string command = std::string("\"") + QOR_NODE_EXECUTABLE + "\" \"" +
                                QOR_TEST_PEERS_DIR + "/dump-definitions.js\" ros2humble ros2jazzy";
    const std::string output = qorTest::commandOutput(command);
    std::map<std::string, Definitions> byDistribution;
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string distribution;
        std::string type;
        std::string field;
        std::string fieldType;
        words >> distribution >> type >> field >> fieldType;
        auto& fields = byDistribution[distribution][type];
        if (!field.empty()) {
            fields.emplace_back(field, fieldType);
        }
    }
    return byDistribution;
}

const std::map<std::string, Definitions>& definitions() {
    static const std::map<std::string, Definitions> loaded = loadDefinitions();
    return loaded;
}

// The peer spells a few types the way ROS 2 tooling sees them: the stamps as the primitives
// "time" and "duration", and both `byte` and `char` as "uint8".
std::string asPeerSpellsIt(const std::string& type) {
    const std::size_t bracket = type.find('[');
    const std::string element = type.substr(0, bracket);
    const std::string suffix = bracket == std::string::npos ? "" : type.substr(bracket);
    static const std::map<std::string, std::string> renamed = {
        {"builtin_interfaces/Time", "time"},
        {"builtin_interfaces/Duration", "duration"},
        {"byte", "uint8"},
        {"char", "uint8"}};
    const auto found = renamed.find(element);
    return (found == renamed.end() ? element : found->second) + suffix;
}

template <typename Record>
std::vector<FieldLine> ourFields() {
    std::vector<FieldLine> fields;
    forEachFieldOf<Record>([&fields](const auto& field) {
        // A C++ record cannot be empty; ROS 2's Empty has no field at all.
        if (std::string(field.name) != "structure_needs_at_least_one_member") {
            fields.emplace_back(field.name, asPeerSpellsIt(rosFieldType(field)));
        }
    });
    return fields;
}

template <typename Record>
std::string peerKey() {
    return std::string(MessageDescription<Record>::package) + "/" +
           MessageDescription<Record>::name;
}

// Fields that a distribution's definition has beyond ours: Jazzy appended `variance` to Range,
// and the records follow Humble.
template <typename Record>
std::vector<FieldLine> addedIn(const std::string& distribution) {
    if (distribution == "ros2jazzy" && peerKey<Record>() == "sensor_msgs/Range") {
        return {{"variance", "float32"}};
    }
    return {};
}

template <typename Record>
void expectSameFieldsAs(const std::string& distribution) {
    const auto& catalogue = definitions().at(distribution);
    const auto found = catalogue.find(peerKey<Record>());
    if (std::string(MessageDescription<Record>::package) == "qor_msgs") {
        // The system's own package is no ROS 2 standard one; its records are checked elsewhere.
        EXPECT_EQ(found, catalogue.end());
        return;
    }
    ASSERT_NE(found, catalogue.end()) << peerKey<Record>() << " is not in " << distribution;
    std::vector<FieldLine> expected = ourFields<Record>();
    for (const FieldLine& added : addedIn<Record>(distribution)) {
        expected.push_back(added);
    }
    EXPECT_EQ(expected, found->second);
}

template <typename Record>
class RosDefinition : public ::testing::Test {};

TYPED_TEST_SUITE(RosDefinition, qorTest::AllMessageRecords, qorTest::RecordTestName);

TYPED_TEST(RosDefinition, MatchesHumble) {
    expectSameFieldsAs<TypeParam>("ros2humble");
}

TYPED_TEST(RosDefinition, MatchesJazzyWhereJazzyKeptTheDefinition) {
    expectSameFieldsAs<TypeParam>("ros2jazzy");
}

TEST(RosDefinitions, PeerDataIsAvailable) {
    ASSERT_EQ(definitions().count("ros2humble"), 1U) << "the definitions peer printed nothing";
    ASSERT_EQ(definitions().count("ros2jazzy"), 1U);
    EXPECT_GT(definitions().at("ros2humble").size(), 87U);
}

TEST(RosDefinitions, MultiArrayPartsMatchHumble) {
    const auto& humble = definitions().at("ros2humble");
    EXPECT_EQ(ourFields<stdMsgs::MultiArrayLayout>(), humble.at("std_msgs/MultiArrayLayout"));
    EXPECT_EQ(ourFields<stdMsgs::MultiArrayDimension>(), humble.at("std_msgs/MultiArrayDimension"));
}

TEST(RosDefinitions, FieldTypesAreSpelledAsInMessageDefinitions) {
    std::vector<std::string> types;
    forEachFieldOf<sensorMsgs::CameraInfo>(
        [&types](const auto& field) { types.push_back(rosFieldType(field)); });
    EXPECT_EQ(types,
              (std::vector<std::string>{"std_msgs/Header", "uint32", "uint32", "string",
                                        "float64[]", "float64[9]", "float64[9]", "float64[12]",
                                        "uint32", "uint32", "sensor_msgs/RegionOfInterest"}));
    forEachFieldOf<stdMsgs::ByteMultiArray>(
        [&types](const auto& field) { types.push_back(rosFieldType(field)); });
    EXPECT_EQ(types.back(), "byte[]");
    forEachFieldOf<stdMsgs::Char>(
        [&types](const auto& field) { types.push_back(rosFieldType(field)); });
    EXPECT_EQ(types.back(), "char");
}

}  // namespace
