// `param list`, `get`, `set` and `describe` against a node of the test that serves the
// parameter services, with ros2's texts and exit codes.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "CliRuns.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/ServiceServer.h"

namespace {

constexpr int kDomain = 12;

using namespace std::chrono_literals;
namespace rcl = qorROS2::rclInterfaces;

rcl::ParameterValue integerValue(std::int64_t number) {
    rcl::ParameterValue value{};
    value.type = 2;
    value.integer_value = number;
    return value;
}

rcl::ParameterValue stringValue(const std::string& text) {
    rcl::ParameterValue value{};
    value.type = 4;
    value.string_value = text;
    return value;
}

// The parameter services of a node, over a table of parameters the test fills: a set keeps the
// declared type and refuses another, as a node without dynamic typing does.
class ParameterNode {
  public:
    ParameterNode(const std::string& node, std::map<std::string, rcl::ParameterValue> parameters)
        : m_parameters(std::move(parameters)),
          m_list(node + "/list_parameters", kDomain),
          m_get(node + "/get_parameters", kDomain),
          m_set(node + "/set_parameters", kDomain),
          m_describe(node + "/describe_parameters", kDomain),
          m_thread([this] { serve(); }) {}
    ~ParameterNode() {
        m_stop = true;
        m_thread.join();
    }
    ParameterNode(const ParameterNode&) = delete;
    ParameterNode& operator=(const ParameterNode&) = delete;

    rcl::ParameterValue valueOf(const std::string& name) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_parameters.at(name);
    }

    bool has(const std::string& name) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_parameters.count(name) != 0;
    }

  private:
    using Id = qorROS2::ServiceRequestId;

    void serve() {
        while (!m_stop) {
            std::this_thread::sleep_for(10ms);
            std::lock_guard<std::mutex> lock(m_mutex);
            m_list.handleRequests([this](const rcl::ListParameters::Request&, const Id&) {
                rcl::ListParameters::Response response{};
                for (const auto& [name, value] : m_parameters) {
                    response.result.names.push_back(name);
                }
                return std::optional(response);
            });
            m_get.handleRequests([this](const rcl::GetParameters::Request& request, const Id&) {
                rcl::GetParameters::Response response{};
                for (const std::string& name : request.names) {
                    const auto found = m_parameters.find(name);
                    response.values.push_back(found == m_parameters.end() ? rcl::ParameterValue{}
                                                                          : found->second);
                }
                return std::optional(response);
            });
            m_set.handleRequests([this](const rcl::SetParameters::Request& request, const Id&) {
                rcl::SetParameters::Response response{};
                for (const rcl::Parameter& parameter : request.parameters) {
                    const auto found = m_parameters.find(parameter.name);
                    if (found == m_parameters.end()) {
                        response.results.push_back({false, "parameter not declared"});
                    } else if (parameter.value.type == 0) {
                        m_parameters.erase(found);
                        response.results.push_back({true, ""});
                    } else if (found->second.type != parameter.value.type) {
                        response.results.push_back({false, "wrong type"});
                    } else {
                        found->second = parameter.value;
                        response.results.push_back({true, ""});
                    }
                }
                return std::optional(response);
            });
            m_describe.handleRequests(
                [this](const rcl::DescribeParameters::Request& request, const Id&) {
                    rcl::DescribeParameters::Response response{};
                    for (const std::string& name : request.names) {
                        rcl::ParameterDescriptor descriptor{};
                        descriptor.name = name;
                        const auto found = m_parameters.find(name);
                        descriptor.type = found == m_parameters.end() ? 0 : found->second.type;
                        descriptor.description = "the " + name;
                        response.descriptors.push_back(descriptor);
                    }
                    return std::optional(response);
                });
        }
    }

    std::mutex m_mutex;
    std::map<std::string, rcl::ParameterValue> m_parameters;
    qorROS2::ServiceServer<rcl::ListParameters> m_list;
    qorROS2::ServiceServer<rcl::GetParameters> m_get;
    qorROS2::ServiceServer<rcl::SetParameters> m_set;
    qorROS2::ServiceServer<rcl::DescribeParameters> m_describe;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// The lines of a listing of every node from `node`'s heading up to the next node's: the other
// tests of this file run their nodes in the same domain at the same time.
std::string sectionOf(const std::string& listing, const std::string& node) {
    const auto start = listing.find(node + ":\n");
    if (start == std::string::npos || (start != 0 && listing[start - 1] != '\n')) {
        return "";
    }
    auto end = listing.find('\n', start);
    while (end != std::string::npos && listing.compare(end + 1, 2, "  ") == 0) {
        end = listing.find('\n', end + 1);
    }
    return listing.substr(start, end == std::string::npos ? std::string::npos : end + 1 - start);
}

