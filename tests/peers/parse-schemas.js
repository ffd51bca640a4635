// Parses schemas in MCAP's `ros2msg` encoding with the independent parser @foxglove/rosmsg and
// prints what it understood, one line per field or constant:
//   <schema> <definition: "." for the root, else its name> <field> <type, "[N]", "[<=N]" or "[]"
//   appended>
//   <schema> <definition> <NAME> = <value> <type>
// The schemas come as JSON, {"<type name>": "<schema text>", ...}, in the file named first.
"use strict";

const fs = require("fs");
const { parse } = require("@foxglove/rosmsg");

const schemas = JSON.parse(fs.readFileSync(process.argv[2], "utf8"));
for (const [name, text] of Object.entries(schemas)) {
  let parsed;
  try {
    parsed = parse(text, { ros2: true });
  } catch (error) {
    console.log(`${name} ! ${String(error.message).split("\n")[0]}`);
    continue;
  }
  parsed.forEach((definition, index) => {
    const label = index === 0 ? "." : definition.name;
    if (definition.definitions.length === 0) console.log(`${name} ${label}`);
    for (const field of definition.definitions) {
      if (field.isConstant) {
        console.log(`${name} ${label} ${field.name} = ${field.valueText ?? field.value} ${field.type}`);
        continue;
      }
      let type = field.type;
      if (field.isArray) {
        if (field.arrayLength !== undefined) type += `[${field.arrayLength}]`;
        else if (field.arrayUpperBound !== undefined) type += `[<=${field.arrayUpperBound}]`;
        else type += "[]";
      }
      console.log(`${name} ${label} ${field.name} ${type}`);
    }
  });
}
