// `qor-ros2 param set NODE NAME VALUE`: sets one parameter, its type guessed from the value as
// `ros2 param set` guesses it; `param delete NODE NAME` sets it to "not set", as ros2 does.

#include <cstdio>
#include <string>

#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

// What ros2 prints when the node took the value, and when it refused it.
struct SetWords {
    const char* success;
    const char* failure;
};

class ParamSetVerb : public Verb {
  public:
    ParamSetVerb(CLI::App& app, bool deleting)
        : m_words(deleting ? SetWords{"Deleted parameter successfully", "Deleting parameter failed"}
                           : SetWords{"Set parameter successful", "Setting parameter failed"}),
          m_deleting(deleting) {
        m_node.declare(app, true);
        addPositional(app, "parameter_name", m_parameter, true, "Name of the parameter");
        if (!deleting) {
            addPositional(app, "value", m_value, true, "Value of the parameter");
        }
    }

    int run() override {
        rcl::SetParameters::Request request;
        // A value of type "not set" (0) deletes the parameter.
        request.parameters.push_back(rcl::Parameter{
            m_parameter, m_deleting ? rcl::ParameterValue{} : parameterValueOf(m_value)});
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        const rcl::SetParameters::Response response = callParameterService<rcl::SetParameters>(
            discovery, domain, node, "set_parameters", request);
        if (response.results.size() != 1) {
            throw CommandFailure(std::string(m_words.failure) + ": the node answered with " +
                                 std::to_string(response.results.size()) +
                                 " results for one parameter");
        }
        // A refusal is printed on stderr, and the exit code stays 0, as ros2 has it.
        const rcl::SetParametersResult& result = response.results.front();
        const std::string reason = result.reason.empty() ? "" : ": " + result.reason;
        if (result.successful) {
            std::printf("%s%s\n", m_words.success, reason.c_str());
        } else {
            std::fprintf(stderr, "%s%s\n", m_words.failure, reason.c_str());
        }
        return 0;
    }

  private:
    SetWords m_words;
    bool m_deleting;
    ParamNodeArguments m_node;
    std::string m_parameter;
    std::string m_value;
};

}  // namespace

std::unique_ptr<Verb> makeParamSetVerb(CLI::App& app) {
    return std::make_unique<ParamSetVerb>(app, false);
}

std::unique_ptr<Verb> makeParamDeleteVerb(CLI::App& app) {
    return std::make_unique<ParamSetVerb>(app, true);
}

}  // namespace qorCli
