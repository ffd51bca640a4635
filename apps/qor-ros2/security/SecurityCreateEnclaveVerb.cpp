// `qor-ros2 security create_enclave ROOT NAME`: an enclave's identity and permissions in a
// keystore.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "security/Keystore.h"

namespace qorCli {
namespace {

class SecurityCreateEnclaveVerb : public Verb {
  public:
    explicit SecurityCreateEnclaveVerb(CLI::App& app) {
        addPositional(app, "ROOT", m_root, true, "root path of keystore");
        addPositional(app, "NAME", m_name, true, "enclave name");
    }

    int run() override {
        createEnclave(m_root, m_name, domainFromEnvironment());
        std::printf("created the enclave %s in %s\n", m_name.c_str(), m_root.c_str());
        return 0;
    }

  private:
    std::string m_root;
    std::string m_name;
};

}  // namespace

std::unique_ptr<Verb> makeSecurityCreateEnclaveVerb(CLI::App& app) {
    return std::make_unique<SecurityCreateEnclaveVerb>(app);
}

}  // namespace qorCli
