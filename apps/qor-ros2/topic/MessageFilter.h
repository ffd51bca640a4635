#pragma once

// `topic echo --filter` and `topic hz --filter`: the Python expression ros2 evaluates on each
// message, `m`, to decide whether it counts. ros2 hands the text to Python's eval(); qor-ros2
// evaluates the part of Python such filters are written in, with Python's results and errors,
// and refuses anything else before it subscribes.

#include <memory>
#include <string>

#include "text/PythonValue.h"

namespace qorCli {

/// What a filter may use, for help texts and refusals.
inline constexpr const char* kFilterSubset =
    "m and its fields (m.a.b, m.a[0]), literals (numbers, 'strings', b'bytes', True, False, "
    "None, [lists], (tuples)), comparisons (== != < <= > >= in, not in, is, is not), and, or, "
    "not, + - * / // % **, the builtins len abs min max sum any all int float str bool, and "
    "str.startswith and str.endswith";

class MessageFilter {
  public:
    /// Parses `expression`, the text given to `option` ("--filter"). Throws UsageError naming
    /// the option, the subset and what was refused: syntax outside the subset, a name other
    /// than m and the builtins, or a call of anything else.
    MessageFilter(const std::string& option, const std::string& expression);
    ~MessageFilter();
    MessageFilter(const MessageFilter&) = delete;
    MessageFilter& operator=(const MessageFilter&) = delete;

    /// Whether the expression is true of `message`, as Python's bool() of its value. Throws
    /// std::runtime_error in Python's words ("AttributeError: 'String' object has no attribute
    /// 'dat'") when evaluating it fails, as ros2 fails on that message.
    bool matches(const PythonValue& message) const;

    /// Evaluates the expression on `prototype`, a message of the type that will be received at
    /// its defaults, and throws UsageError for the errors no value can cure: a field the type
    /// does not have, an operation its types do not support. Errors that depend on the values
    /// (an index out of range) are left for the messages received.
    void check(const PythonValue& prototype) const;

    struct Expression;

  private:
    std::string m_option;
    std::string m_text;
    std::unique_ptr<Expression> m_root;
};

}  // namespace qorCli
