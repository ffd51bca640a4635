// `qor-ros2 param load NODE FILE`: sets the parameters of a parameter file on a running node in
// one set_parameters call, and prints the node's answer per parameter, as `ros2 param load` does.

#include <cstdio>
#include <string>

#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterFile.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

class ParamLoadVerb : public Verb {
  public:
    explicit ParamLoadVerb(CLI::App& app) {
        m_node.declare(app, true);
        addPositional(app, "parameter_file", m_file, true, "Parameter file");
        addFlag(app, "--no-use-wildcard", m_noWildcard,
                "Do not load parameters in the '/**' namespace into the node");
    }

    int run() override {
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        // ros2 looks for the node before it opens the file.
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        rcl::SetParameters::Request request;
        request.parameters =
            parametersToLoad(parameterFileText(m_file), m_file, node, !m_noWildcard);
        const rcl::SetParameters::Response response = callParameterService<rcl::SetParameters>(
            discovery, domain, node, "set_parameters", request);
        if (response.results.size() != request.parameters.size()) {
            throw CommandFailure("the node answered with " +
                                 std::to_string(response.results.size()) + " results for " +
                                 std::to_string(request.parameters.size()) + " parameters");
        }
        // Refusals go to stderr and leave the exit code 0, as ros2 has it.
        for (std::size_t i = 0; i < response.results.size(); ++i) {
            bool toErrors = false;
            const std::string line =
                loadResultText(request.parameters[i].name, response.results[i], toErrors);
            std::FILE* stream = toErrors ? stderr : stdout;
            std::fwrite(line.data(), 1, line.size(), stream);
            std::fflush(stream);
        }
        return 0;
    }

  private:
    ParamNodeArguments m_node;
    std::string m_file;
    bool m_noWildcard = false;
};

}  // namespace

std::unique_ptr<Verb> makeParamLoadVerb(CLI::App& app) {
    return std::make_unique<ParamLoadVerb>(app);
}

}  // namespace qorCli
