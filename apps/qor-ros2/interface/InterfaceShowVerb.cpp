// `qor-ros2 interface show TYPE`: a message or service type's definition, as `ros2 interface
// show` prints it (a service's request, "---", its response).

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
        // The tool's own lookup gives its error text for an unknown name.
        const qorROS2::typesupport::ServiceTypeSupport* service =
            qorROS2::typesupport::findTypeSupport(m_type) == nullptr
                ? qorROS2::typesupport::findServiceTypeSupport(m_type)
                : nullptr;
        const std::string& text = service != nullptr ? service->definitionText()
                                                     : knownTypeSupport(m_type).definitionText();
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    std::string m_type;
};

}  // namespace

std::unique_ptr<Verb> makeInterfaceShowVerb(CLI::App& app) {
    return std::make_unique<InterfaceShowVerb>(app);
}

}  // namespace qorCli
