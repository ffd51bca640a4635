// `qor-ros2 interface list`: every message type the tool knows, as `ros2 interface list`
// prints its messages.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "MessageTypes.h"
#include "Verb.h"

namespace qorCli {
namespace {

class InterfaceListVerb : public Verb {
  public:
    int run() override {
        std::printf("Messages:\n");
        for (const MessageType& type : messageTypes()) {
            std::printf("    %s\n", type.name.c_str());
        }
        return 0;
    }
};

}  // namespace

std::unique_ptr<Verb> makeInterfaceListVerb(CLI::App&) {
    return std::make_unique<InterfaceListVerb>();
}

}  // namespace qorCli
