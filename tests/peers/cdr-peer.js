// Checks CDR payloads against an independent implementation: @foxglove/rosmsg2-serialization
// with the ROS 2 Humble definitions of @foxglove/rosmsg-msgs-common.
//
// Reads a batch file with one sample per line, tab-separated:
//   <key> <type, e.g. sensor_msgs/JointState> <payload in hex> <the record's values as JSON>
// and prints one line per sample, tab-separated:
//   <key> <payload in hex, echoed> <verdict> <the peer's payload for the same values, in hex>
// The verdict is "ok" when the peer decodes the payload to exactly the JSON values and reads every
// byte of it, otherwise what differed. The JSON carries 64-bit integers as decimal strings,
// NaN and the infinities as the strings "NaN", "Infinity" and "-Infinity", chars as numbers.
//
// The definitions package spells builtin_interfaces/Time and Duration as the primitives `time`
// and `duration`, which the serialization package reads and writes as {sec, nanosec}: the JSON of
// a nested stamp has exactly that shape. It gives std_msgs/Empty no field at all; the serializer
// writes the single byte 0 that ROS 2 puts there (`structure_needs_at_least_one_member`), so the
// JSON of an Empty must hold exactly that member with the value 0, and the peer's reading of it
// is an empty object.
"use strict";

const fs = require("fs");
const { MessageReader, MessageWriter } = require("@foxglove/rosmsg2-serialization");
const { ros2humble } = require("@foxglove/rosmsg-msgs-common");

const kEmptyMember = "structure_needs_at_least_one_member";

function dataFields(definition) {
  return definition.definitions.filter((field) => field.isConstant !== true);
}

function definitionOf(type) {
  const definition = ros2humble[type];
  if (definition === undefined) throw new Error(`no Humble definition of ${type}`);
  return definition;
}

// The root definition first, then every type it uses, as MessageReader and MessageWriter want.
function definitionsFor(type) {
  const found = new Map();
  const visit = (name) => {
    if (found.has(name)) return;
    const definition = definitionOf(name);
    found.set(name, definition);
    for (const field of dataFields(definition)) if (field.isComplex === true) visit(field.type);
  };
  visit(type);
  return [...found.values()];
}

function describe(value) {
  return JSON.stringify(value, (_, v) => (typeof v === "bigint" ? `${v}n` : v)) ?? String(value);
}

function sameKeys(object, names, path) {
  const keys = Object.keys(object);
  if (keys.length !== names.length || keys.some((key, i) => key !== names[i])) {
    throw new Error(`${path || "message"}: fields ${describe(keys)}, expected ${describe(names)}`);
  }
}

// JSON values to the JavaScript values the serialization package reads and writes.
function fromJson(type, json, path) {
  const definition = definitionOf(type);
  const fields = dataFields(definition);
  if (fields.length === 0) {
    sameKeys(json, [kEmptyMember], path);
    if (json[kEmptyMember] !== 0) throw new Error(`${path}${kEmptyMember}: must be 0`);
    return {};
  }
  sameKeys(json, fields.map((field) => field.name), path);
  const message = {};
  for (const field of fields) {
    const value = json[field.name];
    const where = `${path}${field.name}`;
    if (field.isArray === true) {
      if (!Array.isArray(value)) throw new Error(`${where}: not an array`);
      if (field.arrayLength !== undefined && value.length !== field.arrayLength) {
        throw new Error(`${where}: ${value.length} elements, expected ${field.arrayLength}`);
      }
      message[field.name] = value.map((element, i) =>
        fromJsonValue(field, element, `${where}[${i}]`),
      );
    } else {
      message[field.name] = fromJsonValue(field, value, where);
    }
  }
  return message;
}

