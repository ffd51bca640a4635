// The demo: the bundled arm scene on MuJoCo, bridged to ROS 2 until Ctrl-C or --duration.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "DemoBridge.h"
#include "DemoOptions.h"
#include "DemoParameters.h"
#include "DemoRecorder.h"
#include "DemoWebFeed.h"
#include "ParameterArguments.h"
#include "StartupText.h"
#include "StatusLine.h"
#include "qor/Notify.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/PublicationObserver.h"
#include "qorROS2/ROS2RosoutPublisher.h"
#include "qorROS2/ROS2SimulationControlServer.h"
#include "qorROS2/web/BundledPage.h"

namespace {

volatile std::sig_atomic_t g_stopRequested = 0;

void requestStop(int /*signal*/) {
    g_stopRequested = 1;
}

// The recorder of --record, seeing every publisher made from now on; null without --record.
std::shared_ptr<qorDemo::DemoRecorder> startRecording(const qorDemo::DemoOptions& options) {
    if (options.recordDirectory.empty()) {
        return nullptr;
    }
    qorROS2::bag::BagWriterOptions bag;
    if (options.recordCompression == "zstd") {
        bag.compression = qorROS2::bag::McapCompression::zstd;
    } else if (options.recordCompression == "lz4") {
        bag.compression = qorROS2::bag::McapCompression::lz4;
    }
    bag.metadataVersion = options.recordVersion;
    auto recorder = std::make_shared<qorDemo::DemoRecorder>(options.recordDirectory, bag,
                                                            options.recordSimulatedTime);
    qorROS2::observePublications(recorder);
    return recorder;
}

// Serves the demo's topics to web clients as --web asks. An address that is none is a usage error.
std::unique_ptr<qorDemo::DemoWebFeed> startWebFeed(const qorDemo::DemoOptions& options,
                                                   const qorDemo::DemoBridge& bridge) {
    qorROS2::web::ServerOptions server;
    server.address = options.webAddress;
    server.port = options.webPort;
    server.name = "qor-ros2-demo";
    server.metadata = {{"ROS_DOMAIN_ID", std::to_string(options.domainId)}};
    server.token = options.webToken;
    server.niceness = qorDemo::kWebViewNiceness;
    // The page qor-ros2 bridge web serves: a browser pointed at the address shows the demo.
    server.staticDirectory = qorROS2::web::bundledPageDirectory();
    try {
        return std::make_unique<qorDemo::DemoWebFeed>(bridge.topics(), options.domainId,
                                                      std::move(server));
    } catch (const std::invalid_argument& error) {
        throw qorDemo::UsageError(std::string("--web-address: ") + error.what());
    }
}

// Where the web view is, after the startup text, and its page if there is one.
void printWebAddress(const qorDemo::DemoOptions& options, const qorDemo::DemoWebFeed& web) {
    const bool v6 = options.webAddress.find(':') != std::string::npos;
    const std::string host = v6 ? "[" + options.webAddress + "]" : options.webAddress;
    const auto port = static_cast<unsigned>(web.port());
    std::printf("Serving the demo's topics to Foxglove on ws://%s:%u%s\n", host.c_str(), port,
                options.webToken.empty() ? "" : " (with ?token=...)");
    if (web.servesPage()) {
        std::printf("Live view in a browser: http://%s:%u/%s\n", host.c_str(), port,
                    options.webToken.empty() ? "" : "?token=...");
    } else {
        std::fflush(stdout);  // the warning comes after the address it is about
        std::fprintf(stderr,
                     "warning: the demo finds no page of its own (share/qorROS2/web above this "
                     "program): browsers get 404, Foxglove still connects\n");
    }
}

int run(qorDemo::DemoOptions options, const qorDemo::DemoParameters::Overrides& overrides) {
    // Before any publisher is made, so that every topic is in the bag from its first message.
    const std::shared_ptr<qorDemo::DemoRecorder> recorder = startRecording(options);
    // The settings are parameters of the node; -p and parameter files may change them before
    // the scene is built from them.
    qorDemo::DemoParameters parameters(options, overrides);
    qorDemo::DemoBridge bridge(options);
    qorDemo::Pacing pacing{options.rateFactor, options.asFastAsPossible};
    parameters.bind(bridge, pacing);
    // Started first: an address or port it cannot have ends the demo before it says anything.
    std::unique_ptr<qorDemo::DemoWebFeed> web;
    if (options.web) {
        web = startWebFeed(options, bridge);
    }
    std::printf("%s", qorDemo::startupText(options.domainId, bridge.jointSummary(), bridge.topics(),
                                           options.robotDescriptionPath)
                          .c_str());
    if (web) {
        printWebAddress(options, *web);
    }
    std::fflush(stdout);

    qorDemo::StatusLine status(stdout);
    // Warnings go to /rosout as a ROS 2 node's do, stamped with the simulation's time, and are
    // written on lines of their own, with the status line drawn again below them.
    qorROS2::ROS2RosoutPublisher rosout(options.domainId);
    rosout.setTime(bridge.time());
    const qor::ScopedNotifySink warnings(rosout.sinkAround(qorDemo::sinkAround(status, stderr)));
    auto start = std::chrono::steady_clock::now();
    double startTime = bridge.time();
    qorDemo::Pacing paced = pacing;
    std::uint64_t steps = 0;
    // Simulated seconds stepped so far: --duration counts them, whatever resets do to the time.
    double ran = 0.0;
    // Pacing counts from the first step after a pause or a reset, not from before it.
    bool repace = false;
    double timeSeen = bridge.time();
    qorROS2::ROS2SimulationControlServer& control = bridge.simulationControl();
    control.onReset([&](bool /*time*/, bool /*state*/) {
        status.shiftTime(bridge.time() - timeSeen);
        timeSeen = bridge.time();
        repace = true;
    });
    const auto current = [&]() {
        return qorDemo::Status{bridge.time(),
                               steps,
                               bridge.matchedSubscriptions(),
                               bridge.commandsTaken(),
                               bridge.activeSensors(),
                               bridge.incompatibleSubscriptions()};
    };
    while (g_stopRequested == 0 && (options.duration <= 0.0 || ran < options.duration)) {
        if (web) {
            web->setTime(bridge.time());
        }
        // Requests are answered between steps: a changed setting applies from the next one.
        control.handleRequests();
        if (web) {
            web->answerServiceCalls(control);
        }
        bridge.entities().handleRequests();
        parameters.serve(bridge.time());
        if (web) {
            web->answerParameterRequests(parameters);
        }
        if (control.quitRequested()) {
            break;
        }
        if (!control.shouldStep()) {
            // Paused: a bounded wait, so that the parameters are served and Ctrl-C is seen.
            control.waitForRequest(std::chrono::milliseconds(20));
            repace = true;
            status.update(current());
            continue;
        }
        if (repace) {
            repace = false;
            start = std::chrono::steady_clock::now();
            startTime = bridge.time();
        }
        // The steps of a step_simulation request are made at once, unpaced.
        const bool inRun = control.stepping();
        if (recorder != nullptr) {
            // A paced run keeps its pace and drops what the disk cannot take, as `bag record`
            // never holds a publisher up; an unpaced run has no pace to keep, so it waits for
            // the disk and records everything.
            recorder->waitForWriter(pacing.asFastAsPossible || inRun);
        }
        bridge.step();
        ran += bridge.time() - timeSeen;
        timeSeen = bridge.time();
        rosout.setTime(bridge.time());
        if (pacing.factor != paced.factor || pacing.asFastAsPossible != paced.asFastAsPossible) {
            // A new pace counts from now, not from the start.
            paced = pacing;
            start = std::chrono::steady_clock::now();
            startTime = bridge.time();
        }
        ++steps;
        repace = repace || inRun;
        if (!pacing.asFastAsPossible && !inRun) {
            // Paces simulated time against the wall clock instead of sleeping a fixed time per
            // step, so that slow steps are caught up.
            const auto due =
                start +
                std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                    std::chrono::duration<double>((bridge.time() - startTime) / pacing.factor));
            std::this_thread::sleep_until(due);
        }
        status.update(current());
    }
    // Every frame taken is published before the run ends, and so recorded.
    bridge.finishSensors();
    status.finish(current());
    if (recorder != nullptr) {
        qorROS2::observePublications(nullptr);
        const bool recorded = recorder->finish(stderr);
        std::printf("qor-ros2-demo: recorded %llu messages of %llu steps into %s\n",
                    static_cast<unsigned long long>(recorder->written()),
                    static_cast<unsigned long long>(steps), options.recordDirectory.c_str());
        if (!recorded) {
            return 1;
        }
    }

