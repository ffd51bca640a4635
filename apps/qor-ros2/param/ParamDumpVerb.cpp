// `qor-ros2 param dump NODE`: every parameter of a node as the YAML that `ros2 param dump`
// prints and `param load` reads.

#include <algorithm>
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

class ParamDumpVerb : public Verb {
  public:
    explicit ParamDumpVerb(CLI::App& app) { m_node.declare(app, true); }

    int run() override {
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        const rcl::ListParameters::Response listed = callParameterService<rcl::ListParameters>(
            discovery, domain, node, "list_parameters", rcl::ListParameters::Request{});
        std::vector<std::string> names = listed.result.names;
        std::sort(names.begin(), names.end());
        // ros2 asks for each value on its own.
        std::vector<DumpedParameter> parameters;
        for (const std::string& name : names) {
            const rcl::GetParameters::Response got = callParameterService<rcl::GetParameters>(
                discovery, domain, node, "get_parameters", rcl::GetParameters::Request{{name}});
            parameters.push_back(DumpedParameter{
                name, got.values.empty() ? std::nullopt : std::optional(got.values.front())});
        }
        const std::string text = parameterDumpText(node, parameters);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    ParamNodeArguments m_node;
};

}  // namespace

std::unique_ptr<Verb> makeParamDumpVerb(CLI::App& app) {
    return std::make_unique<ParamDumpVerb>(app);
}

}  // namespace qorCli
