// A node's parameters as rclcpp keeps and serves them: declarations, descriptors, refusals in
// rclcpp's words, listing by prefix and depth, the six services answered on the thread that
// steps, and /parameter_events.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ParameterCalls.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2ParameterServer.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using rclInterfaces::FloatingPointRange;
using rclInterfaces::IntegerRange;
using rclInterfaces::ParameterDescriptor;
using rclInterfaces::SetParametersResult;

constexpr std::int8_t kDomain = 8;

qor::ref_ptr<ROS2ParameterServer> makeServer(
    std::map<std::string, rclInterfaces::ParameterValue> overrides = {}) {
    return qor::ref_ptr<ROS2ParameterServer>(
        new ROS2ParameterServer(kDomain, std::move(overrides)));
}

ParameterDescriptor integerRange(std::int64_t from, std::int64_t to, std::uint64_t step) {
    ParameterDescriptor descriptor{};
    descriptor.integer_range.push_back(IntegerRange{from, to, step});
    return descriptor;
}

ParameterDescriptor floatingRange(double from, double to, double step) {
    ParameterDescriptor descriptor{};
    descriptor.floating_point_range.push_back(FloatingPointRange{from, to, step});
    return descriptor;
}

std::string reasonOf(ROS2ParameterServer& server, const std::string& name,
                     const rclInterfaces::ParameterValue& value) {
    const std::vector<SetParametersResult> results = server.setParameters({parameter(name, value)});
    EXPECT_EQ(results.size(), 1U);
    EXPECT_FALSE(results.front().successful) << name << " was set";
    return results.front().reason;
}

std::string declareError(ROS2ParameterServer& server, const std::string& name,
                         const rclInterfaces::ParameterValue& value,
                         const ParameterDescriptor& descriptor = {}) {
    try {
        server.declareParameter(name, value, descriptor);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "declared";
}

TEST(ParameterServer, DeclaredValuesAreKeptDescribedAndTyped) {
    const auto server = makeServer();
    ParameterDescriptor described = integerRange(1, 100, 0);
    described.description = "frames per second";
    EXPECT_EQ(server->declareParameter("rate", parameterValue(30), described).integer_value, 30);
    EXPECT_TRUE(server->hasParameter("rate"));
    EXPECT_FALSE(server->hasParameter("other"));
    EXPECT_EQ(server->getParameter("rate").type, PARAMETER_INTEGER);

    const std::vector<ParameterDescriptor> descriptors = server->describeParameters({"rate"});
    ASSERT_EQ(descriptors.size(), 1U);
    EXPECT_EQ(descriptors[0].name, "rate");
    EXPECT_EQ(descriptors[0].type, PARAMETER_INTEGER);
    EXPECT_EQ(descriptors[0].description, "frames per second");
    ASSERT_EQ(descriptors[0].integer_range.size(), 1U);
    EXPECT_EQ(descriptors[0].integer_range[0].to_value, 100);
    EXPECT_EQ(server->getParameterTypes({"rate"}), std::vector<std::uint8_t>{PARAMETER_INTEGER});
    EXPECT_THROW(server->getParameter("other"), std::invalid_argument);
    EXPECT_THROW(server->describeParameters({"rate", "other"}), std::invalid_argument);

    const std::vector<SetParametersResult> results =
        server->setParameters({parameter("rate", parameterValue(5))});
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0].successful) << results[0].reason;
    EXPECT_EQ(server->getParameter("rate").integer_value, 5);
}

