#pragma once

// The Cyclone DDS domain of the peer, set up to find the tests' Fast DDS participant on this host
// without multicast.

#include <cstdint>
#include <string>

#include <dds/dds.h>

/// The configuration of the peer's domain.
/// - Cyclone keeps the interface it would choose itself: Fast DDS advertises the host's
///   non-loopback addresses, and a Cyclone confined to loopback drops a participant whose
///   addresses are on none of its interfaces.
/// - The peer announces itself every 100 ms (Cyclone's default is 30 s) by unicast to 127.0.0.1,
///   on the discovery ports of the first 50 participants of the domain, where Fast DDS listens.
///   That alone finds Fast DDS on any host, loopback-only ones included.
/// - Multicast serves participant announcements only. Where the host has it, the peer hears the
///   announcement Fast DDS makes when its participant starts, and knows it before Fast DDS learns
///   of the peer. Otherwise Fast DDS's reply and its endpoint announcements reach the peer before
///   it has taken in Fast DDS's participant, the peer drops them, and Fast DDS repeats them only
///   with its next discovery heartbeat, a second later.
/// - With an `enclave` folder, the participant is secured by Cyclone's own DDS Security plugins
///   with that folder's files, as a ROS 2 node on Cyclone DDS is with an SROS2 enclave.
std::string peerDomainConfiguration(const std::string& enclave = std::string());

/// Creates the domain `domain` with that configuration and a participant in it. Throws
/// std::runtime_error with Cyclone's reason when either fails.
dds_entity_t createPeerParticipant(std::uint32_t domain,
                                   const std::string& enclave = std::string());
