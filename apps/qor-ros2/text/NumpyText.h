#pragma once

// Arrays of float64 as numpy prints them (the fixed-size arrays of messages are numpy arrays
// to ROS 2's Python tools).

#include <string>
#include <vector>

namespace qorCli {

/// str() of a 1-D float64 numpy array with numpy's default print options: "[1.  0.5 0. ]",
/// columns padded to a common width, wrapped before 75 characters.
std::string numpyArrayStr(const std::vector<double>& values);

/// repr() of the same array: "array([1. , 0.5, 0. ])", wrapped the same way.
std::string numpyArrayRepr(const std::vector<double>& values);

}  // namespace qorCli
