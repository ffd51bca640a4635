// Names as the node of the process resolves them: expansion in its namespace, substitutions,
// remap rules from --ros-args, and the exact words of every refusal.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Refusal.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/RosNames.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorTest::refusal;

constexpr std::int8_t kNamesDomain = 58;

// Applies `rosArguments` (after "--ros-args") to the process's node, which each test starts
// from as the program's name at the root, without remap rules.
class RosNames : public ::testing::Test {
  protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    static void reset() {
        std::vector<std::string> none;
        applyRosArguments(none);
        setNodeIdentity("qorRosNamesTests", "/");
    }

    static void apply(std::vector<std::string> rosArguments) {
        rosArguments.insert(rosArguments.begin(), "--ros-args");
        applyRosArguments(rosArguments);
    }
};

TEST_F(RosNames, RelativeNamesResolveInTheNodesNamespace) {
    EXPECT_EQ(resolveTopicName("clock"), "/clock");
    EXPECT_EQ(resolveTopicName("/clock"), "/clock");
    setNodeIdentity("arm_sim", "/robot1");
    EXPECT_EQ(resolveTopicName("joint_states"), "/robot1/joint_states");
    EXPECT_EQ(resolveTopicName("camera/image_raw"), "/robot1/camera/image_raw");
    EXPECT_EQ(resolveTopicName("/clock"), "/clock");
    EXPECT_EQ(resolveServiceName("reset"), "/robot1/reset");
}

TEST_F(RosNames, TildeAndSubstitutionsExpandAsRclDoes) {
    setNodeIdentity("arm_sim", "/robot1");
    EXPECT_EQ(resolveTopicName("~/status"), "/robot1/arm_sim/status");
    EXPECT_EQ(resolveTopicName("{node}/status"), "/robot1/arm_sim/status");
    EXPECT_EQ(resolveTopicName("/{node}/x_{node}"), "/arm_sim/x_arm_sim");
    EXPECT_EQ(resolveTopicName("{ns}/status"), "/robot1/status");
    EXPECT_EQ(resolveTopicName("{namespace}/status"), "/robot1/status");
    setNodeIdentity("arm_sim", "/");
    EXPECT_EQ(resolveTopicName("~/status"), "/arm_sim/status");
    // The root namespace gives a repeated '/', refused as rcl refuses it.
    EXPECT_EQ(refusal([] { resolveTopicName("{ns}/status"); }),
              "invalid topic name \"{ns}/status\": topic name must not contain repeated '/', at "
              "index 1 of \"//status\"");
}

TEST_F(RosNames, InvalidNamesAreRefusedWithRclsReasonAndIndex) {
    setNodeIdentity("arm_sim", "/robot1");
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "invalid topic name \"\": topic name must not be empty string, at index 0"},
        {"3d",
         "invalid topic name \"3d\": topic name token must not start with a number, at "
         "index 0"},
        {"a/",
         "invalid topic name \"a/\": topic name must not end with a forward slash, at "
         "index 1"},
        {"/",
         "invalid topic name \"/\": topic name must not end with a forward slash, at index "
         "0"},
        {"joint-states",
         "invalid topic name \"joint-states\": topic name must not contain characters other "
         "than alphanumerics, '_', '~', '{', or '}', at index 5"},
        {"a~b",
         "invalid topic name \"a~b\": topic name must not have tilde '~' unless it is the "
         "first character, at index 1"},
        {"~ab",
         "invalid topic name \"~ab\": topic name must not have a tilde '~' that is not "
         "followed by a forward slash '/', at index 1"},
        {"a/{b",
         "invalid topic name \"a/{b\": topic name must not have unmatched (unbalanced) "
         "curly braces '{}', at index 2"},
        {"a}",
         "invalid topic name \"a}\": topic name must not have unmatched (unbalanced) curly "
         "braces '{}', at index 1"},
        {"{a-b}",
         "invalid topic name \"{a-b}\": substitution name must not contain characters "
         "other than alphanumerics or '_', at index 2"},
        {"{1a}",
         "invalid topic name \"{1a}\": substitution name must not start with a number, "
         "at index 1"},
        {"/a/2b",
         "invalid topic name \"/a/2b\": topic name token must not start with a number, "
         "at index 3"},
        {"{robot}/x", "invalid topic name \"{robot}/x\": unknown substitution: {robot}"},
        {"a//b",
         "invalid topic name \"a//b\": topic name must not contain repeated '/', at "
         "index 10 of \"/robot1/a//b\""},
        {"//a",
         "invalid topic name \"//a\": topic name must not contain repeated '/', at index "
         "1"},
        {"/" + std::string(247, 'a'),
         "invalid topic name \"/" + std::string(247, 'a') +
             "\": topic length should not exceed '255U - 8U', at index 246"},
    };
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(refusal([&] { resolveTopicName(name); }), expected) << name;
    }
    EXPECT_EQ(resolveTopicName("/" + std::string(246, 'a')), "/" + std::string(246, 'a'));
    EXPECT_EQ(refusal([] { resolveServiceName("a b"); }),
              "invalid service name \"a b\": topic name must not contain characters other than "
              "alphanumerics, '_', '~', '{', or '}', at index 1");
}

