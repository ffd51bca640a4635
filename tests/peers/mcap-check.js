// Reads an MCAP file with @mcap/core (the indexed reader when the file has a summary, else the
// stream reader; `--stream` forces the stream reader), checks its CRCs and prints one JSON
// object: the header, schemas, channels, metadata, per-channel counts and every message.
// Every message of a "cdr" channel whose schema is "ros2msg" is also decoded with that schema
// (@foxglove/rosmsg and @foxglove/rosmsg2-serialization, which share no code with ours):
//   decoded: { channel id: { topic, messages, decoded, skipped: why none was tried } }
//   decodeFailureCount, decodeFailures: [{ channel, topic, sequence, error }] (the first 100)
// A message fails when the decoder runs out of bytes, or leaves 4 or more of them unread (fewer
// are the alignment padding a writer may add).
// Usage: node mcap-check.js FILE [--stream]
"use strict";
const fs = require("fs");
const zlib = require("zlib");
const { McapIndexedReader, McapStreamReader } = require("@mcap/core");
const { loadDecompressHandlers } = require("@mcap/support");
const { parse } = require("@foxglove/rosmsg");
const { MessageReader } = require("@foxglove/rosmsg2-serialization");

const kListedFailures = 100;
const kPadding = 4;

const hex = (bytes) => Buffer.from(bytes.buffer, bytes.byteOffset, bytes.byteLength).toString("hex");
const text = (bytes) => Buffer.from(bytes.buffer, bytes.byteOffset, bytes.byteLength).toString("latin1");
const entries = (map) => Object.fromEntries([...map.entries()].sort());

const firstLine = (error) => String(error?.message ?? error).split("\n")[0];

// Decodes messages per channel with the channel's schema, counting what fits and what does not.
class Decoder {
  constructor() {
    this.channels = new Map(); // channel id -> { topic, messages, decoded, skipped, reader, schemaError }
    this.failureCount = 0;
    this.failures = [];
  }

  channel(channel, schema) {
    let entry = this.channels.get(channel.id);
    if (entry !== undefined) return entry;
    entry = { topic: channel.topic, messages: 0, decoded: 0 };
    if (channel.messageEncoding !== "cdr") {
      entry.skipped = `message encoding '${channel.messageEncoding}'`;
    } else if (schema === undefined) {
      entry.skipped = "no schema";
    } else if (schema.encoding !== "ros2msg") {
      entry.skipped = `schema encoding '${schema.encoding}'`;
    } else {
      try {
        entry.reader = new MessageReader(parse(text(schema.data), { ros2: true }));
      } catch (error) {
        entry.schemaError = `schema ${schema.name}: ${firstLine(error)}`;
      }
    }
    this.channels.set(channel.id, entry);
    return entry;
  }

  decode(m, channel, schema) {
    const entry = this.channel(channel, schema);
    ++entry.messages;
    if (entry.skipped !== undefined) return;
    let error = entry.schemaError;
    if (error === undefined) {
      try {
        entry.reader.readMessage(m.data);
        const unread = m.data.byteLength - entry.reader.lastReadByteLength();
        if (unread >= kPadding) error = `${unread} bytes left after the message`;
      } catch (thrown) {
        error = firstLine(thrown);
      }
    }
    if (error === undefined) {
      ++entry.decoded;
      return;
    }
    if (++this.failureCount <= kListedFailures) {
      this.failures.push({ channel: m.channelId, topic: entry.topic, sequence: m.sequence, error });
    }
  }

  report(out) {
    out.decoded = {};
    for (const [id, { topic, messages, decoded, skipped }] of [...this.channels.entries()].sort((a, b) => a[0] - b[0])) {
      out.decoded[id] = skipped === undefined ? { topic, messages, decoded } : { topic, messages, decoded, skipped };
    }
    out.decodeFailureCount = this.failureCount;
    out.decodeFailures = this.failures;
  }
}

function messageJson(m) {
  return {
    channel: m.channelId,
    sequence: m.sequence,
    logTime: m.logTime.toString(),
    publishTime: m.publishTime.toString(),
    data: hex(m.data),
  };
}

