// `qor-ros2 interface package PACKAGE`: the message types of one package, as
// `ros2 interface package` prints them; exit code 1 for a package the tool does not know.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/Verb.h"
#include "interface/InterfaceVerbs.h"

namespace qorCli {
namespace {

class InterfacePackageVerb : public Verb {
  public:
    explicit InterfacePackageVerb(CLI::App& app) {
        addPositional(app, "package_name", m_package, true, "Name of the ROS package");
        addInterfaceKindFlags(app, m_kinds);
    }

    int run() override {
        const InterfaceOutput output = interfacePackageOutput(m_package, m_kinds);
        std::fwrite(output.out.data(), 1, output.out.size(), stdout);
        std::fwrite(output.err.data(), 1, output.err.size(), stderr);
        return output.exitCode;
    }

  private:
    std::string m_package;
    InterfaceKinds m_kinds;
};

}  // namespace

std::unique_ptr<Verb> makeInterfacePackageVerb(CLI::App& app) {
    return std::make_unique<InterfacePackageVerb>(app);
}

}  // namespace qorCli
