// The actions of a graph as rcl_action finds them and `action info` prints them, from endpoints
// made up by the test.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "action/ActionGraph.h"
#include "action/ActionVerbs.h"

namespace {

using qorROS2::DiscoveredEndpoint;
using qorROS2::DiscoveredNode;

DiscoveredEndpoint endpoint(const std::string& topic, const std::string& type, bool publisher,
                            const std::string& node, const std::string& nameSpace) {
    DiscoveredEndpoint made;
    made.topic = topic;
    made.type = type;
    made.publisher = publisher;
    made.nodeName = node;
    made.nodeNamespace = nameSpace;
    return made;
}

const std::string kFeedback = "pkg/action/Move_FeedbackMessage";

std::vector<DiscoveredEndpoint> graph() {
    return {
        endpoint("/move/_action/feedback", kFeedback, true, "mover", "/"),
        endpoint("/move/_action/status", "action_msgs/msg/GoalStatusArray", true, "mover", "/"),
        endpoint("/move/_action/feedback", kFeedback, false, "asker", "/robot"),
        endpoint("/move/_action/feedback", kFeedback, false, "other", "/"),
        // Not action feedback: the name must end in it, and a type without the suffix stays.
        endpoint("/move/_action/feedback_extra", kFeedback, true, "mover", "/"),
        endpoint("/odd/_action/feedback", "pkg/msg/Odd", true, "mover", "/"),
    };
}

TEST(ActionGraph, ActionsAreTheFeedbackTopicsWithTheirTypesStripped) {
    const qorCli::NamesAndTypes names =
        qorCli::actionNamesAndTypes(graph(), qorCli::ActionSide::both);
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names[0].name, "/move");
    EXPECT_EQ(names[0].types, std::vector<std::string>{"pkg/action/Move"});
    EXPECT_EQ(names[1].name, "/odd");
    EXPECT_EQ(names[1].types, std::vector<std::string>{"pkg/msg/Odd"});
    EXPECT_EQ(
        qorCli::actionNamesAndTypesOfNode(graph(), "asker", "/robot", qorCli::ActionSide::servers)
            .size(),
        0U);
    EXPECT_EQ(
        qorCli::actionNamesAndTypesOfNode(graph(), "asker", "/robot", qorCli::ActionSide::clients)
            .size(),
        1U);
}

TEST(ActionGraph, InfoListsClientsThenServersByNodeAsRos2NamesThem) {
    const std::vector<DiscoveredNode> nodes = {{"mover", "/"}, {"asker", "/robot"}, {"other", "/"}};
    // ros2 joins the namespace's characters with '/': "/robot" becomes "//r/o/b/o/t".
    EXPECT_EQ(qorCli::actionInfoText("move", "/move", nodes, graph(), true, false),
              "Action: move\n"
              "Action clients: 2\n"
              "    //r/o/b/o/tasker [pkg/action/Move]\n"
              "    /other [pkg/action/Move]\n"
              "Action servers: 1\n"
              "    /mover [pkg/action/Move]\n");
    EXPECT_EQ(qorCli::actionInfoText("/move", "/move", nodes, graph(), false, true),
              "Action: /move\nAction clients: 2\nAction servers: 1\n");
    EXPECT_EQ(qorCli::actionInfoText("/none", "/none", nodes, graph(), false, false),
              "Action: /none\nAction clients: 0\nAction servers: 0\n");
}

}  // namespace
