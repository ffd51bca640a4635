#include "participant/RemapRules.h"

#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "common/TopicName.h"

namespace qorROS2::transport::participant {
namespace {

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A parse failure; parseRemapRule() puts rcl's frame around it.
struct RuleError {
    std::string reason;
};

// A recursive descent over one rule, with the grammar of rcl's remap rules:
//   rule        := [token ':'] ( ('__node' | '__name') ':=' token
//                              | '__ns' ':=' '/' (token '/')* [token]
//                              | ['rostopic://' | 'rosservice://'] name ':=' name )
//   name        := ['~/' | '/'] token ('/' token)*
//   token       := ([a-zA-Z] '_'? | '_') ([0-9a-zA-Z] '_'?)*
// Tokens never hold "__": ROS 2 keeps it for its own names.
class RuleParser {
  public:
    explicit RuleParser(const std::string& text) : m_text(text) {}

    RemapRule parse() {
        RemapRule rule;
        // "rostopic://" reads as a token and ':' too, but is none.
        const std::size_t prefixEnd = tokenEnd(0);
        if (prefixEnd > 0 && at(prefixEnd) == ':' && at(prefixEnd + 1) != '=' &&
            !startsWithKind()) {
            rule.nodeName = m_text.substr(0, prefixEnd);
            m_pos = prefixEnd + 1;
        }
        if (accept("__node:=") || accept("__name:=")) {
            const std::size_t start = m_pos;
            if (!acceptToken() || m_pos != m_text.size()) {
                fail("Node name not remapped to invalid name: '" + m_text.substr(start) + "'");
            }
            rule.kinds = RemapRule::NodeName;
            rule.replacement = m_text.substr(start);
        } else if (accept("__ns:=")) {
            parseNamespace(rule);
        } else {
            parseNameRemap(rule);
        }
        return rule;
    }

  private:
    bool startsWithKind() const {
        return m_text.compare(m_pos, 11, "rostopic://") == 0 ||
               m_text.compare(m_pos, 13, "rosservice://") == 0;
    }

    char at(std::size_t index) const { return index < m_text.size() ? m_text[index] : '\0'; }

    bool accept(const std::string& literal) {
        if (m_text.compare(m_pos, literal.size(), literal) != 0) {
            return false;
        }
        m_pos += literal.size();
        return true;
    }

    // The end of the token that starts at `start`, or `start` when none does.
    std::size_t tokenEnd(std::size_t start) const {
        std::size_t i = start;
        if (at(i) == '_') {
            return tokenEnd(start + 1, false);
        }
        return isLetter(at(i)) ? tokenEnd(i, true) : start;
    }

    // The end of a token's characters from `i`, each letter or digit followed by at most one
    // '_'; `first` asks for a letter first.
    std::size_t tokenEnd(std::size_t i, bool first) const {
        while (first ? isLetter(at(i)) : isLetter(at(i)) || isDigit(at(i))) {
            first = false;
            ++i;
            if (at(i) == '_') {
                ++i;
            }
        }
        return i;
    }

    bool acceptToken() {
        const std::size_t end = tokenEnd(m_pos);
        const bool found = end != m_pos;
        m_pos = end;
        return found;
    }

    [[noreturn]] void fail(const std::string& reason) const { throw RuleError{reason}; }

    [[noreturn]] void failExpecting(const std::string& expected) const {
        fail("expected " + expected + " at index " + std::to_string(m_pos));
    }

    void parseNamespace(RemapRule& rule) {
        const std::size_t start = m_pos;
        bool valid = accept("/");
        while (valid && acceptToken() && accept("/")) {
        }
        if (!valid || m_pos != m_text.size()) {
            fail("Namespace not remapped to a fully qualified name (found: " +
                 m_text.substr(start) + ")");
        }
        std::string nameSpace = m_text.substr(start);
        // rcl allows a trailing '/' and drops it when it joins the node's full name.
        if (nameSpace.size() > 1 && nameSpace.back() == '/') {
            nameSpace.pop_back();
        }
        rule.kinds = RemapRule::Namespace;
        rule.replacement = nameSpace;
    }

    void parseNameRemap(RemapRule& rule) {
        if (accept("rostopic://")) {
            rule.kinds = RemapRule::Topic;
        } else if (accept("rosservice://")) {
            rule.kinds = RemapRule::Service;
        } else {
            rule.kinds = RemapRule::Topic | RemapRule::Service;
        }
        rule.match = parseName(false);
        if (!accept(":=")) {
            failExpecting("':=' or '/'");
        }
        rule.replacement = parseName(true);
        if (m_pos != m_text.size()) {
            failExpecting("'/' or the end of the rule");
        }
    }

    std::string parseName(bool replacement) {
        const std::size_t start = m_pos;
        if (!accept("~/")) {
            accept("/");
        }
        do {
            if (at(m_pos) == '*') {
                fail(at(m_pos + 1) == '*' ? "Wildcard '**' is not implemented"
                                          : "Wildcard '*' is not implemented");
            }
            if (replacement && at(m_pos) == '\\' && isDigit(at(m_pos + 1))) {
                fail("Backreferences are not implemented");
            }
            if (!acceptToken()) {
                failExpecting("a name token");
            }
        } while (at(m_pos) == '/' && accept("/"));
        return m_text.substr(start, m_pos - start);
    }

    const std::string& m_text;
    std::size_t m_pos = 0;
};

struct RuleStore {
    std::mutex mutex;
    std::vector<RemapRule> rules;
};

RuleStore& store() {
    // Never destroyed, like the node's identity: endpoints of other statics may still be made.
    static RuleStore* const instance = new RuleStore();
    return *instance;
}

}  // namespace

RemapRule parseRemapRule(const std::string& flag, const std::string& rule) {
    try {
        return RuleParser(rule).parse();
    } catch (const RuleError& error) {
        throw std::invalid_argument("Couldn't parse remap rule: '" + flag + " " + rule +
                                    "'. Error: " + error.reason);
    }
}

std::optional<std::string> remapName(const std::vector<RemapRule>& rules, RemapRule::Kind kind,
                                     const std::string& name, const std::string& nodeName,
                                     const std::string& nodeNamespace) {
    const bool namesTopics = kind == RemapRule::Topic || kind == RemapRule::Service;
    const common::NameKind nameKind =
        kind == RemapRule::Service ? common::NameKind::Service : common::NameKind::Topic;
    for (const RemapRule& rule : rules) {
        if ((rule.kinds & kind) == 0 || (!rule.nodeName.empty() && rule.nodeName != nodeName)) {
            continue;
        }
        if (!namesTopics) {
            return rule.replacement;
        }
        if (common::expandTopicName(rule.match, nodeName, nodeNamespace, nameKind) == name) {
            return common::expandTopicName(rule.replacement, nodeName, nodeNamespace, nameKind);
        }
    }
    return std::nullopt;
}

std::vector<RemapRule> processRemapRules() {
    RuleStore& all = store();
    std::lock_guard<std::mutex> lock(all.mutex);
    return all.rules;
}

void setProcessRemapRules(std::vector<RemapRule> rules) {
    RuleStore& all = store();
    std::lock_guard<std::mutex> lock(all.mutex);
    all.rules = std::move(rules);
}

}  // namespace qorROS2::transport::participant
