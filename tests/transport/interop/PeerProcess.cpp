#include "PeerProcess.h"

#include <signal.h>

#include <stdexcept>

namespace qorInterop {

namespace {

qorTest::ChildProcess::Options separateStreams() {
    qorTest::ChildProcess::Options options;
    options.output = qorTest::ChildProcess::SEPARATE;
    return options;
}

}  // namespace

PeerProcess::PeerProcess(const std::vector<std::string>& arguments)
    : ChildProcess(arguments, separateStreams()) {
    if (!started()) {
        throw std::runtime_error(startError());
    }
}

std::optional<std::vector<std::string>> PeerProcess::waitForSample(std::size_t index,
                                                                   qorTest::Deadline deadline) {
    const auto first = waitForLine("sample " + std::to_string(index), deadline);
    if (!first) {
        return std::nullopt;
    }
    const auto last = waitForLine("end", deadline, *first + 1);
    if (!last) {
        return std::nullopt;
    }
    const std::vector<std::string> all = lines();
    return std::vector<std::string>(all.begin() + static_cast<std::ptrdiff_t>(*first + 1),
                                    all.begin() + static_cast<std::ptrdiff_t>(*last));
}

void PeerProcess::stop() {
    signal(SIGTERM);
}

std::string PeerProcess::transcript() const {
    std::string text = "--- peer output:\n";
    for (const std::string& line : lines()) {
        // A printed image is one very long line; its start is enough to explain a failure.
        text += line.size() > 200 ? line.substr(0, 200) + "..." : line;
        text += '\n';
    }
    const std::string output = this->output();
    const std::size_t partial = output.rfind('\n');
    text += partial == std::string::npos ? output : output.substr(partial + 1);
    return text + "--- peer errors:\n" + errors();
}

}  // namespace qorInterop
