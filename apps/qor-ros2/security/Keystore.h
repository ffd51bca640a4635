#pragma once

// The keystore of a secured ROS 2 system, laid out as SROS2 lays it out: one certificate
// authority for identities and permissions, and one folder per enclave with everything a secured
// participant needs.

#include <string>

namespace qorCli {

/// Creates the keystore in `directory` (made when missing): public/ca.cert.pem with
/// public/identity_ca.cert.pem and public/permissions_ca.cert.pem linked to it, the CA's key in
/// private/, and enclaves/governance.xml for the DDS domain `domain` (SROS2's text) with
/// enclaves/governance.p7s signed by the CA. Throws std::runtime_error naming the file it could
/// not write, or when a keystore is already there.
void createKeystore(const std::string& directory, int domain);

/// Creates or renews the enclave `name` ("/a/b") in the keystore `directory`, as SROS2 does:
/// enclaves/a/b/ with a key and an identity certificate for "CN=/a/b" signed by the identity CA
/// (both kept when both are there), links to the CA certificates and the governance, and
/// permissions.xml (SROS2's default policy in the DDS domain `domain`, valid as long as the
/// certificate) with permissions.p7s signed by the permissions CA, both always written anew.
/// Throws std::runtime_error naming what is missing or what could not be written.
void createEnclave(const std::string& directory, const std::string& name, int domain);

}  // namespace qorCli
