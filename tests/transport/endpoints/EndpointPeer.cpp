// The other end of the tests that need a second process or a second host. It does one thing, told
// on its command line, through the library only, and ends by itself after a time limit:
//
//   qorNtROS2EndpointPeer echo <domain> <from-topic> <to-topic> <seconds>
//       republishes every JointState from one topic on the other
//   qorNtROS2EndpointPeer ping <domain> <to-topic> <from-topic> <seconds>
//       publishes a JointState on <to-topic> every 20 ms until it comes back on <from-topic>;
//       exits 0 then, 1 when time runs out first (one topic for both asks this process itself)
//   qorNtROS2EndpointPeer publish-images <domain> <topic> <width> <height> <qos> <seconds> [<ms>]
//       publishes numbered rgb8 images every <ms> milliseconds (20 unless given); <qos> is
//       "sensor" or "reliable"
//   qorNtROS2EndpointPeer receive-images <domain> <topic> <width> <height> <qos> <count> <seconds>
//       exits 0 once <count> images have arrived intact, 1 when time runs out first
//   qorNtROS2EndpointPeer exit-holding-endpoints <domain> <topic>
//       returns from main while static endpoints still hold the participant
//   qorNtROS2EndpointPeer publish-joint-states <domain> <topic> <seconds>
//       publishes knownJointState() every 20 ms
//   qorNtROS2EndpointPeer print-joint-state-bytes <domain> <topic> <seconds>
//       waits for a JointState and prints its bytes, as received, in hex; exits 0 then, 1 when
//       time runs out first
//   qorNtROS2EndpointPeer drain <domain> <topic> <type> <qos> <seconds>
//       takes every sample of <type> ("clock", "joint_state" or "image") as it comes; <qos> is
//       "clock" or "sensor"
//   qorNtROS2EndpointPeer answer-once <domain> <service> <seconds>
//       serves std_srvs/srv/SetBool, answers the first request with success and the message
//       "bye", and returns from main right after the answer; exits 1 when time runs out first
//   qorNtROS2EndpointPeer discover <domain> <seconds>
//       holds a topic discovery of the domain, so that the process both announces its node and
//       reads the announcements of others
//
// Any of them may end with ROS 2 arguments: "--ros-args -r __node:=NAME" names its node.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "../cdr/KnownRecords.h"
#include "../services/ServiceBytes.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawServiceServer.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using Clock = std::chrono::steady_clock;

// The size of the images exchanged and the QOS of both ends.
struct ImageStream {
    std::int8_t domain;
    std::string topic;
    std::uint32_t width;
    std::uint32_t height;
    QOS qos;
};

ImageStream imageStreamOf(const std::vector<std::string>& args) {
    return ImageStream{static_cast<std::int8_t>(std::stoi(args[2])), args[3],
                       static_cast<std::uint32_t>(std::stoul(args[4])),
                       static_cast<std::uint32_t>(std::stoul(args[5])),
                       args[6] == "reliable" ? QOS{} : createSensorDataQOS()};
}

std::uint8_t imageByte(std::size_t index, std::int32_t number) {
    return static_cast<std::uint8_t>(index * 31U + static_cast<std::uint32_t>(number));
}

std::int8_t domainOf(const char* text) {
    return static_cast<std::int8_t>(std::atoi(text));
}

Clock::time_point deadlineOf(const char* seconds) {
    return Clock::now() + std::chrono::seconds(std::atoi(seconds));
}

void pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

int echo(std::int8_t domain, const std::string& from, const std::string& to,
         Clock::time_point deadline) {
    Subscriber<sensorMsgs::JointState> subscriber(from, QOS{}, domain);
    Publisher<sensorMsgs::JointState> publisher(to, QOS{}, domain);
    sensorMsgs::JointState state{};
    while (Clock::now() < deadline) {
        while (subscriber.receiveMessage(state)) {
            publisher.sendMessage(state);
        }
        pause();
    }
    return 0;
}

