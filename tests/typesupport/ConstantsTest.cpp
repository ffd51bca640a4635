// Proves the table of constants against ROS 2 Humble's definitions as an independent package
// carries them: every constant of every type, its type, value and place among the fields.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "MessageTypeTesting.h"
#include "qorROS2/simulationInterfaces.h"
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

// No npm package carries simulation_interfaces; these lines were read off the .msg files of its
// humble and jazzy release branches (which agree) by a script, not from our table.
const ConstantLines& simulationInterfacesConstants() {
    static const ConstantLines lines = {
        {"simulation_interfaces/Bounds",
         {"uint8 TYPE_EMPTY 0 type", "uint8 TYPE_BOX 1 type", "uint8 TYPE_CONVEX_HULL 2 type",
          "uint8 TYPE_SPHERE 3 type"}},
        {"simulation_interfaces/EntityCategory",
         {"uint8 CATEGORY_OBJECT 0 category", "uint8 CATEGORY_ROBOT 1 category",
          "uint8 CATEGORY_HUMAN 2 category", "uint8 CATEGORY_DYNAMIC_OBJECT 4 category",
          "uint8 CATEGORY_STATIC_OBJECT 5 category"}},
        {"simulation_interfaces/Result",
         {"uint8 RESULT_FEATURE_UNSUPPORTED 0 result", "uint8 RESULT_OK 1 result",
          "uint8 RESULT_NOT_FOUND 2 result", "uint8 RESULT_INCORRECT_STATE 3 result",
          "uint8 RESULT_OPERATION_FAILED 4 result"}},
        {"simulation_interfaces/SimulationState",
         {"uint8 STATE_STOPPED 0 state", "uint8 STATE_PLAYING 1 state",
          "uint8 STATE_PAUSED 2 state", "uint8 STATE_QUITTING 3 state",
          "uint8 STATE_NO_WORLD 4 state", "uint8 STATE_LOADING_WORLD 5 state"}},
        {"simulation_interfaces/SimulatorFeatures",
         {"uint8 SPAWNING 0 features",
          "uint8 DELETING 1 features",
          "uint8 NAMED_POSES 2 features",
          "uint8 POSE_BOUNDS 3 features",
          "uint8 ENTITY_TAGS 4 features",
          "uint8 ENTITY_BOUNDS 5 features",
          "uint8 ENTITY_BOUNDS_BOX 6 features",
          "uint8 ENTITY_BOUNDS_CONVEX 7 features",
          "uint8 ENTITY_CATEGORIES 8 features",
          "uint8 SPAWNING_RESOURCE_STRING 9 features",
          "uint8 ENTITY_STATE_GETTING 10 features",
          "uint8 ENTITY_STATE_SETTING 11 features",
          "uint8 ENTITY_INFO_GETTING 12 features",
          "uint8 ENTITY_INFO_SETTING 13 features",
          "uint8 SPAWNABLES 14 features",
          "uint8 SIMULATION_RESET 20 features",
          "uint8 SIMULATION_RESET_TIME 21 features",
          "uint8 SIMULATION_RESET_STATE 22 features",
          "uint8 SIMULATION_RESET_SPAWNED 23 features",
          "uint8 SIMULATION_STATE_GETTING 24 features",
          "uint8 SIMULATION_STATE_SETTING 25 features",
          "uint8 SIMULATION_STATE_PAUSE 26 features",
          "uint8 STEP_SIMULATION_SINGLE 31 features",
          "uint8 STEP_SIMULATION_MULTIPLE 32 features",
          "uint8 STEP_SIMULATION_ACTION 33 features",
          "uint8 WORLD_LOADING 40 features",
          "uint8 WORLD_RESOURCE_STRING 41 features",
          "uint8 WORLD_TAGS 42 features",
          "uint8 WORLD_UNLOADING 43 features",
          "uint8 WORLD_INFO_GETTING 44 features",
          "uint8 AVAILABLE_WORLDS 45 features",
          "uint8 SPAWNING_ENTITIES 50 features"}},
        {"simulation_interfaces/SpawnResult",
         {"uint8 NAME_NOT_UNIQUE 101 result", "uint8 NAME_INVALID 102 result",
          "uint8 UNSUPPORTED_FORMAT 103 result", "uint8 NO_RESOURCE 104 result",
          "uint8 NAMESPACE_INVALID 105 result", "uint8 RESOURCE_PARSE_ERROR 106 result",
          "uint8 MISSING_ASSETS 107 result", "uint8 UNSUPPORTED_ASSETS 108 result",
          "uint8 INVALID_POSE 109 result"}},
        {"simulation_interfaces/TagsFilter",
         {"uint8 FILTER_MODE_ANY 0 filter_mode", "uint8 FILTER_MODE_ALL 1 filter_mode"}}};
    return lines;
}

