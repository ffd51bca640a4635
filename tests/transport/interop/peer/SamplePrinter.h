#pragma once

// Prints a sample that Cyclone DDS decoded into idlc's C structs as `path=value` lines. The
// generated printFields overloads name each struct's members; this class knows how to print
// each kind of member: numbers, strings, sequences, fixed arrays and nested structs.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "SampleText.h"

namespace detail {

template <typename T, typename = void>
struct IsDdsSequence : std::false_type {};
template <typename T>
struct IsDdsSequence<T, std::void_t<decltype(T::_length), decltype(T::_buffer)>> : std::true_type {
};

}  // namespace detail

class SamplePrinter {
  public:
    /// Appends the lines to `out`.
    explicit SamplePrinter(std::string& out) : out_(out) {}

    /// Prints the member `name` of the struct being printed.
    template <typename T>
    void member(const char* name, const T& value) {
        const std::size_t mark = path_.size();
        if (!path_.empty()) {
            path_ += '.';
        }
        path_ += name;
        print(value);
        path_.resize(mark);
    }

  private:
    template <typename T>
    void print(const T& value) {
        if constexpr (std::is_arithmetic_v<T>) {
            line(qorInterop::valueText(value));
        } else if constexpr (std::is_same_v<T, char*>) {
            line(qorInterop::stringText(value, value != nullptr ? std::strlen(value) : 0));
        } else if constexpr (detail::IsDdsSequence<T>::value) {
            printElements(value._buffer, value._length, true);
        } else {
            printFields(*this, value);  // the generated printer of a nested struct
        }
    }

    template <typename T, std::size_t N>
    void print(const T (&values)[N]) {
        printElements(values, N, false);
    }

    template <typename T>
    void printElements(const T* data, std::size_t length, bool isSequence) {
        if constexpr (std::is_same_v<T, std::uint8_t>) {
            line(qorInterop::bytesText(data, length));
        } else {
            if (isSequence) {
                out_ += qorInterop::lengthLine(path_, length);
                out_ += '\n';
            }
            const std::size_t mark = path_.size();
            for (std::size_t i = 0; i < length; ++i) {
                path_ += '[' + std::to_string(i) + ']';
                print(data[i]);
                path_.resize(mark);
            }
        }
    }

    void line(const std::string& text) {
        out_ += path_;
        out_ += '=';
        out_ += text;
        out_ += '\n';
    }

    std::string& out_;
    std::string path_;
};
