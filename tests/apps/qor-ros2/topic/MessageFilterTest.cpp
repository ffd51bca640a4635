// The --filter expressions of `topic echo` and `topic hz`, evaluated on real records with
// Python's results, and what is refused, before or on a message, in Python's words.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cli/UsageError.h"
#include "qorROS2/Messages.h"
#include "topic/MessageFilter.h"

namespace {

using namespace qorROS2;
using qorCli::MessageFilter;
using qorCli::pythonValueOf;

sensorMsgs::JointState sampleJointState() {
    sensorMsgs::JointState state{};
    state.header.stamp.sec = 1;
    state.header.frame_id = "base";
    state.name = {"a", "bc"};
    state.position = {1.0, 2.5};
    state.effort = {0.25};
    return state;
}

bool matches(const std::string& expression, const sensorMsgs::JointState& state) {
    return MessageFilter("--filter", expression).matches(pythonValueOf(state));
}

// The text of the UsageError `expression` is refused with, or "" when it is not.
std::string refusal(const std::string& expression) {
    try {
        MessageFilter filter("--filter", expression);
        filter.check(pythonValueOf(sampleJointState()));
    } catch (const qorCli::UsageError& error) {
        return error.what();
    }
    return "";
}

// The text of the error evaluating `expression` on `state` throws, or "" when it does not.
std::string failure(const std::string& expression, const sensorMsgs::JointState& state) {
    try {
        matches(expression, state);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(MessageFilter, ComparesFieldsAsPythonDoes) {
    const auto state = sampleJointState();
    const std::vector<std::string> truths = {
        "m.header.frame_id == 'base'",
        "m.header.frame_id != \"map\"",
        "m.position[0] < m.position[1]",
        "0 < m.position[1] <= 2.5 < 3",
        "m.position[-1] == 2.5",
        "'bc' in m.name and 'x' not in m.name",
        "'as' in 'base' and 'q' not in m.header.frame_id",
        "len(m.name) == 2 and len(m.velocity) == 0",
        "not m.velocity and m.effort",
        "m.header.stamp.sec + 1 == 2 == 2.0",
        "m.header.frame_id.startswith('ba') and m.header.frame_id.endswith(('x', 'se'))",
        "max(m.position) == 2.5 and min(m.position) == 1 and sum(m.position) == 3.5",
        "abs(-m.position[1]) == 2.5 and any(m.position) and all(m.name)",
        "m.name == ['a', 'bc'] and m.name != ('a', 'bc')",
        "m.header.frame_id in ('map', 'base')",
        "m.header.stamp.nanosec is not None and (m.effort[0] > 0) is True",
        "7 // 2 == 3 and -7 // 2 == -4 and -7 % 3 == 2 and 7.5 % -2 == -0.5",
        "2 ** 10 == 1024 and 2 ** -1 == 0.5 and 1 / 4 == 0.25 and -2 ** 2 == -4",
        "int('3') == 3 and float('2.5') == m.position[1] and str(m.header.stamp.sec) == '1'",
        "str(m.position[0]) == '1.0' and bool(m.name) and int(-2.7) == -2",
        "m.header.frame_id[0] == 'b' and b'ab' + b'c' == b'abc'",
        "True + True == 2 and 0x10 == 16 and 1_000 == 1e3",
    };
    for (const std::string& expression : truths) {
        EXPECT_TRUE(matches(expression, state)) << expression;
    }
    EXPECT_FALSE(matches("m.header.frame_id == 'map'", state));
    EXPECT_FALSE(matches("m.velocity", state));
    EXPECT_FALSE(matches("m.position[0] > 1 or m.name[0] == 'b'", state));
    EXPECT_FALSE(matches("m.position == [1.0, 2.5]", state));  // an array.array is no list
}

TEST(MessageFilter, SeesIntegersBytesAndFixedArraysAsPythonDoes) {
    stdMsgs::UInt64 big{};
    big.data = 18446744073709551615ULL;
    EXPECT_TRUE(MessageFilter("--filter", "m.data == 18446744073709551615 and m.data > 2**63")
                    .matches(pythonValueOf(big)));
    stdMsgs::ByteMultiArray bytes{};
    bytes.data = {7, 'A'};
    EXPECT_TRUE(MessageFilter("--filter", "m.data[0] == b'\\x07' and m.data[1] == b'A'")
                    .matches(pythonValueOf(bytes)));
    stdMsgs::UInt8MultiArray numbers{};
    numbers.data = {7, 65};
    EXPECT_TRUE(MessageFilter("--filter", "m.data[1] == 65 and 7 in m.data")
                    .matches(pythonValueOf(numbers)));
    sensorMsgs::CameraInfo info{};
    info.k[0] = 500.0;
    EXPECT_TRUE(MessageFilter("--filter", "m.k[0] == 500 and len(m.k) == 9")
                    .matches(pythonValueOf(info)));
    const qorCli::PythonValue raw{qorCli::PythonBytes{std::string("\0\1\0\0", 4)}};
    EXPECT_TRUE(MessageFilter("--filter", "m[1] == 1 and len(m) == 4").matches(raw));
}

TEST(MessageFilter, RefusesWhatItCannotEvaluateBeforeAnyMessage) {
    const std::string subset =
        "; a filter may use m and its fields (m.a.b, m.a[0]), literals (numbers, 'strings', "
        "b'bytes', True, False, None, [lists], (tuples)), comparisons (== != < <= > >= in, not "
        "in, is, is not), and, or, not, + - * / // % **, the builtins len abs min max sum any "
        "all int float str bool, and str.startswith and str.endswith";
    EXPECT_EQ(refusal("__import__('os').system('true')"),
              "argument --filter: cannot evaluate '__import__('os').system('true')': name "
              "'__import__' is not defined" +
                  subset);
    EXPECT_EQ(refusal("m.header.frame_id.lower() == 'x'"),
              "argument --filter: cannot evaluate 'm.header.frame_id.lower() == 'x'': the method "
              "'lower' is not supported" +
                  subset);
    EXPECT_EQ(
        refusal("m.name[0:1]"),
        "argument --filter: cannot evaluate 'm.name[0:1]': slices are not supported" + subset);
    EXPECT_EQ(refusal("lambda: 1"),
              "argument --filter: cannot evaluate 'lambda: 1': 'lambda' is not supported" + subset);
    EXPECT_EQ(refusal("m.position[0] if m.name else 0"),
              "argument --filter: cannot evaluate 'm.position[0] if m.name else 0': 'if' "
              "expressions are not supported" +
                  subset);
    EXPECT_EQ(refusal("m.name == {1}"),
              "argument --filter: cannot evaluate 'm.name == {1}': unexpected '{' at column 11 "
              "(dictionaries and sets are not supported)" +
                  subset);
    EXPECT_EQ(refusal("m.name ="),
              "argument --filter: cannot evaluate 'm.name =': unexpected "
              "'='" +
                  subset);
    EXPECT_EQ(
        refusal("len"),
        "argument --filter: cannot evaluate 'len': the builtin 'len' can only be called" + subset);
    EXPECT_EQ(refusal("m.nmae == 'a'"),
              "argument --filter: cannot evaluate 'm.nmae == 'a'': AttributeError: 'JointState' "
              "object has no attribute 'nmae'");
    EXPECT_EQ(refusal("m.header.frame_id > 1"),
              "argument --filter: cannot evaluate 'm.header.frame_id > 1': TypeError: '>' not "
              "supported between instances of 'str' and 'int'");
    EXPECT_EQ(refusal("m.position == 1"), "");  // an array.array == an int is merely False
    // What depends on the values is left for the messages.
    EXPECT_EQ(refusal("m.name[5] == 'a'"), "");
    EXPECT_EQ(refusal("1 / len(m.velocity) > 0"), "");
}

TEST(MessageFilter, FailsOnAMessageInPythonsWords) {
    const auto state = sampleJointState();
    const std::string prefix = "the expression of --filter failed on a message: ";
    EXPECT_EQ(failure("m.name[5] == 'a'", state), prefix + "IndexError: list index out of range");
    EXPECT_EQ(failure("1 / len(m.velocity)", state),
              prefix + "ZeroDivisionError: division by zero");
    EXPECT_EQ(failure("m.position[2]", state), prefix + "IndexError: array index out of range");
    EXPECT_EQ(failure("int('x')", state),
              prefix + "ValueError: invalid literal for int() with base 10: 'x'");
    EXPECT_EQ(failure("2 ** 200", state),
              prefix + "OverflowError: the result is too large for --filter's integers");
    sensorMsgs::CameraInfo info{};
    try {
        MessageFilter("--filter", "m.k").matches(pythonValueOf(info));
        ADD_FAILURE() << "the truth of a numpy array of 9 items was taken";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  prefix +
                      "ValueError: The truth value of an array with more than one element is "
                      "ambiguous. Use a.any() or a.all()");
    }
}

}  // namespace
