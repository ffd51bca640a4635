// qor_cyclone_peer: a ROS 2 endpoint on Eclipse Cyclone DDS, in its own process, that the interop
// tests talk to. It reads samples of one ROS 2 type and either writes them again on another
// topic (echo) or prints their values (print); see PeerOptions.cpp for the command line and
// PeerRun.h for what it reports.

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "PeerOptions.h"
#include "PeerRun.h"
#include "PeerTypes.h"

namespace {

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int /*signal*/) {
    stopRequested = 1;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGTERM, requestStop);
    std::signal(SIGINT, requestStop);
    try {
        const PeerOptions options =
            parsePeerOptions(std::vector<std::string>(argv + 1, argv + argc));
        const PeerType* type = findPeerType(options.type);
        if (type == nullptr) {
            std::fprintf(stderr, "qor_cyclone_peer: unknown type '%s'\n", options.type.c_str());
            return 1;
        }
        return runPeer(options, *type, stopRequested);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "qor_cyclone_peer: %s\n%s", error.what(), peerUsage);
        return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qor_cyclone_peer: %s\n", error.what());
        return 1;
    }
}
