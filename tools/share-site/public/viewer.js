// The read-only page of one shared graph: nodes in their types' colours where the person left them,
// pan by dragging, zoom with the wheel, search by name, a node's properties on a click, and the notes.
'use strict';
(function () {
  const palette = {
    light: { iris: '#5B5BD6', peach: '#E5804F', mint: '#2FA886', sky: '#2E8FD9', rose: '#D94C72', lime: '#6EA82F', orchid: '#A855C9', slate: '#64748B' },
    dark: { iris: '#8583F0', peach: '#F2A07A', mint: '#5CCFAE', sky: '#62B3F0', rose: '#F07A98', lime: '#97CB5A', orchid: '#C984E3', slate: '#94A3B8' },
  };
  const dark = window.matchMedia && window.matchMedia('(prefers-color-scheme: dark)').matches;
  const colors = dark ? palette.dark : palette.light;
  const ink = dark ? '#ecedf1' : '#1c1d22';
  const faint = dark ? 'rgba(236,237,241,0.22)' : 'rgba(28,29,34,0.2)';

  const app = document.getElementById('app');
  const canvas = document.getElementById('graph');
  const details = document.getElementById('details');
  const search = document.getElementById('search');
  const notes = document.getElementById('notes');
  const context = canvas.getContext('2d');
  const escape = (text) => String(text).replace(/[&<>"']/g, (c) => ({ '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&#39;' }[c]));

  // The table a type's records are kept in, as the program derives it from the type's name.
  const words = (name) => String(name).normalize('NFKD').replace(/[\u0300-\u036f]/g, '')
    .replace(/([a-z0-9])([A-Z])/g, '$1 $2').split(/[^A-Za-z0-9]+/).filter(Boolean);
  const tableOf = (name) => words(name).map((w) => w[0].toUpperCase() + w.slice(1).toLowerCase()).join('') || 'Type';
  const columnOf = (name) => words(name).map((w) => w.toLowerCase()).join('_') || 'property';
  const fold = (text) => String(text).normalize('NFKD').replace(/[\u0300-\u036f]/g, '').toLowerCase();

  let graph = null;
  let nodes = [];
  let edges = [];
  let byId = new Map();
  let view = { x: 0, y: 0, scale: 1 };
  let selected = null;
  let query = '';

  function typeOf(label, types) {
    return types.find((t) => tableOf(t.name) === label) ||
      types.find((t) => fold(t.name).replace(/[^a-z0-9]/g, '') === fold(label).replace(/[^a-z0-9]/g, '')) || null;
  }

  function titleOf(node, type) {
    if (type && type.titleProperty) {
      const property = (type.properties || []).find((p) => p.id === type.titleProperty);
      const value = property && node.properties[columnOf(property.name)];
      if (value !== undefined && value !== null && String(value).trim()) return String(value);
    }
    if (node.properties.name) return String(node.properties.name);
    const text = Object.values(node.properties).find((v) => typeof v === 'string' && v.trim());
    return text || (type ? type.name : node.label);
  }

  // Nodes the person never placed get places from a short force simulation around the placed ones.
  function settle(free) {
    if (!free.length) return;
    free.forEach((n, i) => {
      const angle = (i / free.length) * Math.PI * 2;
      n.x = Math.cos(angle) * 60 * Math.sqrt(nodes.length);
      n.y = Math.sin(angle) * 60 * Math.sqrt(nodes.length);
    });
    for (let step = 0; step < 300; step++) {
      const heat = 1 - step / 300;
      for (const a of free) {
        let fx = 0, fy = 0;
        for (const b of nodes) {
          if (a === b) continue;
          const dx = a.x - b.x, dy = a.y - b.y;
          const d2 = Math.max(dx * dx + dy * dy, 25);
          fx += (dx / d2) * 2400; fy += (dy / d2) * 2400;
        }
        a.vx = fx; a.vy = fy;
      }
      for (const e of edges) {
        const dx = e.to.x - e.from.x, dy = e.to.y - e.from.y;
        const d = Math.max(Math.hypot(dx, dy), 1);
        const pull = (d - 120) * 0.05;
        if (e.from.free) { e.from.vx += (dx / d) * pull * 10; e.from.vy += (dy / d) * pull * 10; }
        if (e.to.free) { e.to.vx -= (dx / d) * pull * 10; e.to.vy -= (dy / d) * pull * 10; }
      }
      for (const a of free) {
        a.x += Math.max(-20, Math.min(20, a.vx * 0.02 * heat));
        a.y += Math.max(-20, Math.min(20, a.vy * 0.02 * heat));
      }
    }
  }

  function fit() {
    if (!nodes.length) return;
    const xs = nodes.map((n) => n.x), ys = nodes.map((n) => n.y);
    const [minX, maxX, minY, maxY] = [Math.min(...xs), Math.max(...xs), Math.min(...ys), Math.max(...ys)];
    const width = canvas.clientWidth, height = canvas.clientHeight;
    view.scale = Math.min(2, Math.min(width / (maxX - minX + 200), height / (maxY - minY + 120)));
    view.x = width / 2 - ((minX + maxX) / 2) * view.scale;
    view.y = height / 2 - ((minY + maxY) / 2) * view.scale;
  }

  const matches = (n) => !query || fold(n.title).includes(query);

  function draw() {
    const ratio = window.devicePixelRatio || 1;
    const width = canvas.clientWidth, height = canvas.clientHeight;
    if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
      canvas.width = Math.round(width * ratio);
      canvas.height = Math.round(height * ratio);
    }
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    context.translate(view.x, view.y);
    context.scale(view.scale, view.scale);
    context.lineWidth = 1.2 / view.scale;
    for (const e of edges) {
      const lit = matches(e.from) && matches(e.to);
      context.strokeStyle = lit ? faint : (dark ? 'rgba(236,237,241,0.06)' : 'rgba(28,29,34,0.05)');
      const dx = e.to.x - e.from.x, dy = e.to.y - e.from.y, d = Math.max(Math.hypot(dx, dy), 1);
      const ex = e.to.x - (dx / d) * 13, ey = e.to.y - (dy / d) * 13;
      context.beginPath(); context.moveTo(e.from.x, e.from.y); context.lineTo(ex, ey); context.stroke();
      context.fillStyle = context.strokeStyle;
      context.beginPath();
      context.moveTo(ex, ey);
      context.lineTo(ex - (dx / d) * 8 - (dy / d) * 4, ey - (dy / d) * 8 + (dx / d) * 4);
      context.lineTo(ex - (dx / d) * 8 + (dy / d) * 4, ey - (dy / d) * 8 - (dx / d) * 4);
      context.fill();
      if (view.scale > 0.8 && lit) {
        context.fillStyle = dark ? '#a0a4ae' : '#5f6470';
        context.font = `${10 / Math.max(view.scale, 1)}px system-ui, sans-serif`;
        context.textAlign = 'center';
        context.fillText(e.label, (e.from.x + e.to.x) / 2, (e.from.y + e.to.y) / 2 - 4);
      }
    }
    for (const n of nodes) {
      const lit = matches(n);
      context.globalAlpha = lit ? 1 : 0.18;
      context.fillStyle = n.color;
      context.beginPath(); context.arc(n.x, n.y, n === selected ? 12 : 10, 0, Math.PI * 2); context.fill();
      if (n === selected) {
        context.strokeStyle = ink; context.lineWidth = 2.5 / view.scale;
        context.beginPath(); context.arc(n.x, n.y, 16, 0, Math.PI * 2); context.stroke();
        context.lineWidth = 1.2 / view.scale;
      }
      context.fillStyle = ink;
      context.font = `${13 / Math.max(view.scale, 0.75)}px system-ui, sans-serif`;
      context.textAlign = 'center';
      context.fillText(n.title, n.x, n.y + 26);
    }
    context.globalAlpha = 1;
  }

  function show(node) {
    selected = node;
    if (!node) {
      details.innerHTML = '<p class="hint">Click a node to see its properties.</p>';
      return draw();
    }
    const rows = [];
    const shown = new Set();
    for (const property of (node.type && node.type.properties) || []) {
      const column = columnOf(property.name);
      shown.add(column);
      const value = node.properties[column];
      if (value === undefined || value === null || value === '') continue;
      rows.push([property.name, value, property.kind]);
    }
    for (const [column, value] of Object.entries(node.properties)) {
      if (!shown.has(column) && value !== null && value !== '') rows.push([column, value, 'text']);
    }
    const links = edges.filter((e) => e.from === node || e.to === node)
      .map((e) => `${escape(e.from.title)} <span class="meta">${escape(e.label)}</span> ${escape(e.to.title)}`);
    details.innerHTML = `<h2><span class="swatch" style="background:${node.color}"></span>${escape(node.title)}</h2>
      <div class="meta">${escape(node.type ? node.type.name : node.label)}</div>
      <dl>${rows.map(([name, value, kind]) => `<dt>${escape(name)}</dt><dd>${kind === 'link' && /^https?:\/\//.test(String(value))
        ? `<a href="${escape(value)}" rel="noopener nofollow">${escape(value)}</a>` : escape(value)}</dd>`).join('')}</dl>
      ${links.length ? `<dt class="meta">Relationships</dt><ul>${links.map((l) => `<li>${l}</li>`).join('')}</ul>` : ''}`;
    draw();
  }

  function nodeAt(px, py) {
    const x = (px - view.x) / view.scale, y = (py - view.y) / view.scale;
    let best = null, bestDistance = 16 / Math.min(view.scale, 1);
    for (const n of nodes) {
      const d = Math.hypot(n.x - x, n.y - y);
      if (d < bestDistance) { best = n; bestDistance = d; }
    }
    return best;
  }

  // Every note in the notes file: objects that hold a text body, with their titles.
  function collectNotes(value, found) {
    if (Array.isArray(value)) value.forEach((v) => collectNotes(v, found));
    else if (value && typeof value === 'object') {
      const body = ['body', 'text', 'markdown', 'content'].map((k) => value[k]).find((v) => typeof v === 'string');
      if (body !== undefined) found.push({ title: value.title || value.name || '', body });
      else Object.values(value).forEach((v) => collectNotes(v, found));
    }
    return found;
  }

  function load(data) {
    graph = data;
    const types = (data.schema && data.schema.nodeTypes) || [];
    const relTypes = (data.schema && data.schema.relTypes) || [];
    const positions = (data.layout && data.layout.positions) || {};
    nodes = data.nodes.map((record) => {
      const type = typeOf(record.label, types);
      const at = positions[record.id];
      return { id: record.id, label: record.label, type, properties: record.properties || {},
        title: titleOf({ label: record.label, properties: record.properties || {} }, type),
        color: (type && colors[type.color]) || colors.slate, x: at ? at.x : 0, y: at ? at.y : 0, free: !at };
    });
    byId = new Map(nodes.map((n) => [n.id, n]));
    edges = data.relationships.filter((r) => byId.has(r.from) && byId.has(r.to)).map((r) => {
      const type = relTypes.find((t) => words(t.name).map((w) => w.toUpperCase()).join('_') === r.label);
      return { from: byId.get(r.from), to: byId.get(r.to), label: type ? type.name : r.label };
    });
    settle(nodes.filter((n) => n.free));
    fit();
    draw();
    const found = data.notes ? collectNotes(data.notes, []) : [];
    notes.innerHTML = found.map((n) => `<article>${n.title ? `<h2 class="note-title">${escape(n.title)}</h2>` : ''}
      ${window.renderMarkdown(n.body)}</article>`).join('');
    document.body.dataset.loaded = 'true';
  }

  let drag = null;
  canvas.addEventListener('mousedown', (event) => {
    drag = { x: event.offsetX, y: event.offsetY, viewX: view.x, viewY: view.y, moved: false };
    canvas.classList.add('dragging');
  });
  window.addEventListener('mousemove', (event) => {
    if (!drag) return;
    const rect = canvas.getBoundingClientRect();
    const dx = event.clientX - rect.left - drag.x, dy = event.clientY - rect.top - drag.y;
    if (Math.abs(dx) + Math.abs(dy) > 3) drag.moved = true;
    view.x = drag.viewX + dx; view.y = drag.viewY + dy;
    draw();
  });
  window.addEventListener('mouseup', (event) => {
    if (!drag) return;
    const clicked = !drag.moved;
    drag = null;
    canvas.classList.remove('dragging');
    if (clicked) {
      const rect = canvas.getBoundingClientRect();
      show(nodeAt(event.clientX - rect.left, event.clientY - rect.top));
    }
  });
  canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    const factor = Math.exp(-event.deltaY * 0.0015);
    const scale = Math.min(6, Math.max(0.1, view.scale * factor));
    view.x = event.offsetX - ((event.offsetX - view.x) / view.scale) * scale;
    view.y = event.offsetY - ((event.offsetY - view.y) / view.scale) * scale;
    view.scale = scale;
    draw();
  }, { passive: false });
  search.addEventListener('input', () => { query = fold(search.value.trim()); draw(); });
  search.addEventListener('keydown', (event) => {
    if (event.key !== 'Enter') return;
    const hit = nodes.find(matches);
    if (!hit) return;
    view.x = canvas.clientWidth / 2 - hit.x * view.scale;
    view.y = canvas.clientHeight / 2 - hit.y * view.scale;
    show(hit);
  });
  window.addEventListener('resize', () => { fit(); draw(); });

  // The page may be opened with "?q=" to start with a search, and "#node={id}" to start on a node.
  fetch(`/api/graphs/${encodeURIComponent(app.dataset.slug)}`)
    .then((response) => response.json())
    .then((data) => {
      load(data);
      const params = new URLSearchParams(location.search);
      if (params.get('q')) { search.value = params.get('q'); query = fold(params.get('q')); draw(); }
      const start = location.hash.match(/^#node=(.+)$/);
      if (start && byId.has(decodeURIComponent(start[1]))) show(byId.get(decodeURIComponent(start[1])));
    })
    .catch(() => { details.innerHTML = '<p class="hint">This graph couldn’t be loaded.</p>'; });
})();
