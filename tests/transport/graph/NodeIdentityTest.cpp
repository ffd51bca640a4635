// The node of the process: its default name, the names ROS 2 accepts, and --ros-args.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Refusal.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"

namespace {

using namespace qorROS2;
using qorTest::refusal;

// The domain of the one test here that makes a participant. ROS domains above 127 do not fit the
// endpoints' domain, hence this number.
constexpr std::int8_t kEnclaveDomain = 36;

TEST(NodeIdentity, DefaultIsTheProgramNameMadeValid) {
    // The test program's own name is already a valid node name.
    EXPECT_EQ(nodeIdentity().name, "qorNodeIdentityTests");
    EXPECT_EQ(nodeIdentity().nameSpace, "/");
    EXPECT_EQ(nodeIdentity().fullName(), "/qorNodeIdentityTests");
}

TEST(NodeIdentity, ProgramNamesAreMadeValid) {
    EXPECT_EQ(validNodeName("qor-ros2-demo"), "qor_ros2_demo");
    EXPECT_EQ(validNodeName("my.sim v2"), "my_sim_v2");
    EXPECT_EQ(validNodeName("3d_viewer"), "_3d_viewer");
    EXPECT_EQ(validNodeName(""), "_");
}

TEST(NodeIdentity, InvalidNamesAreRefusedWithTheRuleTheyBreak) {
    EXPECT_EQ(refusal([] { setNodeIdentity("", "/"); }),
              "invalid node name \"\": a node name must not be empty");
    EXPECT_EQ(refusal([] { setNodeIdentity("a-b", "/"); }),
              "invalid node name \"a-b\": a node name holds only letters, digits and '_'");
    EXPECT_EQ(refusal([] { setNodeIdentity("1a", "/"); }),
              "invalid node name \"1a\": a node name must not start with a digit");
    EXPECT_EQ(refusal([] { setNodeIdentity("a", "robot"); }),
              "invalid node namespace \"robot\": a namespace starts with '/'");
    EXPECT_EQ(refusal([] { setNodeIdentity("a", "/robot/"); }),
              "invalid node namespace \"/robot/\": a namespace must not end with '/'");
    EXPECT_EQ(refusal([] { setNodeIdentity("a", "/a//b"); }),
              "invalid node namespace \"/a//b\": a namespace must not hold \"//\"");
    EXPECT_EQ(
        refusal([] { setNodeIdentity("a", "/a/2b"); }),
        "invalid node namespace \"/a/2b\": a part of a namespace must not start with a digit");
    EXPECT_EQ(refusal([] { setNodeIdentity("a", "/a b"); }),
              "invalid node namespace \"/a b\": a namespace holds only letters, digits, '_' and "
              "'/'");
    EXPECT_EQ(nodeIdentity().name, "qorNodeIdentityTests");
}

TEST(NodeIdentity, RosArgumentsRenameTheNodeAndAreTakenOut) {
    std::vector<std::string> arguments = {"--fast",  "--ros-args",   "-r", "__node:=arm_sim",
                                          "--remap", "__ns:=/robot", "--", "--duration",
                                          "3"};
    applyRosArguments(arguments);
    EXPECT_EQ(arguments, (std::vector<std::string>{"--fast", "--duration", "3"}));
    EXPECT_EQ(nodeIdentity().fullName(), "/robot/arm_sim");
    setNodeIdentity("qorNodeIdentityTests");
}

TEST(NodeIdentity, ArgumentsWithoutRosArgumentsAreLeftAlone) {
    std::vector<std::string> arguments = {"-r", "__node:=x"};
    applyRosArguments(arguments);
    EXPECT_EQ(arguments, (std::vector<std::string>{"-r", "__node:=x"}));
    EXPECT_EQ(nodeIdentity().name, "qorNodeIdentityTests");
}

TEST(NodeIdentity, BadRosArgumentsAreRefusedAndChangeNothing) {
    std::vector<std::string> arguments = {"--ros-args", "-r", "__node:=ok", "--log-level", "x"};
    EXPECT_EQ(refusal([&] { applyRosArguments(arguments); }),
              "unsupported ROS argument \"--log-level\": only -r FROM:=TO and --enclave /NAME "
              "are known");
    EXPECT_EQ(arguments.size(), 5U);
    EXPECT_EQ(nodeIdentity().name, "qorNodeIdentityTests");
    std::vector<std::string> dangling = {"--ros-args", "-r"};
    EXPECT_EQ(refusal([&] { applyRosArguments(dangling); }),
              "Couldn't parse trailing -r flag. No remap rule found.");
    std::vector<std::string> noRule = {"--ros-args", "-r", "__node"};
    EXPECT_EQ(refusal([&] { applyRosArguments(noRule); }),
              "Couldn't parse remap rule: '-r __node'. Error: expected ':=' or '/' at index 1");
    std::vector<std::string> badName = {"--ros-args", "-r", "__node:=a.b"};
    EXPECT_EQ(refusal([&] { applyRosArguments(badName); }),
              "Couldn't parse remap rule: '-r __node:=a.b'. Error: Node name not remapped to "
              "invalid name: 'a.b'");
}

TEST(NodeIdentity, EnclaveArgumentIsCheckedAndTakenOut) {
    std::vector<std::string> arguments = {"--ros-args", "--enclave", "/", "--", "--fast"};
    applyRosArguments(arguments);
    EXPECT_EQ(arguments, (std::vector<std::string>{"--fast"}));
    // Each refusal leaves the arguments as they were.
    const auto refusalOf = [](const std::vector<std::string>& given) {
        std::vector<std::string> tried = given;
        const std::string text = refusal([&] { applyRosArguments(tried); });
        return tried == given ? text : "changed the arguments: " + text;
    };
    EXPECT_EQ(refusalOf({"--ros-args", "-e", "sim"}),
              "invalid enclave name \"sim\": an enclave name starts with '/'");
    EXPECT_EQ(refusalOf({"--ros-args", "--enclave", "/sim/"}),
              "invalid enclave name \"/sim/\": an enclave name must not end with '/'");
    EXPECT_EQ(refusalOf({"--ros-args", "--enclave", "/robot/2arm"}),
              "invalid enclave name \"/robot/2arm\": a part of an enclave name must not start "
              "with a digit");
    EXPECT_EQ(refusalOf({"--ros-args", "--enclave"}),
              "invalid ROS argument \"--enclave\": an enclave name must follow it");
}

TEST(NodeIdentity, EnclaveAfterTheFirstParticipantIsRefusedAndChangesNothing) {
    Publisher<stdMsgs::Int32> publisher("/qor_enclave_late", QOS{}, kEnclaveDomain);
    std::vector<std::string> arguments = {"--ros-args", "-r", "__node:=late", "--enclave", "/sim"};
    EXPECT_EQ(refusal([&] { applyRosArguments(arguments); }),
              "cannot use the enclave \"/sim\": this process already has participants of the "
              "enclave \"/\"; choose it before the first publisher or subscriber");
    EXPECT_EQ(arguments.size(), 5U);
    EXPECT_EQ(nodeIdentity().name, "qorNodeIdentityTests");
    // The enclave in use may still be named.
    std::vector<std::string> same = {"--ros-args", "--enclave", "/"};
    applyRosArguments(same);
    EXPECT_TRUE(same.empty());
}

}  // namespace
