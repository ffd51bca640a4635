// `qor-ros2 param set NODE NAME VALUE`: sets one parameter, its type guessed from the value as
// `ros2 param set` guesses it.

#include <cstdio>

#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

class ParamSetVerb : public Verb {
  public:
    explicit ParamSetVerb(CLI::App& app) {
        m_node.declare(app, true);
        addPositional(app, "parameter_name", m_parameter, true, "Name of the parameter");
        addPositional(app, "value", m_value, true, "Value of the parameter");
    }

    int run() override {
        rcl::SetParameters::Request request;
        request.parameters.push_back(rcl::Parameter{m_parameter, parameterValueOf(m_value)});
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        const rcl::SetParameters::Response response = callParameterService<rcl::SetParameters>(
            discovery, domain, node, "set_parameters", request);
        if (response.results.size() != 1) {
            throw CommandFailure("Setting parameter failed: the node answered with " +
                                 std::to_string(response.results.size()) +
                                 " results for one parameter");
        }
        // A refusal is printed on stderr, and the exit code stays 0, as ros2 has it.
        const rcl::SetParametersResult& result = response.results.front();
        const std::string reason = result.reason.empty() ? "" : ": " + result.reason;
        if (result.successful) {
            std::printf("Set parameter successful%s\n", reason.c_str());
        } else {
            std::fprintf(stderr, "Setting parameter failed%s\n", reason.c_str());
        }
        return 0;
    }

  private:
    ParamNodeArguments m_node;
    std::string m_parameter;
    std::string m_value;
};

}  // namespace

std::unique_ptr<Verb> makeParamSetVerb(CLI::App& app) {
    return std::make_unique<ParamSetVerb>(app);
}

}  // namespace qorCli
