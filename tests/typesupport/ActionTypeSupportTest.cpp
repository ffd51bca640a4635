// Proves the action type support: the names rosidl and rmw_fastrtps give an action's types, the
// fields rosidl derives for SendGoal, GetResult and FeedbackMessage, the text ros2 shows for the
// action, and how an unknown name is reported.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qorROS2/Interfaces.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2;
using namespace qorROS2::typesupport;

std::vector<std::string> fieldLines(const TypeSupport& type) {
    std::vector<std::string> lines;
    for (const FieldDescription& field : type.fields()) {
        lines.push_back(field.typeText() + " " + field.name);
    }
    return lines;
}

const ActionTypeSupport& simulateSteps() {
    return getActionTypeSupport("simulation_interfaces/action/SimulateSteps");
}

TEST(ActionTypeSupport, ListsTheActionsSortedByName) {
    ASSERT_EQ(actionTypeSupports().size(), ActionTypes::size);
    ASSERT_EQ(actionTypeSupports().size(), 1U);
    EXPECT_EQ(actionTypeSupports().front(), &simulateSteps());
    EXPECT_EQ(rosActionName<simulationInterfaces::SimulateSteps>(),
              "simulation_interfaces/action/SimulateSteps");
    EXPECT_TRUE(isActionType<simulationInterfaces::SimulateSteps>);
    EXPECT_FALSE(isActionType<simulationInterfaces::SimulateSteps::Goal>);
}

TEST(ActionTypeSupport, NamesItsTypesAsRosidlAndTheirDdsTypesAsRmwFastrtps) {
    const ActionTypeSupport& action = simulateSteps();
    EXPECT_EQ(action.rosName(), "simulation_interfaces/action/SimulateSteps");
    EXPECT_EQ(action.goal().rosName(), "simulation_interfaces/action/SimulateSteps_Goal");
    EXPECT_EQ(action.goal().ddsName(), "simulation_interfaces::action::dds_::SimulateSteps_Goal_");
    EXPECT_EQ(action.result().rosName(), "simulation_interfaces/action/SimulateSteps_Result");
    EXPECT_EQ(action.feedback().rosName(), "simulation_interfaces/action/SimulateSteps_Feedback");
    EXPECT_EQ(action.sendGoal().rosName(), "simulation_interfaces/action/SimulateSteps_SendGoal");
    EXPECT_EQ(action.sendGoal().request().ddsName(),
              "simulation_interfaces::action::dds_::SimulateSteps_SendGoal_Request_");
    EXPECT_EQ(action.sendGoal().response().ddsName(),
              "simulation_interfaces::action::dds_::SimulateSteps_SendGoal_Response_");
    EXPECT_EQ(action.getResult().rosName(), "simulation_interfaces/action/SimulateSteps_GetResult");
    EXPECT_EQ(action.getResult().request().ddsName(),
              "simulation_interfaces::action::dds_::SimulateSteps_GetResult_Request_");
    EXPECT_EQ(action.getResult().response().ddsName(),
              "simulation_interfaces::action::dds_::SimulateSteps_GetResult_Response_");
    EXPECT_EQ(action.feedbackMessage().ddsName(),
              "simulation_interfaces::action::dds_::SimulateSteps_FeedbackMessage_");
    EXPECT_EQ(action.sendGoal().eventDescription().rosName(),
              "simulation_interfaces/action/SimulateSteps_SendGoal_Event");
    EXPECT_EQ(getTypeSupport("action_msgs/msg/GoalStatusArray").ddsName(),
              "action_msgs::msg::dds_::GoalStatusArray_");
    EXPECT_EQ(getServiceTypeSupport("action_msgs/srv/CancelGoal").request().ddsName(),
              "action_msgs::srv::dds_::CancelGoal_Request_");
}

TEST(ActionTypeSupport, DerivesTheFieldsRosidlGivesSendGoalGetResultAndFeedbackMessage) {
    const ActionTypeSupport& action = simulateSteps();
    EXPECT_EQ(fieldLines(action.goal()), (std::vector<std::string>{"uint64 steps"}));
    EXPECT_EQ(fieldLines(action.result()),
              (std::vector<std::string>{"simulation_interfaces/Result result"}));
    EXPECT_EQ(fieldLines(action.feedback()),
              (std::vector<std::string>{"uint64 completed_steps", "uint64 remaining_steps"}));
    EXPECT_EQ(fieldLines(action.sendGoal().request()),
              (std::vector<std::string>{"unique_identifier_msgs/UUID goal_id",
                                        "simulation_interfaces/SimulateSteps_Goal goal"}));
    EXPECT_EQ(fieldLines(action.sendGoal().response()),
              (std::vector<std::string>{"bool accepted", "builtin_interfaces/Time stamp"}));
    EXPECT_EQ(fieldLines(action.getResult().request()),
              (std::vector<std::string>{"unique_identifier_msgs/UUID goal_id"}));
    EXPECT_EQ(fieldLines(action.getResult().response()),
              (std::vector<std::string>{"int8 status",
                                        "simulation_interfaces/SimulateSteps_Result result"}));
    EXPECT_EQ(fieldLines(action.feedbackMessage()),
              (std::vector<std::string>{"unique_identifier_msgs/UUID goal_id",
                                        "simulation_interfaces/SimulateSteps_Feedback feedback"}));
    EXPECT_EQ(fieldLines(getTypeSupport("unique_identifier_msgs/msg/UUID")),
              (std::vector<std::string>{"uint8[16] uuid"}));
}

