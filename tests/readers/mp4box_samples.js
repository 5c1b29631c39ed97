#!/usr/bin/env node
// Lists every sample mp4box.js finds in a movie header, as runs: back-to-back samples of one size,
// one duration, one composition offset and one sync state. A run is exact (no sample is lost or
// merged across a change), so comparing runs compares every sample.
//
// Usage: node mp4box_samples.js MOVIE [--per-sample]
// Only the header is read: every top-level atom except the media data payload, of which only its
// first 16 bytes (the 'mdat' header and its 'wide' or 64-bit size) are handed to the reader.
'use strict';

const fs = require('fs');

let MP4Box;
try {
  MP4Box = require('mp4box');
} catch (error) {
  console.error(
      'mp4box.js is not installed: run `npm ci` in tests/readers (' + error.message + ')');
  process.exit(2);
}

// Tracks with more samples than this are listed from their tables, chunk by chunk: mp4box.js keeps
// one object per sample, and an hour of 48 kHz audio is 172.8 million samples a track.
const kMaxListedSamples = 2000000;
const kMdatHeaderBytes = 16;

function readAt(fd, position, length) {
  const bytes = Buffer.alloc(length);
  const got = fs.readSync(fd, bytes, 0, length, position);
  if (got !== length) throw new Error(`short read: ${got} of ${length} bytes at ${position}`);
  return bytes;
}

// The byte ranges to hand to the reader: each top-level atom up to the media data, whole, then
// the media data header.
function headerRanges(fd, fileSize) {
  const ranges = [];
  let position = 0;
  while (position + 8 <= fileSize) {
    const head = readAt(fd, position, Math.min(16, fileSize - position));
    let size = head.readUInt32BE(0);
    const type = head.toString('latin1', 4, 8);
    if (size === 1)
      size = Number(head.readBigUInt64BE(8));
    else if (size === 0)
      size = fileSize - position;
    if (size < 8) throw new Error(`atom '${type}' at ${position} has size ${size}`);
    if (type === 'mdat') {
      ranges.push({type, start: position, length: kMdatHeaderBytes, atomSize: size});
      return ranges;
    }
    ranges.push({type, start: position, length: size, atomSize: size});
    position += size;
  }
  throw new Error('no mdat atom in the file');
}

// mp4box.js 2.4.1 expands a constant sample size into one array element per sample while it
// parses 'stsz'; V8 cannot hold 172.8 million of them and aborts. Past kMaxListedSamples the
// constant and the count are kept and the array is left empty; smaller tables parse as shipped.
function keepConstantSampleSizesCompact() {
  const stsz = MP4Box.BoxParser.box.stsz;
  const shippedParse = stsz.prototype.parse;
  stsz.prototype.parse = function parse(stream) {
    const start = stream.getPosition();
    this.parseFullHeader(stream);
    if (this.version === 0) {
      const sampleSize = stream.readUint32();
      const sampleCount = stream.readUint32();
      if (sampleSize !== 0 && sampleCount > kMaxListedSamples) {
        this.sample_size = sampleSize;
        this.sample_count = sampleCount;
        this.sample_sizes = [];
        return;
      }
    }
    stream.seek(start);
    shippedParse.call(this, stream);
  };
}

function sampleCountOf(trak) {
  const stsz = trak.mdia.minf.stbl.stsz;
  return stsz ? stsz.sample_count : 0;
}

// Appends samples to runs, opening a new run wherever a field changes or a gap appears.
class RunBuilder {
  constructor() { this.runs = []; }
  add(offset, size, count, dts, duration, ctsOffset, sync) {
    const last = this.runs[this.runs.length - 1];
    if (last && last.offset + last.size * last.count === offset && last.size === size &&
        last.duration === duration && last.ctsOffset === ctsOffset && last.sync === sync &&
        last.dts + last.duration * last.count === dts) {
      last.count += count;
      return;
    }
    this.runs.push({offset, size, count, dts, duration, ctsOffset, sync});
  }
}

function runsFromSamples(samples) {
  const builder = new RunBuilder();
  for (const s of samples) {
    builder.add(s.offset, s.size, 1, s.dts, s.duration, s.cts - s.dts, s.is_sync);
  }
  return builder.runs;
}

