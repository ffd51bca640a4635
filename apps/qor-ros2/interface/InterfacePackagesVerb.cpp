// `qor-ros2 interface packages`: the packages of the known message types, as
// `ros2 interface packages` prints them.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/Verb.h"
#include "interface/InterfaceVerbs.h"

namespace qorCli {
namespace {

class InterfacePackagesVerb : public Verb {
  public:
    explicit InterfacePackagesVerb(CLI::App& app) { addInterfaceKindFlags(app, m_kinds); }

    int run() override {
        const std::string text = interfacePackagesText(m_kinds);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    InterfaceKinds m_kinds;
};

}  // namespace

std::unique_ptr<Verb> makeInterfacePackagesVerb(CLI::App& app) {
    return std::make_unique<InterfacePackagesVerb>(app);
}

}  // namespace qorCli