TEST(ParameterServer, RefusalsAreRclcppsWordsAndLeaveTheValue) {
    const auto server = makeServer();
    ParameterDescriptor readOnly{};
    readOnly.read_only = true;
    server->declareParameter("fixed", parameterValue(true), readOnly);
    server->declareParameter("count", parameterValue(10), integerRange(0, 100, 10));
    server->declareParameter("gain", parameterValue(0.5), floatingRange(0.0, 1.0, 0.25));

    EXPECT_EQ(reasonOf(*server, "fixed", parameterValue(false)),
              "parameter 'fixed' cannot be set because it is read-only");
    EXPECT_EQ(reasonOf(*server, "count", parameterValue(101)),
              "Parameter {count} doesn't comply with integer range.");
    EXPECT_EQ(reasonOf(*server, "count", parameterValue(15)),
              "Parameter {count} doesn't comply with integer range.");
    EXPECT_EQ(reasonOf(*server, "gain", parameterValue(0.3)),
              "Parameter {gain} doesn't comply with floating point range.");
    EXPECT_EQ(reasonOf(*server, "gain", parameterValue(std::nan(""))),
              "Parameter {gain} doesn't comply with floating point range.");
    EXPECT_EQ(reasonOf(*server, "gain", parameterValue("high")),
              "Wrong parameter type, parameter {gain} is of type {double}, setting it to "
              "{string} is not allowed.");
    EXPECT_EQ(reasonOf(*server, "missing", parameterValue(1)),
              "parameter 'missing' cannot be set because it was not declared");
    EXPECT_EQ(reasonOf(*server, "", parameterValue(1)), "parameter name must not be empty");
    rclInterfaces::ParameterValue unknown = parameterValue(1);
    unknown.type = 42;
    EXPECT_EQ(reasonOf(*server, "count", unknown), "Unknown type: 42");
    EXPECT_EQ(reasonOf(*server, "count", rclInterfaces::ParameterValue{}),
              "cannot undeclare an statically typed parameter");
    EXPECT_EQ(server
                  ->setParametersAtomically({parameter("count", parameterValue(20)),
                                             parameter("nope", parameterValue(1))})
                  .reason,
              "One or more parameters were not declared before setting");

    EXPECT_TRUE(server->getParameter("fixed").bool_value);
    EXPECT_EQ(server->getParameter("count").integer_value, 10);
    EXPECT_EQ(server->getParameter("gain").double_value, 0.5);

    // Bounds and steps are accepted.
    EXPECT_TRUE(server->setParameters({parameter("count", parameterValue(100))})[0].successful);
    EXPECT_TRUE(server->setParameters({parameter("gain", parameterValue(0.75))})[0].successful);
    EXPECT_TRUE(server->setParameters({parameter("gain", parameterValue(1.0))})[0].successful);
}

TEST(ParameterServer, AnIntegerRangeOverTheWholeTypeTakesEveryValue) {
    const auto server = makeServer();
    const std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    const std::int64_t highest = std::numeric_limits<std::int64_t>::max();
    // Steps count from the lowest value: 2^63 + 1 is 0 modulo 3, 2^64 - 2 is not.
    server->declareParameter("any", parameterValue(1), integerRange(lowest, highest, 3));
    EXPECT_TRUE(
        server->setParameters({parameter("any", parameterValue(highest - 3))})[0].successful);
    EXPECT_EQ(reasonOf(*server, "any", parameterValue(highest - 1)),
              "Parameter {any} doesn't comply with integer range.");
}

TEST(ParameterServer, DeclarationsAreRefusedInRclcppsWords) {
    const auto server =
        makeServer({{"limited", parameterValue(500)}, {"typed", parameterValue("x")}});
    server->declareParameter("once", parameterValue(1));
    EXPECT_EQ(declareError(*server, "", parameterValue(1)), "parameter name must not be empty");
    EXPECT_EQ(declareError(*server, "once", parameterValue(1)),
              "parameter 'once' has already been declared");
    EXPECT_EQ(declareError(*server, "unset", rclInterfaces::ParameterValue{}),
              "parameter 'unset' has invalid type: cannot declare a statically typed parameter "
              "with an uninitialized value");
    EXPECT_EQ(declareError(*server, "limited", parameterValue(5), integerRange(0, 100, 0)),
              "parameter 'limited' could not be set: Parameter {limited} doesn't comply with "
              "integer range.");
    EXPECT_EQ(declareError(*server, "typed", parameterValue(5)),
              "parameter 'typed' has invalid type: Wrong parameter type, parameter {typed} is of "
              "type {integer}, setting it to {string} is not allowed.");
    EXPECT_FALSE(server->hasParameter("limited"));
}

TEST(ParameterServer, OverridesReplaceTheDefault) {
    const auto server = makeServer({{"rate", parameterValue(5.0)}});
    EXPECT_EQ(server->declareParameter("rate", parameterValue(30.0)).double_value, 5.0);
    EXPECT_EQ(server->declareParameter("other", parameterValue(1.0)).double_value, 1.0);
}

TEST(ParameterServer, CallbacksRefuseWithTheirReasonNewestFirst) {
    const auto server = makeServer();
    server->declareParameter("mode", parameterValue("fast"));
    std::vector<std::string> asked;
    const std::size_t first = server->addOnSetParametersCallback(
        [&asked](const std::vector<rclInterfaces::Parameter>& p) {
            asked.push_back("first " + p.at(0).value.string_value);
            return SetParametersResult{p.at(0).value.string_value != "broken", "mode is broken"};
        });
    server->addOnSetParametersCallback([&asked](const std::vector<rclInterfaces::Parameter>& p) {
        asked.push_back("second " + p.at(0).value.string_value);
        return SetParametersResult{true, ""};
    });
    EXPECT_EQ(reasonOf(*server, "mode", parameterValue("broken")), "mode is broken");
    EXPECT_EQ(server->getParameter("mode").string_value, "fast");
    EXPECT_EQ(asked, (std::vector<std::string>{"second broken", "first broken"}));
    server->removeOnSetParametersCallback(first);
    EXPECT_TRUE(server->setParameters({parameter("mode", parameterValue("broken"))})[0].successful);
    EXPECT_THROW(server->removeOnSetParametersCallback(first), std::invalid_argument);
}

