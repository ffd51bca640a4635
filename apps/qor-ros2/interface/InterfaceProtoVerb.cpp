// `qor-ros2 interface proto TYPE`: a YAML prototype of a message, as `ros2 interface proto`
// prints it, which `topic pub` takes as its values.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/Verb.h"
#include "interface/InterfaceVerbs.h"

namespace qorCli {
namespace {

class InterfaceProtoVerb : public Verb {
  public:
    explicit InterfaceProtoVerb(CLI::App& app) {
        addPositional(app, "type", m_type, true,
                      "Show an interface definition (e.g. \"example_interfaces/msg/String\")");
        addFlag(app, "--no-quotes", m_noQuotes, "if true output has no outer quotes.");
    }

    int run() override {
        const std::string text = interfaceProtoText(m_type, m_noQuotes);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    std::string m_type;
    bool m_noQuotes = false;
};

}  // namespace

std::unique_ptr<Verb> makeInterfaceProtoVerb(CLI::App& app) {
    return std::make_unique<InterfaceProtoVerb>(app);
}

}  // namespace qorCli
