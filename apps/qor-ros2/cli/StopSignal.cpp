#include "cli/StopSignal.h"

#include <csignal>

namespace qorCli {

namespace {

// The number of the signal that arrived, 0 before any.
volatile std::sig_atomic_t g_stopSignal = 0;

extern "C" void onStopSignal(int number) {
    g_stopSignal = number;
}

}  // namespace

void installStopSignal() {
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);
}

bool stopRequested() {
    return g_stopSignal != 0;
}

int stopExitCode() {
    return g_stopSignal;
}

void acknowledgeStop() {
    g_stopSignal = 0;
}

void throwIfStopRequested() {
    if (stopRequested()) {
        throw StopRequested{};
    }
}

}  // namespace qorCli
