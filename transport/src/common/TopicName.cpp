#include "common/TopicName.h"

#include <cstddef>
#include <stdexcept>

namespace qorROS2::transport::common {
namespace {

// ROS 2 keeps 8 of DDS's 255 characters for its prefixes ("rt/", "rq/", "rr/" and their
// suffixes), so a fully qualified topic name may not be longer than this. rmw writes the limit
// into its refusal as the unevaluated expression, and so do we.
constexpr std::size_t kMaxFullyQualifiedLength = 255 - 8;
constexpr const char* kMaxFullyQualifiedLengthText = "255U - 8U";

bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isNameCharacter(char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '_';
}

const char* kindWord(NameKind kind) {
    return kind == NameKind::Topic ? "topic" : "service";
}

// The reasons are rcl's and rmw's own texts, which say "topic name" for services too.
[[noreturn]] void refuse(NameKind kind, const std::string& given, const std::string& reason,
                         std::size_t index, const std::string& indexedName) {
    std::string what = std::string("invalid ") + kindWord(kind) + " name \"" + given +
                       "\": " + reason + ", at index " + std::to_string(index);
    if (indexedName != given) {
        what += " of \"" + indexedName + "\"";
    }
    throw std::invalid_argument(what);
}

// The checks of rcl_validate_topic_name(): a name as a node's code or a remap rule gives it,
// before expansion.
void checkTopicName(const std::string& name, NameKind kind) {
    const auto fail = [&](const std::string& reason, std::size_t index) {
        refuse(kind, name, reason, index, name);
    };
    if (name.empty()) {
        fail("topic name must not be empty string", 0);
    }
    if (isAsciiDigit(name.front())) {
        fail("topic name token must not start with a number", 0);
    }
    if (name.back() == '/') {
        fail("topic name must not end with a forward slash", name.size() - 1);
    }
    constexpr const char* kSubstitutionCharacters =
        "substitution name must not contain characters other than alphanumerics or '_'";
    bool inSubstitution = false;
    std::size_t openingBrace = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (isAsciiLetter(c) || isAsciiDigit(c)) {
            if (isAsciiDigit(c) && inSubstitution && i == openingBrace + 1) {
                fail("substitution name must not start with a number", i);
            }
        } else if (c == '_') {
        } else if (c == '/') {
            if (inSubstitution) {
                fail(kSubstitutionCharacters, i);
            }
        } else if (c == '~') {
            if (i != 0) {
                fail("topic name must not have tilde '~' unless it is the first character", i);
            }
        } else if (c == '{') {
            if (inSubstitution) {
                fail(kSubstitutionCharacters, i);
            }
            inSubstitution = true;
            openingBrace = i;
        } else if (c == '}') {
            if (!inSubstitution) {
                fail("topic name must not have unmatched (unbalanced) curly braces '{}'", i);
            }
            inSubstitution = false;
        } else if (inSubstitution) {
            fail(kSubstitutionCharacters, i);
        } else {
            fail(
                "topic name must not contain characters other than alphanumerics, '_', '~', "
                "'{', or '}'",
                i);
        }
    }
    if (inSubstitution) {
        fail("topic name must not have unmatched (unbalanced) curly braces '{}'", openingBrace);
    }
    for (std::size_t i = 0; i + 1 < name.size(); ++i) {
        if (name[i] == '/' && isAsciiDigit(name[i + 1])) {
            fail("topic name token must not start with a number", i + 1);
        }
        if (i == 1 && name[0] == '~' && name[1] != '/') {
            fail(
                "topic name must not have a tilde '~' that is not followed by a forward slash "
                "'/'",
                1);
        }
    }
}

// Every occurrence of `pattern` in `text` replaced by `replacement`.
std::string replaceAll(std::string text, const std::string& pattern,
                       const std::string& replacement) {
    for (std::size_t at = text.find(pattern); at != std::string::npos;
         at = text.find(pattern, at + replacement.size())) {
        text.replace(at, pattern.size(), replacement);
    }
    return text;
}

// `name` put in `nameSpace`; the root namespace needs no separating '/'.
std::string inNamespace(const std::string& nameSpace, const std::string& name) {
    return nameSpace.size() == 1 ? nameSpace + name : nameSpace + "/" + name;
}

}  // namespace

std::string expandTopicName(const std::string& name, const std::string& nodeName,
                            const std::string& nodeNamespace, NameKind kind) {
    checkTopicName(name, kind);
    std::string expanded = name;
    if (expanded.front() == '~') {
        expanded = inNamespace(nodeNamespace, nodeName) + expanded.substr(1);
    }
    // Balanced braces without nesting: the checks above made sure of it.
    for (std::size_t open = expanded.find('{'); open != std::string::npos;
         open = expanded.find('{')) {
        const std::size_t close = expanded.find('}', open);
        const std::string substitution = expanded.substr(open, close - open + 1);
        std::string replacement;
        if (substitution == "{node}") {
            replacement = nodeName;
        } else if (substitution == "{ns}" || substitution == "{namespace}") {
            replacement = nodeNamespace;
        } else {
            throw std::invalid_argument(std::string("invalid ") + kindWord(kind) + " name \"" +
                                        name + "\": unknown substitution: " + substitution);
        }
        expanded = replaceAll(expanded, substitution, replacement);
    }
    return expanded.front() == '/' ? expanded : inNamespace(nodeNamespace, expanded);
}

void checkFullTopicName(const std::string& fullName, const std::string& given, NameKind kind) {
    const auto fail = [&](const std::string& reason, std::size_t index) {
        refuse(kind, given, reason, index, fullName);
    };
    if (fullName.empty()) {
        fail("topic name must not be empty", 0);
    }
    if (fullName.front() != '/') {
        fail("topic name must be absolute, it must lead with a '/'", 0);
    }
    if (fullName.back() == '/') {
        fail("topic name must not end with a '/'", fullName.size() - 1);
    }
    for (std::size_t i = 0; i < fullName.size(); ++i) {
        if (!isNameCharacter(fullName[i]) && fullName[i] != '/') {
            fail("topic name must not contain characters other than alphanumerics, '_', or '/'", i);
        }
    }
    for (std::size_t i = 0; i + 1 < fullName.size(); ++i) {
        if (fullName[i] != '/') {
            continue;
        }
        if (fullName[i + 1] == '/') {
            fail("topic name must not contain repeated '/'", i + 1);
        }
        if (isAsciiDigit(fullName[i + 1])) {
            fail("topic name must not have a token that starts with a number", i + 1);
        }
    }
    if (fullName.size() > kMaxFullyQualifiedLength) {
        fail(std::string("topic length should not exceed '") + kMaxFullyQualifiedLengthText + "'",
             kMaxFullyQualifiedLength - 1);
    }
}

std::string ddsTopicName(const std::string& fullyQualifiedRosTopic) {
    return "rt" + fullyQualifiedRosTopic;
}

}  // namespace qorROS2::transport::common
