// Writes, from the ROS 2 message definitions that the independent package
// @foxglove/rosmsg-msgs-common carries, what a foreign DDS needs to speak ROS 2 types:
//   --idl <file>    the types in IDL as ROS 2 names them on the wire
//                   (module sensor_msgs { module msg { module dds_ { struct JointState_ ...)
//   --glue <file>   C++ for the Cyclone DDS peer: one field printer per struct and the table that
//                   maps "sensor_msgs/msg/JointState" to idlc's topic descriptor
//   --header <name> the header idlc writes for the IDL file, included by the glue
//   --distribution  the catalogue to read (default ros2humble)
// The parsed catalogue spells `byte` and `char` both as uint8; ROS 2 puts `byte` into IDL as
// octet, so the raw .msg text the package also ships decides which fields are bytes.
"use strict";

const fs = require("fs");
const path = require("path");

const packages = [
  "builtin_interfaces",
  "rosgraph_msgs",
  "std_msgs",
  "geometry_msgs",
  "sensor_msgs",
];

// The primitive types of a message definition and their IDL names, as ROS 2's own translation
// from .msg to .idl chooses them.
const idlPrimitives = {
  bool: "boolean",
  byte: "octet",
  char: "uint8",
  int8: "int8",
  uint8: "uint8",
  int16: "int16",
  uint16: "uint16",
  int32: "int32",
  uint32: "uint32",
  int64: "int64",
  uint64: "uint64",
  float32: "float",
  float64: "double",
  string: "string",
};

// ROS 2 definitions in this package write builtin_interfaces/Time and Duration as primitives.
const builtinMessages = {
  time: "builtin_interfaces/Time",
  duration: "builtin_interfaces/Duration",
};

// Words that IDL reserves or that the generated C and C++ could not use as member names.
const reservedWords = new Set(
  [
    "abstract any alias attribute auto bitfield bitmask bitset boolean break case catch char",
    "class component connector const consumes context continue custom default delete do double",
    "else emits enum eventtype exception extern factory false finder fixed float for getraises",
    "getter goto home if import in inline inout int int16 int32 int64 int8 interface local long",
    "manages map mirrorport module multiple native new object octet oneway operator out port",
    "porttype primarykey private protected provides public publishes raises readonly register",
    "return sequence setraises setter short signed sizeof static string struct supports switch",
    "template this throw true truncatable try typedef typeid typename typeprefix uint16 uint32",
    "uint64 uint8 union unsigned uses using valuebase valuetype virtual void volatile wchar while",
    "wstring",
  ]
    .join(" ")
    .split(" "),
);

function fail(message) {
  console.error(`ros-idl: ${message}`);
  process.exit(1);
}

function parseArguments(argv) {
  const options = { distribution: "ros2humble" };
  for (let i = 0; i < argv.length; i += 2) {
    const key = argv[i].replace(/^--/, "");
    if (!["idl", "glue", "header", "distribution"].includes(key) || argv[i + 1] === undefined) {
      fail(`unexpected argument ${argv[i]}`);
    }
    options[key] = argv[i + 1];
  }
  if (!options.idl && !options.glue) fail("nothing to write: give --idl and/or --glue");
  if (options.glue && !options.header) fail("--glue needs --header");
  return options;
}

