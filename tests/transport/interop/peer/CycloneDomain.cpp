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

}  // namespace

std::string peerDomainConfiguration() {
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
           tracing() + "</Domain></CycloneDDS>";
}

dds_entity_t createPeerParticipant(std::uint32_t domain) {
    const dds_entity_t created = dds_create_domain(domain, peerDomainConfiguration().c_str());
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
