#include "participant/SecuritySettings.h"

#include <sys/stat.h>

#include <stdexcept>

namespace qorROS2::transport::participant {
namespace {

bool isDirectory(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// The enclave's folder: <keystore>/enclaves for "/", <keystore>/enclaves/a/b for "/a/b".
std::string enclaveDirectory(const std::string& keystore, const std::string& enclave) {
    std::string directory = keystore + "/enclaves";
    if (enclave != "/") {
        directory += enclave.front() == '/' ? enclave : "/" + enclave;
    }
    return directory;
}

// Why the enclave's folder cannot secure a participant, or an empty text when it can.
std::string unusableBecause(const std::string& keystore, const std::string& directory) {
    if (keystore.empty()) {
        return "ROS_SECURITY_KEYSTORE is not set";
    }
    if (!isDirectory(directory)) {
        return "SECURITY ERROR: directory '" + directory + "' does not exist.";
    }
    for (const std::string& name : enclaveFileNames()) {
        if (!isFile(directory + "/" + name)) {
            return "couldn't find all security files! '" + directory + "/" + name + "' is missing";
        }
    }
    return std::string();
}

}  // namespace

const std::vector<std::string>& enclaveFileNames() {
    static const std::vector<std::string> names = {
        "identity_ca.cert.pem",    "cert.pem",       "key.pem",
        "permissions_ca.cert.pem", "governance.p7s", "permissions.p7s"};
    return names;
}

SecuritySettings readSecuritySettings(const RosEnvironment& environment, const std::string& enclave,
                                      std::vector<std::string>& warnings) {
    environment.throwIfUnusable("ROS_SECURITY_");
    SecuritySettings settings;
    if (!environment.securityEnabled) {
        return settings;
    }
    settings.enforce = environment.securityEnforced;
    const std::string& keystore = environment.keystore;
    const std::string& enclaveOverride = environment.enclaveOverride;
    // The override picks the files only: the enclave announced stays the process's own.
    const std::string directory =
        enclaveDirectory(keystore, enclaveOverride.empty() ? enclave : enclaveOverride);
    const std::string problem = unusableBecause(keystore, directory);
    if (problem.empty()) {
        settings.directory = directory;
        settings.hasCrl = isFile(directory + "/crl.pem");
    } else if (settings.enforce) {
        throw std::invalid_argument("ROS_SECURITY_STRATEGY=Enforce and " + problem +
                                    ": no participant is created without security");
    } else {
        warnings.push_back("ROS_SECURITY_ENABLE=true but " + problem +
                           ": running without security, as ROS_SECURITY_STRATEGY is not Enforce");
    }
    return settings;
}

SecuritySettings readSecuritySettings(const EnvironmentLookup& lookup, const std::string& enclave,
                                      std::vector<std::string>& warnings) {
    return readSecuritySettings(readRosEnvironment(lookup), enclave, warnings);
}

}  // namespace qorROS2::transport::participant
