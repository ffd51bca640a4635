#pragma once

// The command line the service test peers share, whichever middleware they are written on:
//   <program> client|server <domain> <service> <count> <timeout ms>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace qorTest {

/// What a service peer was asked to do.
struct ServicePeerArguments {
    bool client = false;                   ///< "client" sends requests, "server" answers them
    std::uint32_t domain = 0;              ///< the DDS domain, 0 to 232
    std::string service;                   ///< the service, without its leading '/'
    int count = 0;                         ///< requests to send or to answer, at least 1
    std::chrono::milliseconds timeout{0};  ///< how long the peer may take in all, at least 1 ms
};

/// The arguments of a service peer's `argv`; none, after the reason and the usage line on
/// stderr ("qor_peer: <count> must be a whole number from 1 on, not 'x'"), when they are not
/// as the usage says.
std::optional<ServicePeerArguments> parseServicePeerArguments(int argc, const char* const* argv);

/// The exit code of a peer whose arguments did not parse, as sysexits' EX_USAGE.
inline constexpr int kServicePeerUsageExit = 64;

}  // namespace qorTest