function describe(out, schemas, channels) {
  out.schemas = [...schemas.values()]
    .sort((a, b) => a.id - b.id)
    .map((s) => ({ id: s.id, name: s.name, encoding: s.encoding, data: text(s.data) }));
  out.channels = [...channels.values()]
    .sort((a, b) => a.id - b.id)
    .map((c) => ({
      id: c.id,
      topic: c.topic,
      schema: c.schemaId,
      encoding: c.messageEncoding,
      metadata: entries(c.metadata),
    }));
  out.counts = {};
  for (const m of out.messages) out.counts[m.channel] = (out.counts[m.channel] ?? 0) + 1;
}

async function indexed(bytes, decompressHandlers) {
  const readable = {
    size: async () => BigInt(bytes.length),
    read: async (offset, size) => bytes.subarray(Number(offset), Number(offset + size)),
  };
  const reader = await McapIndexedReader.Initialize({ readable, decompressHandlers });
  const out = { mode: "indexed", profile: reader.header.profile, library: reader.header.library };
  if (reader.dataSectionCrc !== undefined) {
    const crc = zlib.crc32(bytes.subarray(0, Number(reader.dataEndOffset)));
    if (crc !== reader.dataSectionCrc) {
      throw new Error(`data section CRC ${crc} != stored ${reader.dataSectionCrc}`);
    }
    out.dataSectionCrcChecked = true;
  }
  out.messages = [];
  const decoder = new Decoder();
  for await (const m of reader.readMessages({ validateCrcs: true })) {
    out.messages.push(messageJson(m));
    const channel = reader.channelsById.get(m.channelId);
    decoder.decode(m, channel, reader.schemasById.get(channel.schemaId));
  }
  decoder.report(out);
  out.metadata = [];
  for await (const m of reader.readMetadata()) out.metadata.push({ name: m.name, entries: entries(m.metadata) });
  out.chunkCount = reader.chunkIndexes.length;
  if (reader.statistics) {
    out.statistics = {
      messageCount: reader.statistics.messageCount.toString(),
      channelMessageCounts: Object.fromEntries(
        [...reader.statistics.channelMessageCounts.entries()].map(([k, v]) => [k, v.toString()]),
      ),
    };
  }
  describe(out, reader.schemasById, reader.channelsById);
  return out;
}

function stream(bytes, decompressHandlers) {
  const reader = new McapStreamReader({ decompressHandlers, validateCrcs: true });
  reader.append(bytes);
  const out = { mode: "stream", messages: [], metadata: [], chunkCount: 0 };
  const schemas = new Map();
  const channels = new Map();
  const decoder = new Decoder();
  for (let record; (record = reader.nextRecord()) !== undefined; ) {
    switch (record.type) {
      case "Header":
        out.profile = record.profile;
        out.library = record.library;
        break;
      case "Schema":
        schemas.set(record.id, record);
        break;
      case "Channel":
        channels.set(record.id, record);
        break;
      case "Message": {
        out.messages.push(messageJson(record));
        const channel = channels.get(record.channelId);
        if (channel !== undefined) decoder.decode(record, channel, schemas.get(channel.schemaId));
        break;
      }
      case "Metadata":
        out.metadata.push({ name: record.name, entries: entries(record.metadata) });
        break;
      case "DataEnd":
        out.dataEnd = true;
        break;
      default:
        break;
    }
  }
  out.complete = reader.done();
  decoder.report(out);
  describe(out, schemas, channels);
  return out;
}

async function main() {
  const [file, flag] = process.argv.slice(2);
  const bytes = new Uint8Array(fs.readFileSync(file));
  const decompressHandlers = await loadDecompressHandlers();
  const result = flag === "--stream" ? stream(bytes, decompressHandlers) : await indexed(bytes, decompressHandlers);
  process.stdout.write(JSON.stringify(result) + "\n");
}

main().catch((error) => {
  process.stdout.write(JSON.stringify({ error: String(error.message ?? error) }) + "\n");
  process.exitCode = 1;
});
