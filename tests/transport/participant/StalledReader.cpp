// A reader process that never finishes handling its first sample: its callback prints "received"
// and then holds the middleware's receiving thread until the process is killed, as a process
// killed while it handles a sample leaves that thread. The test that starts it kills it there.
//
//   qorNtROS2StalledReader <domain> <topic>
//
// Prints "subscribed" once its subscriber exists and "received" when the first sample arrives;
// exits 2 on bad arguments.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "qorROS2/Messages.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: qorNtROS2StalledReader <domain> <topic>\n");
        return 2;
    }
    try {
        const int domain = std::stoi(argv[1]);
        if (domain < 0 || domain > 127) {
            throw std::out_of_range("domain");
        }
        qorROS2::Subscriber<qorROS2::rosgraphMsgs::Clock> reader(argv[2], qorROS2::createClockQOS(),
                                                                 static_cast<std::int8_t>(domain));
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
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qorNtROS2StalledReader: %s\n", error.what());
        return 2;
    }
}
