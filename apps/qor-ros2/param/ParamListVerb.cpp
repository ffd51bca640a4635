// `qor-ros2 param list [NODE]`: the parameters of one node or of every node that serves them
// (under --param-prefixes only, when given), as `ros2 param list` prints them.

#include <algorithm>
#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <vector>

#include "cli/GraphNames.h"
#include "cli/GraphWait.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

class ParamListVerb : public Verb {
  public:
    explicit ParamListVerb(CLI::App& app) {
        m_node.declareNode(app, false);
        addText(app, "--filter", m_filter, "FILTER",
                "Only parameters matching the regex expression will be showed. Supports `re` "
                "regex syntax.");
        m_node.declareHidden(app);
        addTexts(app, "--param-prefixes", m_prefixes, "PARAM_PREFIXES",
                 "Only list parameters with the provided prefixes");
        addFlag(app, "--param-type", m_paramType, "Print parameter types with parameter names");
    }

    int run() override {
        std::optional<std::regex> filter;
        if (!m_filter.empty()) {
            try {
                filter.emplace(m_filter);
            } catch (const std::regex_error& error) {
                throw CommandFailure("invalid --filter regex '" + m_filter + "': " + error.what());
            }
        }
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        std::vector<std::string> nodes;
        if (!m_node.node.empty()) {
            const std::string node = absoluteNodeName(m_node.node);
            requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
            nodes.push_back(node);
        } else {
            waitForSettledGraph(discovery, m_node.flags.spinTime);
            std::set<std::string> names;
            for (const qorROS2::DiscoveredNode& node : discovery.nodes()) {
                if (m_node.includeHidden || node.name.rfind('_', 0) != 0) {
                    names.insert(node.fullName());
                }
            }
            nodes.assign(names.begin(), names.end());
        }
        // Only nodes that serve list_parameters are asked, as ros2 asks them.
        std::set<std::string> services;
        for (const qorROS2::DiscoveredTopic& service : discovery.services()) {
            if (m_node.includeHidden || !isHiddenName(service.name)) {
                services.insert(service.name);
            }
        }
        std::string text;
        for (const std::string& node : nodes) {
            if (services.count(node + "/list_parameters") != 0) {
                text += parametersOf(discovery, domain, node, filter);
            }
        }
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    std::string parametersOf(const qorROS2::TopicDiscovery& discovery, std::int8_t domain,
                             const std::string& node, const std::optional<std::regex>& filter) {
        const rcl::ListParameters::Response response =
            callParameterService<rcl::ListParameters>(discovery, domain, node, "list_parameters",
                                                      rcl::ListParameters::Request{m_prefixes, 0});
        std::vector<std::string> names = response.result.names;
        std::sort(names.begin(), names.end());
        if (filter) {
            // Python's re.match: the pattern must match from the start of the name.
            names.erase(std::remove_if(names.begin(), names.end(),
                                       [&](const std::string& name) {
                                           return !std::regex_search(
                                               name, *filter,
                                               std::regex_constants::match_continuous);
                                       }),
                        names.end());
        }
        std::string text;
        if (m_node.node.empty() && !names.empty()) {
            text += node + ":\n";
        }
        std::map<std::string, std::string> types;
        if (m_paramType) {
            const rcl::DescribeParameters::Response described =
                callParameterService<rcl::DescribeParameters>(
                    discovery, domain, node, "describe_parameters",
                    rcl::DescribeParameters::Request{names});
            for (const rcl::ParameterDescriptor& descriptor : described.descriptors) {
                types[descriptor.name] = parameterTypeName(descriptor.type);
            }
        }
        for (const std::string& name : names) {
            text += "  " + name + (m_paramType ? " (type: " + types[name] + ")" : "") + "\n";
        }
        return text;
    }

    ParamNodeArguments m_node;
    std::string m_filter;
    std::vector<std::string> m_prefixes;
    bool m_paramType = false;
};

}  // namespace

std::unique_ptr<Verb> makeParamListVerb(CLI::App& app) {
    return std::make_unique<ParamListVerb>(app);
}

}  // namespace qorCli
