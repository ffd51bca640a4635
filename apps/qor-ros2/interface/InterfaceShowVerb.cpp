// `qor-ros2 interface show TYPE`: a message, service or action type's definition, as `ros2
// interface show` prints it (a service's request, "---", its response; an action's goal, "---",
// its result, "---", its feedback).

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/Verb.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "types/MessageTypes.h"

namespace qorCli {
namespace {

class InterfaceShowVerb : public Verb {
  public:
    explicit InterfaceShowVerb(CLI::App& app) {
        addPositional(app, "type", m_type, true,
                      "Show an interface definition (e.g. \"std_msgs/msg/String\")");
    }

    int run() override {
        const std::string& text = definitionText();
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    const std::string& definitionText() const {
        namespace ts = qorROS2::typesupport;
        if (ts::findTypeSupport(m_type) == nullptr) {
            if (const ts::ServiceTypeSupport* service = ts::findServiceTypeSupport(m_type)) {
                return service->definitionText();
            }
            if (const ts::ActionTypeSupport* action = ts::findActionTypeSupport(m_type)) {
                return action->definitionText();
            }
        }
        // The tool's own lookup gives its error text for an unknown name.
        return knownTypeSupport(m_type).definitionText();
    }

    std::string m_type;
};

}  // namespace

std::unique_ptr<Verb> makeInterfaceShowVerb(CLI::App& app) {
    return std::make_unique<InterfaceShowVerb>(app);
}

}  // namespace qorCli
