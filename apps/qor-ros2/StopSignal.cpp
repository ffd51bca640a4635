#include "StopSignal.h"

#include <csignal>

namespace qorCli {

namespace {

volatile std::sig_atomic_t g_stop = 0;

extern "C" void onStopSignal(int) {
    g_stop = 1;
}

}  // namespace

void installStopSignal() {
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);
}

bool stopRequested() {
    return g_stop != 0;
}

}  // namespace qorCli
