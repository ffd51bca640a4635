// `qor-ros2 param get NODE NAME`: one parameter's value, as `ros2 param get` prints it.

#include <cstdio>

#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

class ParamGetVerb : public Verb {
  public:
    explicit ParamGetVerb(CLI::App& app) {
        m_node.declare(app, true);
        addPositional(app, "parameter_name", m_parameter, true, "Name of the parameter");
        addFlag(app, "--hide-type", m_hideType, "Hide the type information");
    }

    int run() override {
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        const rcl::GetParameters::Response response = callParameterService<rcl::GetParameters>(
            discovery, domain, node, "get_parameters", rcl::GetParameters::Request{{m_parameter}});
        if (response.values.empty()) {
            throw CommandFailure("Parameter not set");
        }
        const std::string text = parameterValueText(response.values.front(), m_hideType);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    ParamNodeArguments m_node;
    std::string m_parameter;
    bool m_hideType = false;
};

}  // namespace

std::unique_ptr<Verb> makeParamGetVerb(CLI::App& app) {
    return std::make_unique<ParamGetVerb>(app);
}

}  // namespace qorCli
