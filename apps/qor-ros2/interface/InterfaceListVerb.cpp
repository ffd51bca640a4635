// `qor-ros2 interface list`: every message type the tool knows, as `ros2 interface list`
// prints them, with its empty service and action sections.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/Verb.h"
#include "interface/InterfaceVerbs.h"

namespace qorCli {
namespace {

class InterfaceListVerb : public Verb {
  public:
    explicit InterfaceListVerb(CLI::App& app) { addInterfaceKindFlags(app, m_kinds); }

    int run() override {
        const std::string text = interfaceListText(m_kinds);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    InterfaceKinds m_kinds;
};

}  // namespace

std::unique_ptr<Verb> makeInterfaceListVerb(CLI::App& app) {
    return std::make_unique<InterfaceListVerb>(app);
}

}  // namespace qorCli
