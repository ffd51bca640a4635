#include "CycloneDomain.h"

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace {

// Warnings to stderr, where the tests look for them. QOR_CYCLONE_TRACE=<file> writes Cyclone's
// complete trace to <file>.<pid> instead, to see why discovery or a transfer fails; the pid keeps
// the traces of peers that run side by side apart.
std::string tracing() {
    const char* file = std::getenv("QOR_CYCLONE_TRACE");
    if (file != nullptr && *file != '\0') {
        return std::string("<Tracing><Verbosity>finest</Verbosity><OutputFile>") + file + "." +
               std::to_string(getpid()) + "</OutputFile></Tracing>";
    }
    return "<Tracing><Verbosity>warning</Verbosity><OutputFile>stderr</OutputFile></Tracing>";
}

// The builtin authentication, access control and cryptography plugins with the files of the
// enclave folder `enclave`, as rmw_cyclonedds sets them from an SROS2 enclave.
std::string security(const std::string& enclave) {
    if (enclave.empty()) {
        return std::string();
    }
    const std::string plugins = QOR_CYCLONE_SECURITY_DIR;
    const auto library = [&plugins](const char* name, const char* functions) {
        return "<Library path=\"" + plugins + "/libdds_security_" + name +
               ".so\" initFunction=\"init_" + functions + "\" finalizeFunction=\"finalize_" +
               functions + "\"/>";
    };
    const auto file = [&enclave](const char* element, const char* name) {
        return std::string("<") + element + ">file:" + enclave + "/" + name + "</" + element + ">";
    };
    return "<Security><Authentication>" + library("auth", "authentication") +
           file("IdentityCA", "identity_ca.cert.pem") + file("IdentityCertificate", "cert.pem") +
           file("PrivateKey", "key.pem") + "</Authentication><AccessControl>" +
           library("ac", "access_control") + file("PermissionsCA", "permissions_ca.cert.pem") +
           file("Governance", "governance.p7s") + file("Permissions", "permissions.p7s") +
           "</AccessControl><Cryptographic>" + library("crypto", "crypto") +
           "</Cryptographic></Security>";
}

}  // namespace

std::string peerDomainConfiguration(const std::string& enclave) {
    return "<CycloneDDS><Domain id=\"any\">"
           "<General>"
           "<Interfaces><NetworkInterface autodetermine=\"true\"/></Interfaces>"
           "<AllowMulticast>spdp</AllowMulticast>"
           "</General>"
           "<Discovery>"
           "<Peers><Peer address=\"127.0.0.1\"/></Peers>"
           "<ParticipantIndex>auto</ParticipantIndex>"
           "<MaxAutoParticipantIndex>50</MaxAutoParticipantIndex>"
           "<SPDPInterval>100ms</SPDPInterval>"
           "</Discovery>" +
           tracing() + security(enclave) + "</Domain></CycloneDDS>";
}

dds_entity_t createPeerParticipant(std::uint32_t domain, const std::string& enclave) {
    const dds_entity_t created =
        dds_create_domain(domain, peerDomainConfiguration(enclave).c_str());
    if (created < 0) {
        throw std::runtime_error(std::string("cannot create DDS domain: ") +
                                 dds_strretcode(created));
    }
    const dds_entity_t participant = dds_create_participant(domain, nullptr, nullptr);
    if (participant < 0) {
        throw std::runtime_error(std::string("cannot create DDS participant: ") +
                                 dds_strretcode(participant));
    }
    return participant;
}
