#include "common/TopicName.h"

#include <cstddef>
#include <stdexcept>

namespace qorROS2::transport::common {
namespace {

// ROS 2 keeps 8 of DDS's 255 characters for its prefixes ("rt/", "rq/", "rr/" and their
// suffixes), so a fully qualified topic name may not be longer than this.
constexpr std::size_t kMaxFullyQualifiedLength = 247;

bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

[[noreturn]] void refuse(const std::string& topic, const std::string& reason) {
    throw std::invalid_argument("invalid ROS 2 topic name \"" + topic + "\": " + reason);
}

}  // namespace

std::string fullyQualifiedTopicName(const std::string& topic) {
    if (topic.empty()) {
        refuse(topic, "the name is empty");
    }
    for (const char c : topic) {
        if (c == '~' || c == '{' || c == '}') {
            refuse(topic,
                   "substitutions (\"~\", \"{...}\") need a node and are not supported here");
        }
        if (!isAsciiLetter(c) && !isAsciiDigit(c) && c != '_' && c != '/') {
            refuse(topic, std::string("the character '") + c +
                              "' is not allowed (only letters, digits, '_' and '/')");
        }
    }
    if (topic.find("//") != std::string::npos) {
        refuse(topic, "it contains an empty token (\"//\")");
    }
    if (topic.back() == '/') {
        refuse(topic, "it ends with '/'");
    }
    const std::string qualified = topic.front() == '/' ? topic : "/" + topic;
    // Every token follows a '/' here; none may begin with a digit.
    for (std::size_t i = 0; i + 1 < qualified.size(); ++i) {
        if (qualified[i] == '/' && isAsciiDigit(qualified[i + 1])) {
            const std::size_t end = qualified.find('/', i + 1);
            refuse(topic, "the token \"" + qualified.substr(i + 1, end - (i + 1)) +
                              "\" starts with a digit");
        }
    }
    if (qualified.size() > kMaxFullyQualifiedLength) {
        refuse(topic, "it is " + std::to_string(qualified.size()) +
                          " characters long once fully qualified, more than " +
                          std::to_string(kMaxFullyQualifiedLength));
    }
    return qualified;
}

std::string ddsTopicName(const std::string& fullyQualifiedRosTopic) {
    return "rt" + fullyQualifiedRosTopic;
}

}  // namespace qorROS2::transport::common
