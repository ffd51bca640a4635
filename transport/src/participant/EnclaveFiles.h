#pragma once

// The signatures of an enclave's security files, checked before a secured participant is made,
// so that a changed or foreign file is named instead of Fast DDS refusing the participant.

#include <string>

namespace qorROS2::detail {

/// An empty text when the identity certificate, the private key and the two signed documents of
/// the enclave folder `directory` belong together and verify against their CAs; otherwise what
/// is wrong, naming the file.
std::string enclaveFilesProblem(const std::string& directory);

}  // namespace qorROS2::detail
