// Reads an MCAP file with @mcap/core (the indexed reader when the file has a summary, else the
// stream reader; `--stream` forces the stream reader), checks its CRCs and prints one JSON
// object: the header, schemas, channels, metadata, per-channel counts and every message.
// Usage: node mcap-check.js FILE [--stream]
"use strict";
const fs = require("fs");
const zlib = require("zlib");
const { McapIndexedReader, McapStreamReader } = require("@mcap/core");
const { loadDecompressHandlers } = require("@mcap/support");

const hex = (bytes) => Buffer.from(bytes.buffer, bytes.byteOffset, bytes.byteLength).toString("hex");
const text = (bytes) => Buffer.from(bytes.buffer, bytes.byteOffset, bytes.byteLength).toString("latin1");
const entries = (map) => Object.fromEntries([...map.entries()].sort());

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
  for await (const m of reader.readMessages({ validateCrcs: true })) out.messages.push(messageJson(m));
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
      case "Message":
        out.messages.push(messageJson(record));
        break;
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