TEST(ParameterServer, ListsByPrefixAndDepthAsRclcpp) {
    const auto server = makeServer();
    for (const char* name : {"a", "a.b", "a.b.c", "ab", "b.x"}) {
        server->declareParameter(name, parameterValue(1));
    }
    using Names = std::vector<std::string>;
    rclInterfaces::ListParametersResult all = server->listParameters({}, 0);
    EXPECT_EQ(all.names, (Names{"a", "a.b", "a.b.c", "ab", "b.x"}));
    EXPECT_EQ(all.prefixes, (Names{"a", "a.b", "b"}));
    EXPECT_EQ(server->listParameters({}, 1).names, (Names{"a", "ab"}));
    EXPECT_EQ(server->listParameters({"a"}, 0).names, (Names{"a", "a.b", "a.b.c"}));
    // rclcpp counts the dot after the prefix too: depth 1 lists the prefix alone.
    EXPECT_EQ(server->listParameters({"a"}, 1).names, Names{"a"});
    EXPECT_EQ(server->listParameters({"a"}, 2).names, (Names{"a", "a.b"}));
    EXPECT_EQ(server->listParameters({"a.b", "b"}, 0).names, (Names{"a.b", "a.b.c", "b.x"}));
}

// Steps the server, its simulated time going on, until the answer comes.
template <typename Srv>
std::optional<typename Srv::Response> callStepping(ROS2ParameterServer& server,
                                                   ServiceClient<Srv>& client,
                                                   const typename Srv::Request& request) {
    double time = 1.0;
    return qorTest::callStepping(client, request, [&] { server.pre(time += 0.01); });
}

// A node of this test alone: tests of other processes run in the same domain at once.
std::string testNode() {
    return std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "_" +
           std::to_string(::getpid());
}

// Waits for the next event of `node`, skipping those of other nodes.
bool receiveEventOf(const Subscriber<rclInterfaces::ParameterEvent>& events,
                    const std::string& node, rclInterfaces::ParameterEvent& event,
                    qorTest::Deadline deadline = qorTest::kDeliveryDeadline) {
    return qorTest::waitFor(
        [&] {
            while (events.receiveMessage(event)) {
                if (event.node == node) {
                    return true;
                }
            }
            return false;
        },
        deadline);
}

template <typename Srv>
std::unique_ptr<ServiceClient<Srv>> clientOf(const std::string& node, const std::string& service) {
    auto client = std::make_unique<ServiceClient<Srv>>("/robot1/" + node + "/" + service, kDomain,
                                                       presetQos("parameters"));
    EXPECT_TRUE(client->waitForService(qorTest::kDeliveryDeadline)) << service;
    return client;
}

