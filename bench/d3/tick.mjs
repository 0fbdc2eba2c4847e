// Times one d3-force tick on the graphs that bench_layout wrote, with the parameters of ForceLayout:
// many-body strength -900 and theta 0.9, links of rest length 170 with ForceLayout's damping
// (0.7 / the smaller degree of the two ends), collision radius 46 with strength 0.35, velocity decay 0.4,
// a pull of 0.012 towards the origin, and alpha falling from 1 by 0.028 per tick.
//
//   node tick.mjs DIR [SIZE...]   prints "SIZE MEDIAN_MS TICKS" per graph

import { readFileSync } from 'node:fs';
import { performance } from 'node:perf_hooks';
import { forceCollide, forceLink, forceManyBody, forceSimulation, forceX, forceY } from 'd3-force';

const warmupTicks = 3;
const timedTicks = (size) => (size <= 1000 ? 300 : size <= 10000 ? 60 : 8);

const [dir, ...sizeArgs] = process.argv.slice(2);
const sizes = sizeArgs.length ? sizeArgs.map(Number) : [1000, 10000, 100000];

function median(values) {
  const sorted = [...values].sort((a, b) => a - b);
  const n = sorted.length;
  return n % 2 ? sorted[(n - 1) / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
}

for (const size of sizes) {
  const graph = JSON.parse(readFileSync(`${dir}/graph-${size}.json`, 'utf8'));
  const nodes = graph.x.map((x, i) => ({ x, y: graph.y[i], vx: 0, vy: 0 }));
  const links = graph.links.map(([a, b]) => ({ source: a, target: b }));
  const degree = new Float64Array(nodes.length);
  for (const [a, b] of graph.links) {
    degree[a] += 1;
    degree[b] += 1;
  }
  const simulation = forceSimulation(nodes)
    .stop()
    .alpha(1)
    .alphaMin(0)
    .alphaDecay(0.028)
    .velocityDecay(0.4)
    .force('link', forceLink(links).distance(170)
      .strength((l) => 0.7 / Math.min(degree[l.source.index], degree[l.target.index])))
    .force('charge', forceManyBody().strength(-900).theta(0.9))
    .force('collide', forceCollide(46).strength(0.35))
    .force('x', forceX(0).strength(0.012))
    .force('y', forceY(0).strength(0.012));
  for (let t = 0; t < warmupTicks; t++) simulation.tick();
  const times = [];
  const count = timedTicks(size);
  for (let t = 0; t < count; t++) {
    const start = performance.now();
    simulation.tick();
    times.push(performance.now() - start);
  }
  let checksum = 0;
  for (const node of nodes) checksum += node.x + node.y;
  console.log(`${size} ${median(times).toFixed(4)} ${count} ${checksum.toPrecision(6)}`);
}
