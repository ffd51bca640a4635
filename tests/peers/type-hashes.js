// Prints the RIHS01 type hash of every message type of the packages the bridge mirrors, one line
// per type and distribution: "<distribution> <package>/msg/<Name> RIHS01_<hex>". The definitions
// come from @foxglove/rosmsg-msgs-common; the hash follows rosidl's rules
// (rosidl_generator_type_description): fields in order without default values, referenced types
// closed transitively and sorted by name, JSON with ", " and ": ", SHA-256.
"use strict";

const crypto = require("crypto");
const catalogue = require("@foxglove/rosmsg-msgs-common");
const { parse } = require("@foxglove/rosmsg");

const packages = [
  "builtin_interfaces", "rosgraph_msgs", "std_msgs", "geometry_msgs", "sensor_msgs",
  "nav_msgs", "rcl_interfaces", "tf2_msgs", "trajectory_msgs", "action_msgs",
  "unique_identifier_msgs",
];

// The catalogue, like every .msg parser of this family, reads `byte` as uint8; ROS 2 declares
// these fields `byte`, and its hash tells the two apart.
const byteFields = {
  "std_msgs/Byte": ["data"],
  "std_msgs/ByteMultiArray": ["data"],
  "rcl_interfaces/ParameterValue": ["byte_array_value"],
};

// The system's own package, which no catalogue carries, as the .msg text of AnySequence with
// the type it depends on.
const ownDefinitions = [
  "qor_msgs/AnySequence",
  "qor_msgs/Any[] data\n" + "=".repeat(80) + "\nMSG: qor_msgs/Any\nuint8[] data\n",
];

const primitiveIds = {
  int8: 2, uint8: 3, int16: 4, uint16: 5, int32: 6, uint32: 7, int64: 8, uint64: 9,
  float32: 10, float64: 11, bool: 15, byte: 16, string: 17,
};
// The catalogue writes the stamps as the ROS 1 primitives.
const stampTypes = { time: "builtin_interfaces/Time", duration: "builtin_interfaces/Duration" };

const withMsg = (name) => name.replace("/", "/msg/");

function fieldType(typeName, field) {
  let type = stampTypes[field.type] ?? field.type;
  if ((byteFields[typeName] ?? []).includes(field.name)) type = "byte";
  if (field.upperBound !== undefined) {
    throw new Error(`${typeName}.${field.name}: bounded strings are not handled`);
  }
  let id;
  let nested = "";
  if (type in primitiveIds) {
    id = primitiveIds[type];
  } else if (type.includes("/")) {
    id = 1;
    nested = withMsg(type);
  } else {
    throw new Error(`${typeName}.${field.name}: unknown type ${type}`);
  }
  let capacity = 0;
  if (field.isArray) {
    if (field.arrayLength !== undefined) {
      id += 48;
      capacity = field.arrayLength;
    } else if (field.arrayUpperBound !== undefined) {
      id += 96;
      capacity = field.arrayUpperBound;
    } else {
      id += 144;
    }
  }
  return { type_id: id, capacity, string_capacity: 0, nested_type_name: nested };
}

function describe(definitions, typeName) {
  const fields = definitions[typeName]
    .filter((field) => !field.isConstant)
    .map((field) => ({ name: field.name, type: fieldType(typeName, field) }));
  if (fields.length === 0) {
    fields.push({
      name: "structure_needs_at_least_one_member",
      type: { type_id: 3, capacity: 0, string_capacity: 0, nested_type_name: "" },
    });
  }
  return { type_name: withMsg(typeName), fields };
}

// JSON as Python's json.dumps writes it with separators (", ", ": ").
function pythonJson(value) {
  if (Array.isArray(value)) return `[${value.map(pythonJson).join(", ")}]`;
  if (value !== null && typeof value === "object") {
    return `{${Object.entries(value)
      .map(([key, item]) => `${JSON.stringify(key)}: ${pythonJson(item)}`)
      .join(", ")}}`;
  }
  return JSON.stringify(value);
}

function typeHash(definitions, typeName) {
  const root = describe(definitions, typeName);
  const referenced = new Map();
  const queue = root.fields.map((field) => field.type.nested_type_name).filter((name) => name);
  while (queue.length > 0) {
    const name = queue.pop();
    if (referenced.has(name)) continue;
    const description = describe(definitions, name.replace("/msg/", "/"));
    referenced.set(name, description);
    for (const field of description.fields) {
      if (field.type.nested_type_name) queue.push(field.type.nested_type_name);
    }
  }
  const sortedNames = [...referenced.keys()].sort();
  const text = pythonJson({
    type_description: root,
    referenced_type_descriptions: sortedNames.map((name) => referenced.get(name)),
  });
  return "RIHS01_" + crypto.createHash("sha256").update(text, "ascii").digest("hex");
}

for (const distribution of process.argv.slice(2)) {
  const source = catalogue[distribution];
  if (!source) {
    console.error(`unknown distribution ${distribution}`);
    process.exit(2);
  }
  const definitions = {};
  for (const [name, entry] of Object.entries(source)) {
    if (packages.includes(name.split("/")[0])) definitions[name] = entry.definitions;
  }
  const [ownRoot, ownText] = ownDefinitions;
  for (const parsed of parse(ownText, { ros2: true })) {
    definitions[parsed.name ?? ownRoot] = parsed.definitions;
  }
  for (const name of Object.keys(definitions).sort()) {
    console.log(`${distribution} ${withMsg(name)} ${typeHash(definitions, name)}`);
  }
}