TEST_F(RosNames, RemapRulesReplaceTheResolvedName) {
    apply({"-r", "__ns:=/robot1", "-r", "joint_states:=/arm/joint_states", "--remap",
           "/clock:=sim_clock", "-r", "~/status:=~/state", "-r", "/robot1/odom:=/odom"});
    EXPECT_EQ(nodeIdentity().fullName(), "/robot1/qorRosNamesTests");
    // Relative on either side: both are expanded in the node's namespace before matching.
    EXPECT_EQ(resolveTopicName("joint_states"), "/arm/joint_states");
    EXPECT_EQ(resolveTopicName("/robot1/joint_states"), "/arm/joint_states");
    EXPECT_EQ(resolveTopicName("/joint_states"), "/joint_states");
    EXPECT_EQ(resolveTopicName("/clock"), "/robot1/sim_clock");
    EXPECT_EQ(resolveTopicName("clock"), "/robot1/clock");
    EXPECT_EQ(resolveTopicName("~/status"), "/robot1/qorRosNamesTests/state");
    EXPECT_EQ(resolveTopicName("odom"), "/odom");
    EXPECT_EQ(resolveServiceName("joint_states"), "/arm/joint_states");
}

TEST_F(RosNames, TheFirstMatchingRuleWins) {
    apply({"-r", "a:=first", "-r", "a:=second", "-r", "__node:=one", "-r", "__node:=two"});
    EXPECT_EQ(resolveTopicName("a"), "/first");
    EXPECT_EQ(nodeIdentity().name, "one");
}

TEST_F(RosNames, RulesForOtherNodesAndOtherKindsAreSkipped) {
    apply({"-r", "other_node:a:=/not_mine", "-r", "qorRosNamesTests:a:=/mine", "-r",
           "rosservice://b:=/service_b", "-r", "rostopic://c:=/topic_c", "-r", "b:=/any_b", "-r",
           "other_node:__ns:=/elsewhere"});
    EXPECT_EQ(nodeIdentity().nameSpace, "/");
    EXPECT_EQ(resolveTopicName("a"), "/mine");
    EXPECT_EQ(resolveTopicName("b"), "/any_b");
    EXPECT_EQ(resolveServiceName("b"), "/service_b");
    EXPECT_EQ(resolveTopicName("c"), "/topic_c");
    EXPECT_EQ(resolveServiceName("c"), "/c");
}

TEST_F(RosNames, NodeTargetedNamespaceRulesMatchTheNewName) {
    apply({"-r", "__node:=arm", "-r", "qorRosNamesTests:__ns:=/old_name", "-r",
           "arm:__ns:=/new_name/"});
    EXPECT_EQ(nodeIdentity().fullName(), "/new_name/arm");
}

TEST_F(RosNames, EachCallReplacesTheRulesBefore) {
    apply({"-r", "a:=/b"});
    EXPECT_EQ(resolveTopicName("a"), "/b");
    apply({});
    EXPECT_EQ(resolveTopicName("a"), "/a");
}