int ping(std::int8_t domain, const std::string& to, const std::string& from,
         Clock::time_point deadline) {
    Publisher<sensorMsgs::JointState> publisher(to, QOS{}, domain);
    Subscriber<sensorMsgs::JointState> subscriber(from, QOS{}, domain);
    sensorMsgs::JointState sent{};
    sent.name = {"ping"};
    sensorMsgs::JointState received{};
    while (Clock::now() < deadline) {
        publisher.sendMessage(sent);
        for (int wait = 0; wait < 10; ++wait) {
            if (subscriber.receiveMessage(received) && received.name == sent.name) {
                std::printf("came back on %s\n", from.c_str());
                return 0;
            }
            pause();
        }
    }
    std::printf("nothing came back on %s\n", from.c_str());
    return 1;
}

int publishImages(const ImageStream& stream, Clock::time_point deadline,
                  std::chrono::milliseconds period) {
    Publisher<sensorMsgs::Image> publisher(stream.topic, stream.qos, stream.domain);
    sensorMsgs::Image image{};
    image.width = stream.width;
    image.height = stream.height;
    image.encoding = "rgb8";
    image.step = 3 * stream.width;
    image.data.resize(std::size_t{image.step} * stream.height);
    for (std::int32_t number = 0; Clock::now() < deadline; ++number) {
        image.header.stamp.sec = number;
        for (std::size_t i = 0; i < image.data.size(); ++i) {
            image.data[i] = imageByte(i, number);
        }
        publisher.sendMessage(image);
        std::this_thread::sleep_for(period);
    }
    return 0;
}

bool intact(const sensorMsgs::Image& image, const ImageStream& stream) {
    if (image.width != stream.width || image.height != stream.height || image.encoding != "rgb8" ||
        image.data.size() != std::size_t{3} * stream.width * stream.height) {
        return false;
    }
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        if (image.data[i] != imageByte(i, image.header.stamp.sec)) {
            return false;
        }
    }
    return true;
}

int receiveImages(const ImageStream& stream, int count, Clock::time_point deadline) {
    Subscriber<sensorMsgs::Image> subscriber(stream.topic, stream.qos, stream.domain);
    sensorMsgs::Image image{};
    int received = 0;
    while (received < count && Clock::now() < deadline) {
        if (subscriber.receiveMessage(image)) {
            if (!intact(image, stream)) {
                std::fprintf(stderr, "image %d arrived damaged\n", image.header.stamp.sec);
                return 1;
            }
            ++received;
        } else {
            pause();
        }
    }
    std::printf("received %d images\n", received);
    return received == count ? 0 : 1;
}

// Deep enough that the samples of a burst all wait to be taken.
const QOS kDeepReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

