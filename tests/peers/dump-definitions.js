// Prints the ROS 2 message definitions of the packages the bridge mirrors, as the independent
// package @foxglove/rosmsg-msgs-common carries them, one line per field:
//   <distribution> <package>/<Name> <field> <type>
// and a line "<distribution> <package>/<Name>" for a type without fields. Constants are left out:
// they are not members of a record.
"use strict";

const definitions = require("@foxglove/rosmsg-msgs-common");

const distributions = process.argv.slice(2);
const packages = ["builtin_interfaces", "rosgraph_msgs", "std_msgs", "geometry_msgs", "sensor_msgs"];

for (const distribution of distributions) {
  const catalogue = definitions[distribution];
  if (!catalogue) {
    console.error(`unknown distribution ${distribution}`);
    process.exit(2);
  }
  for (const [type, definition] of Object.entries(catalogue)) {
    if (!packages.includes(type.split("/")[0])) continue;
    const fields = definition.definitions.filter((field) => !field.isConstant);
    if (fields.length === 0) console.log(`${distribution} ${type}`);
    for (const field of fields) {
      let fieldType = field.type;
      if (field.isArray) {
        fieldType += field.arrayLength !== undefined ? `[${field.arrayLength}]` : "[]";
      }
      if (field.upperBound !== undefined || field.arrayUpperBound !== undefined) {
        fieldType += " (bounded)";
      }
      console.log(`${distribution} ${type} ${field.name} ${fieldType}`);
    }
  }
}