TEST(ActionTypeSupport, ShowsTheGoalResultAndFeedbackApartAsRos2Does) {
    const ActionTypeSupport& action = simulateSteps();
    EXPECT_EQ(action.goal().definitionText(), "uint64 steps\n");
    EXPECT_EQ(action.feedback().definitionText(),
              "uint64 completed_steps\nuint64 remaining_steps\n");
    EXPECT_EQ(action.result().definitionText().rfind("Result result\n\tuint8 RESULT_", 0), 0U)
        << action.result().definitionText();
    EXPECT_EQ(action.definitionText(), action.goal().definitionText() + "---\n" +
                                           action.result().definitionText() + "---\n" +
                                           action.feedback().definitionText());
}

TEST(ActionTypeSupport, ItsTypesAreFoundByTheirFullNamesOnly) {
    const ActionTypeSupport& action = simulateSteps();
    EXPECT_EQ(findActionTypeSupport("simulation_interfaces/SimulateSteps"), &action);
    EXPECT_EQ(findTypeSupport("simulation_interfaces/action/SimulateSteps_FeedbackMessage"),
              &action.feedbackMessage());
    EXPECT_EQ(findTypeSupport("simulation_interfaces/action/SimulateSteps_SendGoal_Request"),
              &action.sendGoal().request());
    EXPECT_EQ(findTypeSupport("simulation_interfaces/SimulateSteps_Goal"), nullptr);
    EXPECT_EQ(findServiceTypeSupport("simulation_interfaces/action/SimulateSteps_SendGoal"),
              nullptr);
}

TEST(ActionTypeSupport, UnknownNameIsNullOrANamedError) {
    EXPECT_EQ(findActionTypeSupport("simulation_interfaces/action/Simulate"), nullptr);
    EXPECT_EQ(findActionTypeSupport("simulation_interfaces/msg/Result"), nullptr);
    EXPECT_EQ(findActionTypeSupport("SimulateSteps"), nullptr);
    EXPECT_EQ(findActionTypeSupport(""), nullptr);
    try {
        getActionTypeSupport("simulation_interfaces/srv/StepSimulation");
        FAIL() << "a service was found as an action";
    } catch (const TypeSupportError& error) {
        EXPECT_STREQ(error.what(),
                     "unknown action type 'simulation_interfaces/srv/StepSimulation'");
    }
}

TEST(ActionTypeSupport, AGoalRoundTripsWithItsUuid) {
    const TypeSupport& request = simulateSteps().sendGoal().request();
    Sample sample = request.createSample();
    auto& goal = sample.as<simulationInterfaces::SimulateSteps::SendGoal::Request>();
    for (std::size_t i = 0; i < goal.goal_id.uuid.size(); ++i) {
        goal.goal_id.uuid[i] = static_cast<std::uint8_t>(0xa0 + i);
    }
    goal.goal.steps = 250;
    const std::vector<std::uint8_t> payload = request.encode(sample);
    // The encapsulation header, 16 bytes of UUID, then the uint64 aligned to 8 after the header.
    ASSERT_EQ(payload.size(), 4U + 16U + 8U);
    EXPECT_EQ(payload[4], 0xa0);
    EXPECT_EQ(payload[19], 0xaf);
    EXPECT_EQ(payload[20], 250);
    const Sample decoded = request.decode(payload);
    const auto& read = decoded.as<simulationInterfaces::SimulateSteps::SendGoal::Request>();
    EXPECT_EQ(read.goal_id.uuid, goal.goal_id.uuid);
    EXPECT_EQ(read.goal.steps, 250U);
}

// StepSimulation's request declares `uint64 steps 1`: a new request asks for one step.
TEST(ActionTypeSupport, DefaultsOfTheSimulationServicesAreThoseOfTheirDefinitions) {
    const ServiceTypeSupport& step = getServiceTypeSupport("simulation_interfaces/StepSimulation");
    Sample sample = step.request().createSample();
    EXPECT_EQ(sample.as<simulationInterfaces::srv::StepSimulation::Request>().steps, 1U);
    ASSERT_EQ(step.request().fields().size(), 1U);
    EXPECT_EQ(step.request().fields().front().defaultValue, "1");
    EXPECT_EQ(step.definitionText().substr(0, 19), "uint64 steps 1\n---\n");
}

}  // namespace
