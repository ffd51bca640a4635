#include "SecurityCommand.h"

#include <cstdio>

#include "Keystore.h"
#include "UsageError.h"

namespace qorCli {

int securityCommand(const std::string& verb, const std::vector<std::string>& arguments) {
    if (verb == "create_keystore") {
        if (arguments.size() != 1) {
            throw UsageError("usage: qor-ros2 security create_keystore DIR");
        }
        createKeystore(arguments[0]);
        std::printf("created the keystore %s\n", arguments[0].c_str());
        return 0;
    }
    if (verb == "create_enclave") {
        if (arguments.size() != 2) {
            throw UsageError("usage: qor-ros2 security create_enclave DIR /NAME");
        }
        createEnclave(arguments[0], arguments[1]);
        std::printf("created the enclave %s in %s\n", arguments[1].c_str(), arguments[0].c_str());
        return 0;
    }
    throw UsageError("unknown command 'security " + verb +
                     "' (known: create_keystore, create_enclave)");
}

}  // namespace qorCli
