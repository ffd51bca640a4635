#include "BenchmarkDriver.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace qorROS2::bench {

std::uint32_t benchmarkDomain() {
    return 100 + static_cast<std::uint32_t>(::getpid() % 20);
}

void parseNumericOptions(int argc, char** argv, std::initializer_list<NumericOption> known) {
    std::string names;
    for (const NumericOption& option : known) {
        names += std::string(names.empty() ? "" : ", ") + option.name + " N";
    }
    for (int i = 1; i < argc; i += 2) {
        const std::string name = argv[i];
        const NumericOption* option = nullptr;
        for (const NumericOption& candidate : known) {
            option = name == candidate.name ? &candidate : option;
        }
        if (option == nullptr) {
            throw std::invalid_argument("unknown option " + name + " (known: " + names + ")");
        }
        char* end = nullptr;
        const long value = i + 1 < argc ? std::strtol(argv[i + 1], &end, 10) : 0;
        if (end == nullptr || *end != '\0' || value < option->minimum || value > 1000000) {
            throw std::invalid_argument("option " + name + " needs a number from " +
                                        std::to_string(option->minimum) + " to 1000000");
        }
        *option->value = static_cast<int>(value);
    }
}

int runBenchmarkProgram(int argc, char** argv, const char* program, const char* peerFlag,
                        const std::function<int(const std::vector<std::string>&)>& peer,
                        const std::function<int()>& benchmark) {
    try {
        if (argc > 1 && std::string(argv[1]) == peerFlag) {
            return peer(std::vector<std::string>(argv + 2, argv + argc));
        }
        return benchmark();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
        return 1;
    }
}

}  // namespace qorROS2::bench