template <typename Record>
class ConstantsOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(ConstantsOfEveryType, qorTest::AllMessageTypeRecords, qorTest::RecordTestName);

TYPED_TEST(ConstantsOfEveryType, AreThoseOfRosHumblesDefinitionInOrder) {
    const std::string key = std::string(MessageDescription<TypeParam>::package) + "/" +
                            MessageDescription<TypeParam>::name;
    const ConstantLines& source =
        std::string(MessageDescription<TypeParam>::package) == "simulation_interfaces"
            ? simulationInterfacesConstants()
            : peerConstants();
    const auto found = source.find(key);
    std::vector<std::string> expected =
        found == source.end() ? std::vector<std::string>() : found->second;
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
    EXPECT_EQ(ourCount, 46U + 5U + 10U + 7U);  // the design's, Log, ParameterType, GoalStatus
}

TEST(Constants, OfAServicesRequestAreThoseOfItsDefinition) {
    const auto& constants =
        getServiceTypeSupport("rcl_interfaces/srv/ListParameters").request().constants();
    ASSERT_EQ(constants.size(), 1U);
    EXPECT_EQ(constants.front().declaration, "uint64 DEPTH_RECURSIVE=0");
    EXPECT_EQ(constants.front().beforeField, 0U);
}

TEST(Constants, OfAServicesResponseComeBeforeTheFieldTheyPrecede) {
    const auto& constants = getServiceTypeSupport("simulation_interfaces/srv/SetSimulationState")
                                .response()
                                .constants();
    ASSERT_EQ(constants.size(), 3U);
    EXPECT_EQ(constants.front().declaration, "uint8 ALREADY_IN_TARGET_STATE   = 101");
    EXPECT_EQ(constants.back().name, "INCORRECT_TRANSITION");
    EXPECT_EQ(constants.back().value, "103");
    EXPECT_EQ(constants.back().beforeField, 0U);
    const auto& scopes =
        getServiceTypeSupport("simulation_interfaces/srv/ResetSimulation").request().constants();
    ASSERT_EQ(scopes.size(), 5U);
    EXPECT_EQ(scopes.back().declaration, "uint8 SCOPE_ALL           = 255");
    const auto& cancel = getServiceTypeSupport("action_msgs/srv/CancelGoal").response().constants();
    ASSERT_EQ(cancel.size(), 4U);
    EXPECT_EQ(cancel.back().declaration, "int8 ERROR_GOAL_TERMINATED=3");
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

TEST(Constants, OfSimulationResultsInTheRecordAreThoseOfItsDefinition) {
    using Result = simulationInterfaces::Result;
    const std::map<std::string, std::string> inRecord = {
        {"RESULT_FEATURE_UNSUPPORTED", std::to_string(Result::RESULT_FEATURE_UNSUPPORTED)},
        {"RESULT_OK", std::to_string(Result::RESULT_OK)},
        {"RESULT_NOT_FOUND", std::to_string(Result::RESULT_NOT_FOUND)},
        {"RESULT_INCORRECT_STATE", std::to_string(Result::RESULT_INCORRECT_STATE)},
        {"RESULT_OPERATION_FAILED", std::to_string(Result::RESULT_OPERATION_FAILED)}};
    std::map<std::string, std::string> declared;
    for (const ConstantDescription& constant :
         getTypeSupport("simulation_interfaces/msg/Result").constants()) {
        declared[constant.name] = constant.value;
    }

    EXPECT_EQ(inRecord, declared);
}
