#pragma once

// What the Cyclone DDS peer does once its arguments are read.

#include <csignal>

#include "PeerOptions.h"
#include "PeerTypes.h"

/// Runs `options` for samples of `type` and reports on stdout, one event per line:
///   ready                                        the endpoints exist and discovery has begun
///   reader-matched <n> / writer-matched <n>      the matched count changed to n
///   reader-incompatible-qos <policy>             a writer was found whose QoS does not fit
///   writer-incompatible-qos <policy>             a reader was found whose QoS does not fit
///   sample <i>, then path=value lines, then end  (print) the i-th sample received
///   echoed <i>                                   (echo) the i-th sample was written again
///   done | timeout received=<n> | stopped received=<n>
/// Returns the exit status: 0 when done or stopped by `stop`, 2 on timeout. Throws
/// std::runtime_error when an entity cannot be created or a sample cannot be written.
int runPeer(const PeerOptions& options, const PeerType& type,
            const volatile std::sig_atomic_t& stop);
