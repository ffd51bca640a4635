#pragma once

// The security (SROS2) settings of this process, as ROS 2 programs read them from the
// environment: whether to secure the participants, how strictly, and the enclave's files.

#include <string>
#include <vector>

#include "qorROS2/RosEnvironment.h"

namespace qorROS2::transport::participant {

using qorROS2::EnvironmentLookup;
using qorROS2::RosEnvironment;

/// Where the files of one enclave are, when the participants are secured.
struct SecuritySettings {
    bool enforce = false;   // ROS_SECURITY_STRATEGY=Enforce: no participant without security
    std::string directory;  // the enclave's folder; empty when the participants are not secured
    bool hasCrl = false;    // the folder holds a certificate revocation list, crl.pem
};

/// What ROS_SECURITY_ENABLE, ROS_SECURITY_STRATEGY, ROS_SECURITY_KEYSTORE and
/// ROS_SECURITY_ENCLAVE_OVERRIDE of `environment` ask for. The files are those of `enclave` (the
/// process's enclave, "/" unless --enclave chose another) unless ROS_SECURITY_ENCLAVE_OVERRIDE
/// names another, as in rcl. Throws std::invalid_argument when a value cannot be used or when
/// Enforce finds no usable enclave; under Permissive that is one line added to `warnings`, and the
/// participants stay unsecured.
SecuritySettings readSecuritySettings(const RosEnvironment& environment, const std::string& enclave,
                                      std::vector<std::string>& warnings);

/// readSecuritySettings() of the environment read through `lookup`.
SecuritySettings readSecuritySettings(const EnvironmentLookup& lookup, const std::string& enclave,
                                      std::vector<std::string>& warnings);

/// The files every secured participant needs, in the enclave's folder.
const std::vector<std::string>& enclaveFileNames();

}  // namespace qorROS2::transport::participant
