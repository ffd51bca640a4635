#pragma once

// Parameter files as `ros2 param load` reads them: the layout `param dump` writes and rcl reads
// ("/node: ros__parameters: {...}"), each value retyped from its Python text as `param set`
// types a value from the command line.

#include <string>
#include <vector>

#include "qorROS2/rclInterfaces.h"

namespace qorCli {

/// The last line of the traceback ros2 prints when Python's open() of `path` fails with the
/// errno `error`: "FileNotFoundError: [Errno 2] No such file or directory: 'params.yaml'".
std::string pythonOsErrorText(int error, const std::string& path);

/// The text of the parameter file `path`. Throws CommandFailure with the last line of the
/// traceback ros2 prints when it cannot open it: "FileNotFoundError: [Errno 2] No such file or
/// directory: 'params.yaml'".
std::string parameterFileText(const std::string& path);

/// The parameters that `ros2 param load` sets on the node `node` ("/talker") from the YAML `text`
/// of the file `path`: those under "/**" (with `useWildcard`) then those under `node`, each
/// top-level key of the node's entry replacing the wildcard's, nested keys joined with '.', in
/// the file's order. Throws CommandFailure in ros2's words when the file has neither key ("Param
/// file does not contain parameters for /talker,  only for nodes: dict_keys(['/other'])") or an
/// entry has no ros__parameters ("Invalid structure of parameter file for node /talkerexpected
/// same format as provided by ros2 param dump"), and names the place of a YAML syntax error.
std::vector<qorROS2::rclInterfaces::Parameter> parametersToLoad(const std::string& text,
                                                                const std::string& path,
                                                                const std::string& node,
                                                                bool useWildcard);

/// What `ros2 param load` prints for the parameter `name` and the node's answer: "Set parameter
/// x successful" on stdout, "Set parameter x failed: <reason>" on stderr (`toErrors`).
std::string loadResultText(const std::string& name,
                           const qorROS2::rclInterfaces::SetParametersResult& result,
                           bool& toErrors);

}  // namespace qorCli
