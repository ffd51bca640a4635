// `qor-ros2 security create_keystore ROOT`: a keystore laid out as SROS2 lays it out.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "security/Keystore.h"

namespace qorCli {
namespace {

class SecurityCreateKeystoreVerb : public Verb {
  public:
    explicit SecurityCreateKeystoreVerb(CLI::App& app) {
        addPositional(app, "ROOT", m_root, true, "root path of keystore");
    }

    int run() override {
        createKeystore(m_root, domainFromEnvironment());
        std::printf("created the keystore %s\n", m_root.c_str());
        return 0;
    }

  private:
    std::string m_root;
};

}  // namespace

std::unique_ptr<Verb> makeSecurityCreateKeystoreVerb(CLI::App& app) {
    return std::make_unique<SecurityCreateKeystoreVerb>(app);
}

}  // namespace qorCli