// Chunk by chunk from the tables mp4box.js parsed: constant sample size, no composition offsets,
// every sample a sync sample. Anything else is refused rather than guessed.
function runsFromTables(trak) {
  const stbl = trak.mdia.minf.stbl;
  const stsz = stbl.stsz;
  if (stsz.sample_size === 0) throw new Error('table listing needs a constant sample size');
  if (stbl.ctts) throw new Error('table listing does not handle composition offsets');
  if (stbl.stss) throw new Error('table listing does not handle a sync sample table');
  const offsets = stbl.stco ? stbl.stco.chunk_offsets : stbl.co64.chunk_offsets;
  const stsc = stbl.stsc;
  const deltas = [];  // [count, delta] pairs
  for (let i = 0; i < stbl.stts.sample_counts.length; ++i) {
    deltas.push([stbl.stts.sample_counts[i], stbl.stts.sample_deltas[i]]);
  }
  let deltaIndex = 0;
  let deltaLeft = deltas.length ? deltas[0][0] : 0;
  let dts = 0;
  let listed = 0;
  const builder = new RunBuilder();
  for (let chunk = 0; chunk < offsets.length; ++chunk) {
    // stsc first_chunk is 1-based; the last entry whose first chunk is at or before this one rules.
    let entry = 0;
    while (entry + 1 < stsc.first_chunk.length && stsc.first_chunk[entry + 1] <= chunk + 1) ++entry;
    let left = Math.min(stsc.samples_per_chunk[entry], stsz.sample_count - listed);
    let offset = offsets[chunk];
    while (left > 0) {
      if (deltaIndex >= deltas.length) throw new Error('time-to-sample table ends early');
      const n = Math.min(left, deltaLeft);
      const delta = deltas[deltaIndex][1];
      builder.add(offset, stsz.sample_size, n, dts, delta, 0, true);
      offset += n * stsz.sample_size;
      dts += n * delta;
      left -= n;
      listed += n;
      deltaLeft -= n;
      if (deltaLeft === 0 && ++deltaIndex < deltas.length) deltaLeft = deltas[deltaIndex][0];
    }
  }
  if (listed !== stsz.sample_count) {
    throw new Error(`chunks hold ${listed} samples, the size table ${stsz.sample_count}`);
  }
  return builder.runs;
}

function main() {
  const args = process.argv.slice(2);
  const perSample = args.includes('--per-sample');
  const path = args.find((a) => !a.startsWith('--'));
  if (!path) {
    console.error('usage: node mp4box_samples.js MOVIE [--per-sample]');
    process.exit(2);
  }
  const fd = fs.openSync(path, 'r');
  const fileSize = fs.fstatSync(fd).size;
  const ranges = headerRanges(fd, fileSize);

  keepConstantSampleSizesCompact();
  const file = MP4Box.createFile();
  const errors = [];
  file.onError = (e) => errors.push(String(e));
  // mp4box.js builds every track's sample list as soon as the movie atom is parsed; large tracks
  // are left empty here and listed from their tables instead.
  const buildTrack = file.buildTrakSampleLists.bind(file);
  const tabled = new Set();
  file.buildTrakSampleLists = (trak) => {
    if (sampleCountOf(trak) > kMaxListedSamples) {
      tabled.add(trak.tkhd.track_id);
      trak.samples = [];
      return;
    }
    buildTrack(trak);
  };
  for (const range of ranges) {
    const bytes = readAt(fd, range.start, range.length);
    const buffer = bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length);
    buffer.fileStart = range.start;
    file.appendBuffer(buffer);
  }
  file.flush();
  fs.closeSync(fd);
  if (!file.moov) throw new Error('mp4box.js found no movie atom');

  const tracks = file.moov.traks.map((trak) => {
    const id = trak.tkhd.track_id;
    const entries = trak.mdia.minf.stbl.stsd.entries;
    const track = {
      id,
      handler: trak.mdia.hdlr.handler,
      sampleEntries: entries.map((e) => e.type),
      timescale: trak.mdia.mdhd.timescale,
      mediaDuration: Number(trak.mdia.mdhd.duration),
      width: trak.tkhd.width / 65536,
      height: trak.tkhd.height / 65536,
      sampleCount: sampleCountOf(trak),
      listedFrom: tabled.has(id) ? 'tables' : 'samples',
    };
    if (tabled.has(id)) {
      track.runs = runsFromTables(trak);
    } else {
      const samples = file.getTrackSamplesInfo(id);
      track.runs = runsFromSamples(samples);
      if (perSample) {
        track.samples = samples.map((s) => [s.offset, s.size, s.dts, s.cts, s.is_sync]);
      }
    }
    return track;
  });
  const out = {
    ranges: ranges.map((r) => ({type: r.type, start: r.start, length: r.length, size: r.atomSize})),
    timescale: file.moov.mvhd.timescale,
    duration: Number(file.moov.mvhd.duration),
    errors,
    tracks,
  };
  process.stdout.write(JSON.stringify(out) + '\n');
}

try {
  main();
} catch (error) {
  console.error('mp4box_samples: ' + (error && error.stack ? error.stack : error));
  process.exit(1);
}
