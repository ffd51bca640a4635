// Prints the constants of the ROS 2 message definitions of the packages the bridge mirrors, as the
// independent package @foxglove/rosmsg-msgs-common carries them, one line per constant:
//   <distribution> <package>/<Name> <type> <NAME> <value> <the field declared next, or ->
"use strict";

const definitions = require("@foxglove/rosmsg-msgs-common");

const packages = [
  "builtin_interfaces", "rosgraph_msgs", "std_msgs", "geometry_msgs", "sensor_msgs",
  "nav_msgs", "rcl_interfaces", "tf2_msgs", "trajectory_msgs", "action_msgs",
  "unique_identifier_msgs",
];

// The catalogue, like every .msg parser of this family, reads `byte` as uint8; Humble declares
// these constants `byte` (Jazzy changed them to uint8).
const byteConstants = { "rcl_interfaces/Log": ["DEBUG", "INFO", "WARN", "ERROR", "FATAL"] };

for (const distribution of process.argv.slice(2)) {
  const catalogue = definitions[distribution];
  if (!catalogue) {
    console.error(`unknown distribution ${distribution}`);
    process.exit(2);
  }
  for (const [type, definition] of Object.entries(catalogue)) {
    if (!packages.includes(type.split("/")[0])) continue;
    const lines = definition.definitions;
    lines.forEach((line, index) => {
      if (!line.isConstant) return;
      const next = lines.slice(index).find((later) => !later.isConstant);
      const value = line.valueText ?? String(line.value);
      const byte = distribution === "ros2humble" && (byteConstants[type] ?? []).includes(line.name);
      const lineType = byte ? "byte" : line.type;
      console.log(`${distribution} ${type} ${lineType} ${line.name} ${value} ${next ? next.name : "-"}`);
    });
  }
}