class CliParam : public ::testing::Test {
  protected:
    void SetUp() override { qorROS2::setNodeIdentity(m_node.substr(1), "/"); }

    const std::string m_node = "/cli_param_p" + std::to_string(::getpid());
};

TEST_F(CliParam, ListGetSetAndDescribeReachTheNodesParameterServices) {
    ParameterNode node(m_node, {{"gain", integerValue(3)}, {"frame", stringValue("base")}});

    const auto list = qorCliTest::runCliSplit("param list " + m_node, kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(list, 0, "  frame\n  gain\n"));
    const auto all = qorCliTest::runCliSplit("param list --param-type", kDomain);
    EXPECT_EQ(all.exitCode, 0) << all.output << all.errors;
    EXPECT_EQ(sectionOf(all.output, m_node),
              m_node + ":\n  frame (type: string)\n  gain (type: integer)\n")
        << all.output;
    const auto filtered = qorCliTest::runCliSplit("param list " + m_node + " --filter g", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(filtered, 0, "  gain\n"));

    const auto get = qorCliTest::runCliSplit("param get " + m_node + " gain", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(get, 0, "Integer value is: 3\n"));
    const auto unset = qorCliTest::runCliSplit("param get " + m_node + " nothing", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(unset, 0, "Parameter not set.\n"));

    const auto set = qorCliTest::runCliSplit("param set " + m_node + " gain 0x10", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(set, 0, "Set parameter successful\n"));
    EXPECT_EQ(node.valueOf("gain").integer_value, 16);
    // A refusal goes to stderr, with the exit code 0, as ros2 has it.
    const auto refused = qorCliTest::runCliSplit("param set " + m_node + " gain fast", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(refused, 0, ""));
    EXPECT_EQ(refused.errors, "Setting parameter failed: wrong type\n");
    EXPECT_EQ(node.valueOf("gain").integer_value, 16);

    const auto describe = qorCliTest::runCliSplit("param describe " + m_node + " frame", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        describe, 0,
        "Parameter name: frame\n  Type: string\n  Description: the frame\n  Constraints:\n"));
}

TEST_F(CliParam, DumpWritesTheNodesParametersAsYamlAndDeleteRemovesOne) {
    rcl::ParameterValue list{};
    list.type = 9;
    list.string_array_value = {"a", "yes"};
    ParameterNode node(m_node, {{"gain", integerValue(3)},
                                {"nested.depth", integerValue(2)},
                                {"frame", stringValue("base")},
                                {"names", list}});
    const auto dump = qorCliTest::runCliSplit("param dump " + m_node, kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(dump, 0,
                                           m_node + ":\n"
                                                    "  ros__parameters:\n"
                                                    "    frame: base\n"
                                                    "    gain: 3\n"
                                                    "    names:\n"
                                                    "    - a\n"
                                                    "    - 'yes'\n"
                                                    "    nested:\n"
                                                    "      depth: 2\n"
                                                    "\n"));

    const auto removed = qorCliTest::runCliSplit("param delete " + m_node + " gain", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(removed, 0, "Deleted parameter successfully\n"));
    EXPECT_FALSE(node.has("gain"));
    const auto again = qorCliTest::runCliSplit("param delete " + m_node + " gain", kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(again, 0, ""));
    EXPECT_EQ(again.errors, "Deleting parameter failed: parameter not declared\n");
}

TEST_F(CliParam, AnUnknownNodeIsNotFoundAndANodeWithoutServicesTimesOut) {
    const auto missing = qorCliTest::runCliSplit("param get /cli_param_nobody gain", kDomain);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.errors, "Node not found\n");
    EXPECT_EQ(missing.output, "");
    // This process's node is there, with a service but no parameter services.
    const qorROS2::ServiceServer<qorROS2::stdSrvs::Trigger> other(m_node + "/reset", kDomain);
    const auto silent = qorCliTest::runCliSplit("param get " + m_node + " gain", kDomain);
    EXPECT_EQ(silent.exitCode, 1);
    EXPECT_EQ(silent.errors, "Wait for service timed out\n");
    // list asks only nodes that serve list_parameters.
    const auto list = qorCliTest::runCliSplit("param list " + m_node, kDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(list, 0, ""));
}

}  // namespace
