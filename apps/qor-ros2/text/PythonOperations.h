#pragma once

// Python's operations on the values of an expression over a ROS 2 message (PythonValue), with
// Python's results and, on failure, Python's error and words: what `--filter` evaluates.

#include <string>
#include <vector>

#include "text/PythonValue.h"

namespace qorCli {

/// A Python exception: its type ("TypeError") and its message ("unsupported operand type(s) for
/// +: 'int' and 'str'").
struct PythonError {
    std::string type;
    std::string message;
};

/// The builtin functions an expression may call: len abs min max sum any all int float str bool.
const std::vector<std::string>& pythonBuiltins();
bool isPythonBuiltin(const std::string& name);

/// The methods an expression may call: str.startswith and str.endswith.
bool isPythonMethod(const std::string& name);

// Each of the following gives Python's result or throws PythonError as Python would raise it;
// what Python answers with an array or by comparing whole messages is a TypeError here.

/// bool(value).
bool pythonTruth(const PythonValue& value);

/// `a op b` for op "==", "!=", "<", "<=", ">", ">=", "in", "not in", "is", "is not".
bool pythonCompare(const std::string& op, const PythonValue& a, const PythonValue& b);

/// `a op b` for op "+", "-", "*", "/", "//", "%", "**"; integers are exact up to 127 bits.
PythonValue pythonArithmetic(const std::string& op, const PythonValue& a, const PythonValue& b);

/// `op value` for op "-" or "+".
PythonValue pythonUnary(const std::string& op, const PythonValue& value);

/// `container[index]`.
PythonValue pythonItem(const PythonValue& container, const PythonValue& index);

/// `object.name`.
PythonValue pythonGetAttribute(const PythonValue& object, const std::string& name);

/// `name(arguments...)` for a name of pythonBuiltins().
PythonValue pythonCallBuiltin(const std::string& name, const std::vector<PythonValue>& arguments);

/// `object.name(arguments...)` for a name isPythonMethod() accepts.
PythonValue pythonCallMethod(const std::string& name, const PythonValue& object,
                             const std::vector<PythonValue>& arguments);

}  // namespace qorCli