function fromJsonValue(field, value, where) {
  if (field.isComplex === true) return fromJson(field.type, value, `${where}.`);
  switch (field.type) {
    case "time":
    case "duration":
      sameKeys(value, ["sec", "nanosec"], where);
      return { sec: value.sec, nanosec: value.nanosec };
    case "int64":
    case "uint64":
      if (typeof value !== "string") throw new Error(`${where}: 64-bit integer not a string`);
      return BigInt(value);
    case "float32":
    case "float64": {
      const named = { NaN: NaN, Infinity: Infinity, "-Infinity": -Infinity };
      const number = typeof value === "string" ? named[value] : value;
      if (typeof number !== "number") throw new Error(`${where}: ${describe(value)} is no number`);
      if (field.type === "float32" && !Object.is(Math.fround(number), number)) {
        throw new Error(`${where}: ${value} is not exactly a float32`);
      }
      return number;
    }
    case "bool":
      if (typeof value !== "boolean") throw new Error(`${where}: not a boolean`);
      return value;
    case "string":
      if (typeof value !== "string") throw new Error(`${where}: not a string`);
      return value;
    default:
      if (!Number.isInteger(value)) throw new Error(`${where}: ${describe(value)} not an integer`);
      return value;
  }
}

// Throws at the first value in which what the peer read differs from what was expected.
function compare(type, expected, actual, path) {
  const fields = dataFields(definitionOf(type));
  sameKeys(actual, fields.map((field) => field.name), path);
  for (const field of fields) {
    const where = `${path}${field.name}`;
    const want = expected[field.name];
    const got = actual[field.name];
    if (field.isArray === true) {
      if (got === undefined || got.length !== want.length) {
        throw new Error(`${where}: ${got?.length} elements, expected ${want.length}`);
      }
      for (let i = 0; i < want.length; i++) compareValue(field, want[i], got[i], `${where}[${i}]`);
    } else {
      compareValue(field, want, got, where);
    }
  }
}

function compareValue(field, want, got, where) {
  if (field.isComplex === true) {
    compare(field.type, want, got, `${where}.`);
    return;
  }
  let same;
  if (field.type === "time" || field.type === "duration") {
    same = got !== undefined && got.sec === want.sec && got.nanosec === want.nanosec;
  } else if (field.type === "float32") {
    same = Object.is(Math.fround(want), got);
  } else {
    // Object.is: NaN is NaN, and -0 is not 0.
    same = Object.is(want, got);
  }
  if (!same) throw new Error(`${where}: read ${describe(got)}, expected ${describe(want)}`);
}

function toHex(bytes) {
  return Buffer.from(bytes.buffer, bytes.byteOffset, bytes.byteLength).toString("hex");
}

function checkSample(type, payloadHex, json) {
  const definitions = definitionsFor(type);
  const expected = fromJson(type, JSON.parse(json), "");
  const payload = new Uint8Array(Buffer.from(payloadHex, "hex"));

  let verdict = "ok";
  try {
    const reader = new MessageReader(definitions);
    const read = reader.readMessage(payload);
    compare(type, expected, read, "");
    if (reader.lastReadByteLength() !== payload.byteLength) {
      throw new Error(`read ${reader.lastReadByteLength()} of the ${payload.byteLength} bytes`);
    }
  } catch (error) {
    verdict = `peer reading our payload: ${error.message}`;
  }
  const written = new MessageWriter(definitions).writeMessage(expected);
  return { verdict, peerHex: toHex(written) };
}

function main() {
  const batch = process.argv[2];
  if (batch === undefined) {
    console.error("usage: node cdr-peer.js <batch file>");
    process.exit(2);
  }
  const lines = fs.readFileSync(batch, "utf8").split("\n").filter((line) => line.length > 0);
  const out = [];
  for (const line of lines) {
    const [key, type, payloadHex, json] = line.split("\t");
    let answer;
    try {
      answer = checkSample(type, payloadHex, json);
    } catch (error) {
      answer = { verdict: `peer could not take the sample: ${error.message}`, peerHex: "-" };
    }
    const verdict = answer.verdict.replace(/[\t\n]/g, " ");
    out.push(`${key}\t${payloadHex}\t${verdict}\t${answer.peerHex}`);
  }
  process.stdout.write(out.join("\n") + "\n");
}

main();