int publishJointStates(std::int8_t domain, const std::string& topic, Clock::time_point deadline) {
    Publisher<sensorMsgs::JointState> publisher(topic, kDeepReliable, domain);
    const sensorMsgs::JointState state = qorTest::knownJointState();
    while (Clock::now() < deadline) {
        publisher.sendMessage(state);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return 0;
}

int printJointStateBytes(std::int8_t domain, const std::string& topic, Clock::time_point deadline) {
    Subscriber<sensorMsgs::JointState> subscriber(topic, kDeepReliable, domain);
    subscriber.keepSampleBytes();
    sensorMsgs::JointState state{};
    while (Clock::now() < deadline) {
        if (subscriber.receiveMessage(state)) {
            for (std::uint8_t byte : subscriber.lastSampleBytes()) {
                std::printf("%02x", byte);
            }
            std::printf("\n");
            return 0;
        }
        subscriber.waitForSample(std::chrono::milliseconds(100));
    }
    return 1;
}

int exitHoldingEndpoints(std::int8_t domain, const std::string& topic) {
    // Destroyed after main returns, in the middle of the static destructors of the process.
    static Publisher<rosgraphMsgs::Clock> publisher(topic, createClockQOS(), domain);
    static Subscriber<rosgraphMsgs::Clock> subscriber(topic, createClockQOS(), domain);
    rosgraphMsgs::Clock clock{};
    clock.clock.sec = 1;
    return publisher.sendMessage(clock) ? 0 : 1;
}

template <typename T>
int drainSamples(std::int8_t domain, const std::string& topic, const QOS& qos,
                 Clock::time_point deadline) {
    Subscriber<T> subscriber(topic, qos, domain);
    T sample{};
    while (Clock::now() < deadline) {
        while (subscriber.receiveMessage(sample)) {
        }
        pause();
    }
    return 0;
}

int answerOnce(std::int8_t domain, const std::string& service, Clock::time_point deadline) {
    RawServiceServer server(service, "std_srvs/srv/SetBool", domain);
    RawServiceRequest request;
    while (Clock::now() < deadline) {
        if (server.takeRequest(request)) {
            const ReplyOutcome outcome =
                server.sendReply(request.id, qorTest::setBoolResponse(true, "bye"));
            return outcome == ReplyOutcome::sent ? 0 : 1;
        }
        server.waitForRequest(std::chrono::milliseconds(20));
    }
    return 1;
}

int discover(std::int8_t domain, Clock::time_point deadline) {
    const TopicDiscovery discovery(domain);
    while (Clock::now() < deadline) {
        pause();
    }
    return 0;
}

int drain(const std::vector<std::string>& args, Clock::time_point deadline) {
    const std::int8_t domain = domainOf(args[2].c_str());
    const QOS qos = args[5] == "clock" ? createClockQOS() : createSensorDataQOS();
    if (args[4] == "clock") {
        return drainSamples<rosgraphMsgs::Clock>(domain, args[3], qos, deadline);
    }
    if (args[4] == "joint_state") {
        return drainSamples<sensorMsgs::JointState>(domain, args[3], qos, deadline);
    }
    if (args[4] == "image") {
        return drainSamples<sensorMsgs::Image>(domain, args[3], qos, deadline);
    }
    std::fprintf(stderr, "unknown type %s\n", args[4].c_str());
    return 2;
}

}  // namespace

// Read by AddressSanitizer, when the peer is built with it. Debian's Fast DDS 2.9.1 deletes its
// statistics reader through a base class of another size, which the sanitizer would report at
// every reader's deletion; that is the middleware's, not ours.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "new_delete_type_mismatch=0";
}

int main(int rawArgc, char** rawArgv) {
    std::vector<std::string> args(rawArgv, rawArgv + rawArgc);
    try {
        qorROS2::applyRosArguments(args);
        std::vector<char*> pointers;
        for (std::string& arg : args) {
            pointers.push_back(arg.data());
        }
        const int argc = static_cast<int>(args.size());
        char** argv = pointers.data();
        if (argc == 6 && args[1] == "echo") {
            return echo(domainOf(argv[2]), args[3], args[4], deadlineOf(argv[5]));
        }
        if (argc == 6 && args[1] == "ping") {
            return ping(domainOf(argv[2]), args[3], args[4], deadlineOf(argv[5]));
        }
        if ((argc == 8 || argc == 9) && args[1] == "publish-images") {
            const std::chrono::milliseconds period(argc == 9 ? std::atoi(argv[8]) : 20);
            return publishImages(imageStreamOf(args), deadlineOf(argv[7]), period);
        }
        if (argc == 9 && args[1] == "receive-images") {
            return receiveImages(imageStreamOf(args), std::atoi(argv[7]), deadlineOf(argv[8]));
        }
        if (argc == 5 && args[1] == "publish-joint-states") {
            return publishJointStates(domainOf(argv[2]), args[3], deadlineOf(argv[4]));
        }
        if (argc == 5 && args[1] == "print-joint-state-bytes") {
            return printJointStateBytes(domainOf(argv[2]), args[3], deadlineOf(argv[4]));
        }
        if (argc == 7 && args[1] == "drain") {
            return drain(args, deadlineOf(argv[6]));
        }
        if (argc == 5 && args[1] == "answer-once") {
            return answerOnce(domainOf(argv[2]), args[3], deadlineOf(argv[4]));
        }
        if (argc == 4 && args[1] == "discover") {
            return discover(domainOf(argv[2]), deadlineOf(argv[3]));
        }
        if (argc == 4 && args[1] == "exit-holding-endpoints") {
            return exitHoldingEndpoints(domainOf(argv[2]), args[3]);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
    std::fprintf(stderr, "usage: see the comment at the top of EndpointPeer.cpp\n");
    return 2;
}
