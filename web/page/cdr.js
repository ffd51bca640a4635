// CDR as ROS 2 puts it on the wire (XCDR1, little or big endian by the encapsulation header),
// read and written for the few message types the page shows and sends. Alignment counts from the
// end of the 4-byte encapsulation header, as the samples of the server carry it.
"use strict";

(function (root) {
  class CdrReader {
    constructor(bytes) {
      this.bytes = bytes;
      this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
      if (bytes.byteLength < 4 || bytes[0] !== 0) {
        throw new Error("not a CDR sample: it does not start with an encapsulation header");
      }
      // 0x00 0x01 (and the parameter-list 0x03): little endian; 0x00 0x00 / 0x02: big endian.
      this.little = (bytes[1] & 1) === 1;
      this.offset = 4;
    }

    align(size) {
      const misalignment = (this.offset - 4) % size;
      if (misalignment !== 0) this.offset += size - misalignment;
    }

    need(size) {
      if (this.offset + size > this.bytes.byteLength) {
        throw new Error(`the sample has ${this.bytes.byteLength} bytes, ${this.offset + size} needed`);
      }
    }

    uint8() { this.need(1); return this.view.getUint8(this.offset++); }
    bool() { return this.uint8() !== 0; }
    int32() { this.align(4); this.need(4); const v = this.view.getInt32(this.offset, this.little); this.offset += 4; return v; }
    uint32() { this.align(4); this.need(4); const v = this.view.getUint32(this.offset, this.little); this.offset += 4; return v; }
    float64() { this.align(8); this.need(8); const v = this.view.getFloat64(this.offset, this.little); this.offset += 8; return v; }

    string() {
      const length = this.uint32();  // the terminating NUL included
      if (length === 0) return "";
      this.need(length);
      const text = new TextDecoder().decode(this.bytes.subarray(this.offset, this.offset + length - 1));
      this.offset += length;
      return text;
    }

    // A sequence's length, checked against what is left, so that a corrupt length cannot make
    // the page allocate gigabytes.
    count(minimumElementSize) {
      const n = this.uint32();
      if (n * minimumElementSize > this.bytes.byteLength - this.offset) {
        throw new Error(`a sequence of ${n} elements does not fit in the sample`);
      }
      return n;
    }

    uint8Array() { const n = this.count(1); const a = this.bytes.subarray(this.offset, this.offset + n); this.offset += n; return a; }
    stringArray() { const n = this.count(4); const a = []; for (let i = 0; i < n; i++) a.push(this.string()); return a; }
    float64Array() {
      const n = this.count(8);
      const a = new Float64Array(n);
      for (let i = 0; i < n; i++) a[i] = this.float64();
      return a;
    }

    time() { return { sec: this.int32(), nanosec: this.uint32() }; }
    header() { return { stamp: this.time(), frame_id: this.string() }; }
  }

  class CdrWriter {
    constructor() {
      this.buffer = new ArrayBuffer(256);
      this.view = new DataView(this.buffer);
      this.offset = 0;
      this.raw([0x00, 0x01, 0x00, 0x00]);  // little endian, no options
    }

    reserve(size) {
      if (this.offset + size <= this.buffer.byteLength) return;
      const grown = new ArrayBuffer(Math.max(this.buffer.byteLength * 2, this.offset + size));
      new Uint8Array(grown).set(new Uint8Array(this.buffer, 0, this.offset));
      this.buffer = grown;
      this.view = new DataView(grown);
    }

    raw(bytes) { this.reserve(bytes.length); new Uint8Array(this.buffer).set(bytes, this.offset); this.offset += bytes.length; }
    align(size) { const m = (this.offset - 4) % size; if (m !== 0) this.raw(new Uint8Array(size - m)); }
    uint8(v) { this.reserve(1); this.view.setUint8(this.offset++, v); }
    int32(v) { this.align(4); this.reserve(4); this.view.setInt32(this.offset, v, true); this.offset += 4; }
    uint32(v) { this.align(4); this.reserve(4); this.view.setUint32(this.offset, v, true); this.offset += 4; }
    uint64(v) { this.align(8); this.reserve(8); this.view.setBigUint64(this.offset, BigInt(v), true); this.offset += 8; }
    float64(v) { this.align(8); this.reserve(8); this.view.setFloat64(this.offset, v, true); this.offset += 8; }
    string(text) { const b = new TextEncoder().encode(text); this.uint32(b.length + 1); this.raw(b); this.uint8(0); }
    stringArray(a) { this.uint32(a.length); a.forEach((s) => this.string(s)); }
    float64Array(a) { this.uint32(a.length); a.forEach((v) => this.float64(v)); }
    header(h) { this.int32(h.stamp.sec); this.uint32(h.stamp.nanosec); this.string(h.frame_id); }
    bytes() { return new Uint8Array(this.buffer, 0, this.offset); }
  }

  // The types the page shows, by the schemaName a channel advertises.
  const decoders = {
    "rosgraph_msgs/msg/Clock": (r) => ({ clock: r.time() }),
    "sensor_msgs/msg/JointState": (r) => ({
      header: r.header(),
      name: r.stringArray(),
      position: r.float64Array(),
      velocity: r.float64Array(),
      effort: r.float64Array(),
    }),
    "sensor_msgs/msg/Image": (r) => ({
      header: r.header(),
      height: r.uint32(),
      width: r.uint32(),
      encoding: r.string(),
      is_bigendian: r.uint8(),
      step: r.uint32(),
      data: r.uint8Array(),
    }),
    "sensor_msgs/msg/PointCloud2": (r) => {
      const header = r.header();
      const height = r.uint32();
      const width = r.uint32();
      const fields = [];
      for (let n = r.count(13); n > 0; n--) {
        fields.push({ name: r.string(), offset: r.uint32(), datatype: r.uint8(), count: r.uint32() });
      }
      return {
        header, height, width, fields,
        is_bigendian: r.bool(),
        point_step: r.uint32(),
        row_step: r.uint32(),
        data: r.uint8Array(),
        is_dense: r.bool(),
      };
    },
    "std_msgs/msg/String": (r) => ({ data: r.string() }),
  };

  function decode(schemaName, bytes) {
    const decoder = decoders[schemaName];
    if (!decoder) throw new Error(`no decoder for ${schemaName}`);
    return decoder(new CdrReader(bytes));
  }

  // A JointState with positions only: one kind of command per message, as the simulation wants.
  function encodeJointPositions(names, positions) {
    const w = new CdrWriter();
    w.header({ stamp: { sec: 0, nanosec: 0 }, frame_id: "" });
    w.stringArray(names);
    w.float64Array(positions);
    w.float64Array([]);
    w.float64Array([]);
    return w.bytes();
  }

  // The requests of the simulation-control services, and the result their responses start with.
  const requests = {
    "simulation_interfaces/srv/SetSimulationState": (state) => { const w = new CdrWriter(); w.uint8(state); return w.bytes(); },
    "simulation_interfaces/srv/StepSimulation": (steps) => { const w = new CdrWriter(); w.uint64(steps); return w.bytes(); },
    "simulation_interfaces/srv/ResetSimulation": (scope) => { const w = new CdrWriter(); w.uint8(scope); return w.bytes(); },
  };

  function decodeResult(bytes) {
    const r = new CdrReader(bytes);
    return { result: r.uint8(), error_message: r.string() };
  }

  const api = { CdrReader, CdrWriter, decoders, decode, encodeJointPositions, requests, decodeResult };
  if (typeof module !== "undefined" && module.exports) module.exports = api;
  else root.QorCdr = api;
})(typeof window !== "undefined" ? window : globalThis);