    if (!options.snapshotPath.empty()) {
        std::string error;
        if (!bridge.writeSnapshot(options.snapshotPath, error)) {
            std::fprintf(stderr, "qor-ros2-demo: %s\n", error.c_str());
            return 1;
        }
        std::printf("qor-ros2-demo: wrote %s\n", options.snapshotPath.c_str());
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    qorDemo::DemoOptions options;
    qorDemo::DemoParameters::Overrides overrides;
    try {
        std::vector<std::string> arguments(argv + 1, argv + argc);
        // "--ros-args -r __node:=NAME -r __ns:=/NS" names the demo's node, as in ROS 2.
        // "-p NAME:=VALUE" and "--params-file FILE" set parameters of the node, as in ROS 2.
        const qorDemo::ParameterArguments parameterArguments =
            qorDemo::ParameterArguments::take(arguments);
        qorROS2::applyRosArguments(arguments);
        overrides = parameterArguments.overridesFor(qorROS2::nodeIdentity().fullName());
        options = qorDemo::parseDemoOptions(arguments, qorROS2::processRosEnvironment());
    } catch (const qorDemo::UsageError& error) {
        std::fprintf(stderr, "qor-ros2-demo: %s\n", error.what());
        return 2;
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "qor-ros2-demo: %s\n", error.what());
        return 2;
    }
    if (options.help) {
        std::printf("%s", qorDemo::demoUsage().c_str());
        return 0;
    }
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    try {
        return run(options, overrides);
    } catch (const qorDemo::UsageError& error) {
        std::fprintf(stderr, "qor-ros2-demo: %s\n", error.what());
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qor-ros2-demo: %s\n", error.what());
        return 1;
    }
}