TEST_F(RosNames, BadRulesAreRefusedInRclsWordsAndChangeNothing) {
    apply({"-r", "a:=/kept"});
    const auto refusalOf = [](const std::vector<std::string>& given) {
        std::vector<std::string> tried = given;
        tried.insert(tried.begin(), "--ros-args");
        const std::vector<std::string> before = tried;
        const std::string text = refusal([&] { applyRosArguments(tried); });
        return tried == before ? text : "changed the arguments: " + text;
    };
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"-r"}, "Couldn't parse trailing -r flag. No remap rule found."},
        {{"x:=y", "--remap"},
         "unsupported ROS argument \"x:=y\": only -r FROM:=TO and "
         "--enclave /NAME are known"},
        {{"--remap", "a:="},
         "Couldn't parse remap rule: '--remap a:='. Error: expected a name token at index 3"},
        {{"-r", ":=b"},
         "Couldn't parse remap rule: '-r :=b'. Error: expected a name token at "
         "index 0"},
        {{"-r", "a"},
         "Couldn't parse remap rule: '-r a'. Error: expected ':=' or '/' at index "
         "1"},
        {{"-r", "a/:=b"},
         "Couldn't parse remap rule: '-r a/:=b'. Error: expected a name token "
         "at index 2"},
        {{"-r", "a:=b//c"},
         "Couldn't parse remap rule: '-r a:=b//c'. Error: expected a name "
         "token at index 5"},
        {{"-r", "a:=b c"},
         "Couldn't parse remap rule: '-r a:=b c'. Error: expected '/' or the "
         "end of the rule at index 4"},
        {{"-r", "2a:=b"},
         "Couldn't parse remap rule: '-r 2a:=b'. Error: expected a name token "
         "at index 0"},
        {{"-r", "a__b:=c"},
         "Couldn't parse remap rule: '-r a__b:=c'. Error: expected ':=' or "
         "'/' at index 2"},
        {{"-r", "{node}/a:=b"},
         "Couldn't parse remap rule: '-r {node}/a:=b'. Error: expected a "
         "name token at index 0"},
        {{"-r", "*:=b"},
         "Couldn't parse remap rule: '-r *:=b'. Error: Wildcard '*' is not "
         "implemented"},
        {{"-r", "/**:=b"},
         "Couldn't parse remap rule: '-r /**:=b'. Error: Wildcard '**' is not "
         "implemented"},
        {{"-r", "a:=\\1"},
         "Couldn't parse remap rule: '-r a:=\\1'. Error: Backreferences are "
         "not implemented"},
        {{"-r", "__ns:=robot"},
         "Couldn't parse remap rule: '-r __ns:=robot'. Error: Namespace "
         "not remapped to a fully qualified name (found: robot)"},
        {{"-r", "__ns:=/a//b"},
         "Couldn't parse remap rule: '-r __ns:=/a//b'. Error: Namespace "
         "not remapped to a fully qualified name (found: /a//b)"},
        {{"-r", "__node:=a.b"},
         "Couldn't parse remap rule: '-r __node:=a.b'. Error: Node name "
         "not remapped to invalid name: 'a.b'"},
        {{"-r", "__name:=/a"},
         "Couldn't parse remap rule: '-r __name:=/a'. Error: Node name "
         "not remapped to invalid name: '/a'"},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(refusalOf(arguments), expected) << arguments.back();
    }
    EXPECT_EQ(resolveTopicName("a"), "/kept");
    EXPECT_EQ(nodeIdentity().fullName(), "/qorRosNamesTests");
}

// A remap whose result is not a valid name is refused when a name resolves to it, as rcl
// refuses it when the endpoint is made.
TEST_F(RosNames, ARemapToAnInvalidNameIsRefusedWhenUsed) {
    apply({"-r", "a:=/" + std::string(250, 'b')});
    EXPECT_EQ(refusal([] { resolveTopicName("a"); }),
              "invalid topic name \"a\": topic length should not exceed '255U - 8U', at index "
              "246 of \"/" +
                  std::string(250, 'b') + "\"");
}

// Endpoints, typed and raw, meet on the resolved names only.
TEST_F(RosNames, PublishersAndSubscribersUseTheResolvedNames) {
    apply({"-r", "__ns:=/robot1", "-r", "remapped:=/moved"});
    Publisher<stdMsgs::Int32> typedPublisher("chatter", QOS{}, kNamesDomain);
    Subscriber<stdMsgs::Int32> typedSubscriber("/robot1/chatter", QOS{}, kNamesDomain);
    Subscriber<stdMsgs::Int32> atTheRoot("/chatter", QOS{}, kNamesDomain);
    RawPublisher rawPublisher("remapped", "std_msgs/msg/Int64", QOS{}, kNamesDomain);
    RawSubscriber rawSubscriber("/moved", "std_msgs/msg/Int64", QOS{}, kNamesDomain);
    EXPECT_TRUE(qorTest::waitForMatch(typedPublisher, typedSubscriber));
    EXPECT_TRUE(qorTest::waitForMatch(rawPublisher, rawSubscriber));
    // Once the publishers matched in this one participant, any other match would have been made.
    EXPECT_EQ(atTheRoot.matchedPublications(), 0U);
    EXPECT_EQ(typedPublisher.matchedSubscriptions(), 1U);
    EXPECT_EQ(rawPublisher.matchedSubscriptions(), 1U);
}

// rclpy's rule, which ros2 bag record follows: any token that starts with '_' hides the name.
TEST(HiddenTopicNames, AnyTokenStartingWithAnUnderscoreHidesTheName) {
    EXPECT_TRUE(isHiddenTopicName("/_hidden"));
    EXPECT_TRUE(isHiddenTopicName("/simulate_steps/_action/feedback"));
    EXPECT_TRUE(isHiddenTopicName("/a/b/_c"));
    EXPECT_FALSE(isHiddenTopicName("/joint_states"));
    EXPECT_FALSE(isHiddenTopicName("/camera_/image_raw"));
    EXPECT_FALSE(isHiddenTopicName("/"));
    EXPECT_FALSE(isHiddenTopicName(""));
}

}  // namespace
