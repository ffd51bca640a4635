#include "participant/SecuritySettings.h"

#include <sys/stat.h>

#include <stdexcept>

namespace qorROS2::detail {
namespace {

std::string valueOf(const std::function<const char*(const char*)>& lookup, const char* name) {
    const char* value = lookup(name);
    return value == nullptr ? std::string() : std::string(value);
}

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

SecuritySettings readSecuritySettings(const std::function<const char*(const char*)>& lookup,
                                      const std::string& enclave,
                                      std::vector<std::string>& warnings) {
    SecuritySettings settings;
    const std::string enable = valueOf(lookup, "ROS_SECURITY_ENABLE");
    if (enable != "true" && enable != "false" && !enable.empty()) {
        throw std::invalid_argument("ROS_SECURITY_ENABLE=\"" + enable +
                                    "\" cannot be used: use true or false");
    }
    const std::string strategy = valueOf(lookup, "ROS_SECURITY_STRATEGY");
    if (strategy != "Enforce" && strategy != "Permissive" && !strategy.empty()) {
        throw std::invalid_argument("ROS_SECURITY_STRATEGY=\"" + strategy +
                                    "\" cannot be used: use Enforce or Permissive");
    }
    if (enable != "true") {
        return settings;
    }
    settings.enforce = strategy == "Enforce";
    const std::string keystore = valueOf(lookup, "ROS_SECURITY_KEYSTORE");
    const std::string enclaveOverride = valueOf(lookup, "ROS_SECURITY_ENCLAVE_OVERRIDE");
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

}  // namespace qorROS2::detail
