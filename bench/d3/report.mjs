// Reads the lines "SIDE SIZE MEDIAN_MS TICKS CHECKSUM" that bench/layout.sh gathered and prints the
// table: per size, the median over the runs of each side's median tick, and d3-force / ForceLayout.

import { readFileSync } from 'node:fs';

const [file, runs] = process.argv.slice(2);
const times = new Map(); // size -> { ours: [], d3: [], ticks }
for (const line of readFileSync(file, 'utf8').split('\n')) {
  const [side, size, ms, ticks] = line.trim().split(/\s+/);
  if (!side || !ms) continue;
  const entry = times.get(Number(size)) ?? { ours: [], d3: [], ticks: Number(ticks) };
  entry[side].push(Number(ms));
  times.set(Number(size), entry);
}

const median = (values) => {
  const sorted = [...values].sort((a, b) => a - b);
  const n = sorted.length;
  return n % 2 ? sorted[(n - 1) / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
};

console.log(`\nOne tick, milliseconds: median over ${runs} runs of the median tick of each run`);
console.log('  bodies   ticks/run   ForceLayout    d3-force   d3-force / ForceLayout' +
  '   ForceLayout range     d3-force range');
for (const size of [...times.keys()].sort((a, b) => a - b)) {
  const { ours, d3, ticks } = times.get(size);
  const a = median(ours);
  const b = median(d3);
  const range = (values) => `${Math.min(...values).toFixed(3)}-${Math.max(...values).toFixed(3)}`;
  console.log(`${String(size).padStart(8)}   ${String(ticks).padStart(9)}   ${a.toFixed(3).padStart(11)}` +
    `   ${b.toFixed(3).padStart(9)}   ${(b / a).toFixed(1).padStart(21)}x` +
    `   ${range(ours).padStart(17)}   ${range(d3).padStart(16)}`);
}
