// `qor-ros2 param describe NODE NAME...`: parameters' descriptors, as `ros2 param describe`
// prints them.

#include <cstdio>
#include <vector>

#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

class ParamDescribeVerb : public Verb {
  public:
    explicit ParamDescribeVerb(CLI::App& app) {
        m_node.declare(app, true);
        addPositionals(app, "parameter_names", m_parameters, "Names of the parameters");
    }

    int run() override {
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        const rcl::DescribeParameters::Response response =
            callParameterService<rcl::DescribeParameters>(
                discovery, domain, node, "describe_parameters",
                rcl::DescribeParameters::Request{m_parameters});
        std::string text;
        for (const rcl::ParameterDescriptor& descriptor : response.descriptors) {
            text += parameterDescriptorText(descriptor);
        }
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    ParamNodeArguments m_node;
    std::vector<std::string> m_parameters;
};

}  // namespace

std::unique_ptr<Verb> makeParamDescribeVerb(CLI::App& app) {
    return std::make_unique<ParamDescribeVerb>(app);
}

}  // namespace qorCli