// The field types as the raw .msg file declares them, before the parser folds byte and char into
// uint8: { fieldName: "byte" }.
function rawFieldTypes(distribution, typeName) {
  const [pkg, name] = typeName.split("/");
  const root = path.dirname(require.resolve("@foxglove/rosmsg-msgs-common/package.json"));
  const file = path.join(root, "msgdefs", distribution, pkg, "msg", `${name}.msg`);
  const types = {};
  // The file goes on with the definitions it depends on after a line of '='.
  for (const line of fs.readFileSync(file, "utf8").split(/^=+$/m)[0].split("\n")) {
    const text = line.replace(/#.*/, "").trim();
    if (text === "" || text.includes("=")) continue;
    const [type, field] = text.split(/\s+/);
    types[field] = type.replace(/\[.*\]$/, "");
  }
  return types;
}

function messageName(type) {
  return builtinMessages[type] || type;
}

function isMessage(type) {
  return builtinMessages[type] !== undefined || type.includes("/");
}

// Reads the catalogue into { "pkg/Name": { pkg, name, fields: [{ name, element, kind, length }] } }
// where element is either a ROS primitive or a "pkg/Name", and kind is "single", "array" (fixed
// length) or "sequence".
function readTypes(distribution) {
  const catalogue = require("@foxglove/rosmsg-msgs-common")[distribution];
  if (!catalogue) fail(`unknown distribution ${distribution}`);
  const types = {};
  for (const [typeName, definition] of Object.entries(catalogue)) {
    const [pkg, name] = typeName.split("/");
    if (!packages.includes(pkg)) continue;
    const raw = rawFieldTypes(distribution, typeName);
    const fields = [];
    for (const field of definition.definitions.filter((f) => !f.isConstant)) {
      if (field.upperBound !== undefined || field.arrayUpperBound !== undefined) {
        fail(`${typeName}.${field.name}: bounded strings and sequences are not supported`);
      }
      if (reservedWords.has(field.name.toLowerCase())) {
        fail(`${typeName}.${field.name}: the field name is a reserved word`);
      }
      let element = messageName(field.type);
      if (!isMessage(field.type)) {
        if (raw[field.name] === undefined) {
          fail(`${typeName}.${field.name} is not in the .msg file`);
        }
        if (raw[field.name] === "byte" || raw[field.name] === "char") element = raw[field.name];
        if (idlPrimitives[element] === undefined) {
          fail(`${typeName}.${field.name}: unknown type ${element}`);
        }
      }
      let kind = "single";
      if (field.isArray) kind = field.arrayLength !== undefined ? "array" : "sequence";
      fields.push({ name: field.name, element, kind, length: field.arrayLength });
    }
    // A struct cannot be empty; ROS 2 gives an empty message this one member.
    if (fields.length === 0) {
      fields.push({
        name: "structure_needs_at_least_one_member",
        element: "uint8",
        kind: "single",
      });
    }
    types[typeName] = { pkg, name, fields };
  }
  return types;
}

// Every type after the types it contains, in catalogue order otherwise.
function dependencyOrder(types) {
  const ordered = [];
  const state = {};
  const visit = (typeName, from) => {
    if (types[typeName] === undefined) fail(`${from} uses ${typeName}, which is not defined`);
    if (state[typeName] === "done") return;
    if (state[typeName] === "visiting") fail(`${typeName} contains itself`);
    state[typeName] = "visiting";
    for (const field of types[typeName].fields) {
      if (isMessage(field.element)) visit(field.element, typeName);
    }
    state[typeName] = "done";
    ordered.push(typeName);
  };
  for (const typeName of Object.keys(types)) visit(typeName, typeName);
  return ordered;
}

function idlScopedName(typeName) {
  const [pkg, name] = typeName.split("/");
  return `${pkg}::msg::dds_::${name}_`;
}

function cName(typeName) {
  const [pkg, name] = typeName.split("/");
  return `${pkg}_msg_dds__${name}_`;
}

function idlElement(element) {
  return isMessage(element) ? idlScopedName(element) : idlPrimitives[element];
}

function idlText(types, order) {
  const lines = [
    "// Generated by tests/peers/ros-idl.js from @foxglove/rosmsg-msgs-common. Do not edit.",
    "",
  ];
  for (const typeName of order) {
    const { pkg, name, fields } = types[typeName];
    lines.push(`module ${pkg} { module msg { module dds_ {`);
    // Final: plain CDR (XCDR1) on the wire, no member headers, as ROS 2 middlewares write it.
    lines.push(`@final struct ${name}_ {`);
    for (const field of fields) {
      const element = idlElement(field.element);
      if (field.kind === "sequence") lines.push(`  sequence<${element}> ${field.name};`);
      else if (field.kind === "array") lines.push(`  ${element} ${field.name}[${field.length}];`);
      else lines.push(`  ${element} ${field.name};`);
    }
    lines.push("};");
    lines.push("}; }; };");
    lines.push("");
  }
  return lines.join("\n");
}

function glueText(types, order, header) {
  const lines = [
    "// Generated by tests/peers/ros-idl.js from @foxglove/rosmsg-msgs-common. Do not edit.",
    "",
    '#include "PeerTypes.h"',
    "",
    '#include "SamplePrinter.h"',
    `#include "${header}"`,
    "",
  ];
  // Declared first: a struct's printer calls those of the structs it contains.
  for (const typeName of order) {
    lines.push(`void printFields(SamplePrinter& printer, const ${cName(typeName)}& value);`);
  }
  lines.push("");
  for (const typeName of order) {
    lines.push(`void printFields(SamplePrinter& printer, const ${cName(typeName)}& value) {`);
    for (const field of types[typeName].fields) {
      lines.push(`    printer.member("${field.name}", value.${field.name});`);
    }
    lines.push("}", "");
  }
  lines.push("namespace {", "");
  lines.push("template <typename Sample>");
  lines.push("void printSample(SamplePrinter& printer, const void* sample) {");
  lines.push("    printFields(printer, *static_cast<const Sample*>(sample));");
  lines.push("}", "");
  lines.push("const PeerType peerTypes[] = {");
  for (const typeName of order) {
    const { pkg, name } = types[typeName];
    const c = cName(typeName);
    lines.push(`    {"${pkg}/msg/${name}", &${c}_desc, &printSample<${c}>},`);
  }
  lines.push("};", "", "}  // namespace", "");
  lines.push("const PeerType* findPeerType(const std::string& rosTypeName) {");
  lines.push("    for (const PeerType& type : peerTypes) {");
  lines.push("        if (rosTypeName == type.rosName) {");
  lines.push("            return &type;");
  lines.push("        }");
  lines.push("    }");
  lines.push("    return nullptr;");
  lines.push("}", "");
  return lines.join("\n");
}

const options = parseArguments(process.argv.slice(2));
const types = readTypes(options.distribution);
const order = dependencyOrder(types);
if (options.idl) fs.writeFileSync(options.idl, idlText(types, order));
if (options.glue) fs.writeFileSync(options.glue, glueText(types, order, options.header));
