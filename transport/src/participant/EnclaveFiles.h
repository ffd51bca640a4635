#pragma once

// The signatures and validity times of an enclave's security files, checked before a secured
// participant is made, so that a changed, foreign, expired or not yet valid file is named instead
// of Fast DDS refusing the participant.

#include <string>

namespace qorROS2::transport::participant {

/// An empty text when the identity certificate, the private key and the two signed documents of
/// the enclave folder `directory` belong together, verify against their CAs, and the
/// certificates and the permissions' grant are valid now; otherwise what is wrong, naming the
/// file.
std::string enclaveFilesProblem(const std::string& directory);

}  // namespace qorROS2::transport::participant
