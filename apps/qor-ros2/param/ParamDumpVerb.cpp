// `qor-ros2 param dump NODE`: every parameter of a node as the YAML that `ros2 param dump`
// prints and `param load` reads; with Humble's deprecated --output-dir, saved to a file instead.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <vector>

#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "param/ParamVerbs.h"
#include "param/ParameterCalls.h"
#include "param/ParameterFile.h"
#include "param/ParameterText.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;

class ParamDumpVerb : public Verb {
  public:
    explicit ParamDumpVerb(CLI::App& app) {
        m_node.declare(app, true);
        addText(app, "--output-dir", m_outputDir, "OUTPUT_DIR",
                "DEPRECATED: The absolute path where to save the generated file");
        addFlag(app, "--print", m_print, "DEPRECATED: Does nothing.");
    }

    int run() override {
        const std::int8_t domain = domainFromEnvironment();
        const qorROS2::TopicDiscovery discovery(domain);
        const std::string node = absoluteNodeName(m_node.node);
        requireNode(discovery, node, m_node.includeHidden, m_node.flags.spinTime);
        struct stat status {};
        if (::stat(m_outputDir.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
            throw CommandFailure("'" + m_outputDir + "' is not a valid directory.");
        }
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
        if (m_print) {
            std::fputs(
                "WARNING: '--print' is deprecated; this utility prints to stdout by default\n",
                stderr);
        }
        if (m_outputDir == ".") {
            std::fwrite(text.data(), 1, text.size(), stdout);
            return 0;
        }
        std::fputs("WARNING: '--output-dir' is deprecated; use redirection to save to a file\n",
                   stderr);
        save(node, text);
        return 0;
    }

  private:
    // As ros2 saves it: "/ns/talker" in OUTPUT_DIR/ns__talker.yaml, without the blank line
    // print() adds.
    void save(const std::string& node, const std::string& text) const {
        std::string name;
        for (const char c : node.substr(1)) {
            name += c == '/' ? std::string("__") : std::string(1, c);
        }
        const std::string path =
            m_outputDir + (m_outputDir.back() == '/' ? "" : "/") + name + ".yaml";
        std::printf("Saving to:  %s\n", path.c_str());
        std::fflush(stdout);
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        if (!file) {
            throw CommandFailure(pythonOsErrorText(errno, path));
        }
        file.write(text.data(), static_cast<std::streamsize>(text.size() - 1));
        if (!file.flush()) {
            throw CommandFailure(pythonOsErrorText(errno, path));
        }
    }

    ParamNodeArguments m_node;
    std::string m_outputDir = ".";
    bool m_print = false;
};

}  // namespace

std::unique_ptr<Verb> makeParamDumpVerb(CLI::App& app) {
    return std::make_unique<ParamDumpVerb>(app);
}

}  // namespace qorCli