TEST(ParameterServer, ServicesAnswerWhenStepped) {
    const std::string node = testNode();
    setNodeIdentity(node, "/robot1");
    const auto server = makeServer();
    setNodeIdentity("qorROS2ParameterServerTests", "/");
    EXPECT_EQ(server->nodeName(), "/robot1/" + node);
    Subscriber<rclInterfaces::ParameterEvent> events("/parameter_events",
                                                     presetQos("parameter_events"), kDomain);
    server->declareParameter("camera.rate", parameterValue(30.0), floatingRange(1.0, 60.0, 0.0));
    ParameterDescriptor readOnly{};
    readOnly.read_only = true;
    server->declareParameter("use_sim_time", parameterValue(true), readOnly);

    auto list = clientOf<rclInterfaces::ListParameters>(node, "list_parameters");
    const auto listed = callStepping(*server, *list, {{}, 0});
    ASSERT_TRUE(listed) << "list_parameters gave no answer";
    EXPECT_EQ(listed->result.names, (std::vector<std::string>{"camera.rate", "use_sim_time"}));
    EXPECT_EQ(listed->result.prefixes, std::vector<std::string>{"camera"});

    auto get = clientOf<rclInterfaces::GetParameters>(node, "get_parameters");
    const auto got = callStepping(*server, *get, {{"camera.rate", "use_sim_time"}});
    ASSERT_TRUE(got) << "get_parameters gave no answer";
    ASSERT_EQ(got->values.size(), 2U);
    EXPECT_EQ(got->values[0].double_value, 30.0);
    EXPECT_TRUE(got->values[1].bool_value);
    const auto gotUnknown = callStepping(*server, *get, {{"camera.rate", "unknown"}});
    ASSERT_TRUE(gotUnknown);
    EXPECT_TRUE(gotUnknown->values.empty());

    auto types = clientOf<rclInterfaces::GetParameterTypes>(node, "get_parameter_types");
    const auto typed = callStepping(*server, *types, {{"use_sim_time", "camera.rate"}});
    ASSERT_TRUE(typed) << "get_parameter_types gave no answer";
    EXPECT_EQ(typed->types, (std::vector<std::uint8_t>{PARAMETER_BOOL, PARAMETER_DOUBLE}));

    auto describe = clientOf<rclInterfaces::DescribeParameters>(node, "describe_parameters");
    const auto described = callStepping(*server, *describe, {{"use_sim_time"}});
    ASSERT_TRUE(described) << "describe_parameters gave no answer";
    ASSERT_EQ(described->descriptors.size(), 1U);
    EXPECT_TRUE(described->descriptors[0].read_only);
    EXPECT_EQ(described->descriptors[0].type, PARAMETER_BOOL);

    auto set = clientOf<rclInterfaces::SetParameters>(node, "set_parameters");
    const auto setResults = callStepping(*server, *set,
                                         {{parameter("camera.rate", parameterValue(5.0)),
                                           parameter("use_sim_time", parameterValue(false)),
                                           parameter("camera.rate", parameterValue(100.0))}});
    ASSERT_TRUE(setResults) << "set_parameters gave no answer";
    ASSERT_EQ(setResults->results.size(), 3U);
    EXPECT_TRUE(setResults->results[0].successful) << setResults->results[0].reason;
    EXPECT_EQ(setResults->results[1].reason,
              "parameter 'use_sim_time' cannot be set because it is read-only");
    EXPECT_EQ(setResults->results[2].reason,
              "Parameter {camera.rate} doesn't comply with floating point range.");
    EXPECT_EQ(server->getParameter("camera.rate").double_value, 5.0);

    auto atomically =
        clientOf<rclInterfaces::SetParametersAtomically>(node, "set_parameters_atomically");
    const auto atomic = callStepping(*server, *atomically,
                                     {{parameter("camera.rate", parameterValue(7.0)),
                                       parameter("use_sim_time", parameterValue(false))}});
    ASSERT_TRUE(atomic) << "set_parameters_atomically gave no answer";
    EXPECT_FALSE(atomic->result.successful);
    EXPECT_EQ(server->getParameter("camera.rate").double_value, 5.0);

    // Two declarations, then the one change that was made, stamped with the step's time.
    std::vector<rclInterfaces::ParameterEvent> received(3);
    for (rclInterfaces::ParameterEvent& event : received) {
        ASSERT_TRUE(receiveEventOf(events, "/robot1/" + node, event)) << "an event is missing";
    }
    ASSERT_EQ(received[0].new_parameters.size(), 1U);
    EXPECT_EQ(received[0].new_parameters[0].name, "camera.rate");
    ASSERT_EQ(received[2].changed_parameters.size(), 1U);
    EXPECT_EQ(received[2].changed_parameters[0].name, "camera.rate");
    EXPECT_EQ(received[2].changed_parameters[0].value.double_value, 5.0);
    EXPECT_TRUE(received[2].new_parameters.empty());
    EXPECT_GT(received[2].stamp.sec, 0);
    rclInterfaces::ParameterEvent extra;
    EXPECT_FALSE(receiveEventOf(events, "/robot1/" + node, extra, std::chrono::milliseconds(500)))
        << "a refused set was published";
}

TEST(ParameterServer, NothingIsAnsweredWithoutAStep) {
    const std::string node = testNode();
    setNodeIdentity(node, "/robot1");
    const auto server = makeServer();
    setNodeIdentity("qorROS2ParameterServerTests", "/");
    auto list = clientOf<rclInterfaces::ListParameters>(node, "list_parameters");
    std::atomic<bool> answered{false};
    list->sendRequest({{}, 0},
                      [&answered](rclInterfaces::ListParameters::Response&&) { answered = true; });
    ASSERT_TRUE(qorTest::waitFor([&] { return list->waitingRequests() == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(answered);
    EXPECT_TRUE(qorTest::waitFor([&] { return server->handleRequests() == 1; }));
}

}  // namespace
