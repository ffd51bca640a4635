// The type of a topic as its endpoints announce it: one, or ros2's refusal of several. A live
// topic of two types cannot be set up for a command to see both at once (each type needs a
// participant of its own, found one after the other), so the refusal is checked here.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "topic/DiscoveredType.h"

namespace {

TEST(DiscoveredType, OneTypeIsTheTopicsType) {
    EXPECT_EQ(qorCli::soleType({"std_msgs/msg/String"}, "/chatter"), "std_msgs/msg/String");
}

TEST(DiscoveredType, SeveralTypesAreRefusedInRos2sWords) {
    try {
        qorCli::soleType({"rosgraph_msgs/msg/Clock", "std_msgs/msg/String"}, "chatter");
        ADD_FAILURE() << "two types were accepted";
    } catch (const qorCli::CommandFailure& failure) {
        // The topic as the user named it, the types as the graph lists them.
        EXPECT_EQ(std::string(failure.what()),
                  "Cannot echo topic 'chatter', as it contains more than one type: "
                  "[rosgraph_msgs/msg/Clock, std_msgs/msg/String]");
    }
}

}  // namespace
