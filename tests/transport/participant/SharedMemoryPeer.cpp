// The reader processes of the shared-memory tests, through the library only.
//
//   qorNtROS2SharedMemoryPeer stall <domain> <topic>
//       subscribes to Clock; its callback prints "received" at the first sample and then holds
//       the middleware's receiving thread until the process is killed, as a process killed while
//       it handles a sample leaves that thread
//   qorNtROS2SharedMemoryPeer receive-images <domain> <topic> <count>
//       subscribes to best-effort numbered 1080p images, prints "matched" once it has matched a
//       publisher, then exits 0 once <count> images have arrived whole ("received N"), 1 when
//       one arrives damaged
//   qorNtROS2SharedMemoryPeer receive-stream <domain> <topic> <reliable|best_effort> <count>
//       subscribes to numbered 1080p images, volatile keep-last 5 of the given reliability,
//       prints "matched" once it has matched a publisher, then "received N" (N counted from 1)
//       as each image arrives whole, and exits 0 once <count> have arrived, 1 when one arrives
//       damaged or out of order
//
// Exits 2 on bad arguments.

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "NumberedImage.h"
#include "qorROS2/Messages.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

int stall(std::int8_t domain, const std::string& topic) {
    qorROS2::Subscriber<qorROS2::rosgraphMsgs::Clock> reader(topic, qorROS2::createClockQOS(),
                                                             domain);
    reader.onSample([] {
        std::printf("received\n");
        std::fflush(stdout);
        for (;;) {
            ::pause();
        }
    });
    std::printf("subscribed\n");
    std::fflush(stdout);
    for (;;) {
        ::pause();
    }
}

// Waits for a publisher, prints "matched", then takes `count` images, each checked whole and,
// with `inOrder`, numbered as the one due ("received N" after each). 0 once all came, 1 at the
// first that did not fit.
int receiveNumberedImages(const qorROS2::QOS& qos, std::int8_t domain, const std::string& topic,
                          int count, bool inOrder) {
    qorROS2::Subscriber<qorROS2::sensorMsgs::Image> reader(topic, qos, domain);
    while (reader.matchedPublications() == 0) {
        reader.waitForSample(std::chrono::milliseconds(5));
    }
    std::printf("matched\n");
    std::fflush(stdout);
    qorROS2::sensorMsgs::Image image{};
    for (int received = 0; received < count;) {
        if (!reader.receiveMessage(image)) {
            reader.waitForSample(std::chrono::milliseconds(100));
            continue;
        }
        if (!qorTest::isWholeNumberedImage(image)) {
            std::printf("image %d arrived damaged\n", image.header.stamp.sec);
            return 1;
        }
        // Images are numbered from 0 in the order they are sent.
        if (inOrder && image.header.stamp.sec != received) {
            std::printf("image %d arrived when image %d was due\n", image.header.stamp.sec,
                        received);
            return 1;
        }
        std::printf("received %d\n", ++received);
        std::fflush(stdout);
    }
    return 0;
}

int receiveImages(std::int8_t domain, const std::string& topic, int count) {
    return receiveNumberedImages(qorROS2::createSensorDataQOS(), domain, topic, count, false);
}

int receiveStream(std::int8_t domain, const std::string& topic, const std::string& reliability,
                  int count) {
    if (reliability != "reliable" && reliability != "best_effort") {
        throw std::invalid_argument("the reliability must be reliable or best_effort, got " +
                                    reliability);
    }
    const qorROS2::QOS qos{
        qorROS2::QOS::VOLATILE,
        reliability == "reliable" ? qorROS2::QOS::RELIABLE : qorROS2::QOS::BEST_EFFORT,
        qorROS2::QOS::KEEP_LAST, 5};
    return receiveNumberedImages(qos, domain, topic, count, true);
}

std::int8_t domainOf(const std::string& text) {
    const int domain = std::stoi(text);
    if (domain < 0 || domain > 127) {
        throw std::out_of_range("the domain must be from 0 to 127, got " + text);
    }
    return static_cast<std::int8_t>(domain);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string mode = argc > 1 ? argv[1] : "";
        if (argc == 4 && mode == "stall") {
            return stall(domainOf(argv[2]), argv[3]);
        }
        if (argc == 5 && mode == "receive-images") {
            return receiveImages(domainOf(argv[2]), argv[3], std::stoi(argv[4]));
        }
        if (argc == 6 && mode == "receive-stream") {
            return receiveStream(domainOf(argv[2]), argv[3], argv[4], std::stoi(argv[5]));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qorNtROS2SharedMemoryPeer: %s\n", error.what());
        return 2;
    }
    std::fprintf(stderr,
                 "usage: qorNtROS2SharedMemoryPeer stall <domain> <topic>\n"
                 "       qorNtROS2SharedMemoryPeer receive-images <domain> <topic> <count>\n"
                 "       qorNtROS2SharedMemoryPeer receive-stream <domain> <topic> "
                 "<reliable|best_effort> <count>\n");
    return 2;
}
