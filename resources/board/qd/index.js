// The drawing board: a canvas of strokes, highlights, shapes and text with undo, pan and zoom, in the
// light or the dark appearance. The same engine runs on the desktop page and on a tablet's page; they
// keep each other in step by exchanging operations as JSON texts.
(function () {
  'use strict';

  const INK = { light: '#1f2328', dark: '#e8e8ea' };
  const PAPER = { light: '#ffffff', dark: '#1c1c1f' };
  const GRID = { light: '#eceef2', dark: '#2a2a2f' };
  const COLOURS = {
    ink: INK,
    iris: { light: '#5B5BD6', dark: '#8583F0' },
    rose: { light: '#D94C72', dark: '#F07A98' },
    mint: { light: '#2FA886', dark: '#5CCFAE' },
    sky: { light: '#2E8FD9', dark: '#62B3F0' },
    peach: { light: '#E5804F', dark: '#F2A07A' },
  };
  const HIGHLIGHT = { light: 'rgba(255, 214, 10, 0.35)', dark: 'rgba(255, 214, 10, 0.28)' };

  function newId() {
    return Math.random().toString(36).slice(2, 10) + Date.now().toString(36).slice(-4);
  }

  function bounds(item) {
    if (item.points) {
      let x0 = Infinity, y0 = Infinity, x1 = -Infinity, y1 = -Infinity;
      for (const p of item.points) {
        x0 = Math.min(x0, p[0]); y0 = Math.min(y0, p[1]);
        x1 = Math.max(x1, p[0]); y1 = Math.max(y1, p[1]);
      }
      const r = (item.width || 2) / 2 + 2;
      return { x: x0 - r, y: y0 - r, w: x1 - x0 + 2 * r, h: y1 - y0 + 2 * r };
    }
    if (item.kind === 'text') {
      const lines = item.text.split('\n');
      const width = Math.max(...lines.map((l) => l.length)) * item.size * 0.56;
      return { x: item.x, y: item.y - item.size, w: width, h: lines.length * item.size * 1.3 };
    }
    return { x: Math.min(item.x, item.x + item.w), y: Math.min(item.y, item.y + item.h),
             w: Math.abs(item.w), h: Math.abs(item.h) };
  }

  function near(item, x, y, radius) {
    const b = bounds(item);
    if (x < b.x - radius || x > b.x + b.w + radius || y < b.y - radius || y > b.y + b.h + radius) return false;
    if (!item.points) return true;
    const pts = item.points;
    for (let i = 0; i < pts.length; i++) {
      const a = pts[i], c = pts[Math.min(i + 1, pts.length - 1)];
      const dx = c[0] - a[0], dy = c[1] - a[1];
      const len = dx * dx + dy * dy;
      const t = len ? Math.max(0, Math.min(1, ((x - a[0]) * dx + (y - a[1]) * dy) / len)) : 0;
      const px = a[0] + t * dx - x, py = a[1] + t * dy - y;
      if (px * px + py * py <= (radius + (item.width || 2) / 2) ** 2) return true;
    }
    return false;
  }

  // Smooths a stroke by drawing quadratic curves through the midpoints of its points.
  function tracePath(ctx, pts) {
    ctx.beginPath();
    ctx.moveTo(pts[0][0], pts[0][1]);
    if (pts.length < 3) {
      for (const p of pts) ctx.lineTo(p[0], p[1]);
      if (pts.length === 1) ctx.lineTo(pts[0][0] + 0.01, pts[0][1]);
      return;
    }
    for (let i = 1; i < pts.length - 1; i++) {
      const mx = (pts[i][0] + pts[i + 1][0]) / 2, my = (pts[i][1] + pts[i + 1][1]) / 2;
      ctx.quadraticCurveTo(pts[i][0], pts[i][1], mx, my);
    }
    const last = pts[pts.length - 1];
    ctx.lineTo(last[0], last[1]);
  }

  function paintItem(ctx, item, theme) {
    const colour = (COLOURS[item.colour] || INK)[theme];
    ctx.save();
    ctx.lineCap = 'round';
    ctx.lineJoin = 'round';
    if (item.kind === 'stroke' || item.kind === 'highlight') {
      ctx.strokeStyle = item.kind === 'highlight' ? HIGHLIGHT[theme] : colour;
      ctx.lineWidth = item.width;
      tracePath(ctx, item.points);
      ctx.stroke();
    } else if (item.kind === 'rect') {
      ctx.strokeStyle = colour; ctx.lineWidth = item.width;
      ctx.strokeRect(item.x, item.y, item.w, item.h);
    } else if (item.kind === 'ellipse') {
      ctx.strokeStyle = colour; ctx.lineWidth = item.width;
      ctx.beginPath();
      ctx.ellipse(item.x + item.w / 2, item.y + item.h / 2, Math.abs(item.w / 2), Math.abs(item.h / 2), 0, 0, 2 * Math.PI);
      ctx.stroke();
    } else if (item.kind === 'arrow') {
      const x2 = item.x + item.w, y2 = item.y + item.h;
      const angle = Math.atan2(item.h, item.w), head = 6 + item.width * 3;
      ctx.strokeStyle = colour; ctx.lineWidth = item.width;
      ctx.beginPath();
      ctx.moveTo(item.x, item.y); ctx.lineTo(x2, y2);
      ctx.moveTo(x2 - head * Math.cos(angle - 0.45), y2 - head * Math.sin(angle - 0.45));
      ctx.lineTo(x2, y2);
      ctx.lineTo(x2 - head * Math.cos(angle + 0.45), y2 - head * Math.sin(angle + 0.45));
      ctx.stroke();
    } else if (item.kind === 'text') {
      ctx.fillStyle = colour;
      ctx.font = item.size + 'px system-ui, sans-serif';
      item.text.split('\n').forEach((line, i) => ctx.fillText(line, item.x, item.y + i * item.size * 1.3));
    }
    ctx.restore();
  }

  class Board {
    constructor(canvas, options) {
      this.canvas = canvas;
      this.ctx = canvas.getContext('2d');
      this.items = [];
      this.theme = 'light';
      this.view = { x: 0, y: 0, k: 1 };
      this.tool = 'pen';
      this.colour = 'ink';
      this.undoStack = [];
      this.redoStack = [];
      this.selected = null;
      this.onOperation = options.onOperation || (() => {});
      this.onChange = options.onChange || (() => {});
      this.pointers = new Map();
      this.listen();
      this.resize();
      new ResizeObserver(() => this.resize()).observe(canvas);
    }

    // -- The document --------------------------------------------------------------------------------
    load(json) {
      let doc = { items: [] };
      if (json) {
        try { doc = JSON.parse(json); } catch (e) { doc = { items: [] }; }
      }
      this.items = Array.isArray(doc.items) ? doc.items : [];
      this.undoStack = [];
      this.redoStack = [];
      this.selected = null;
      this.fit();
    }
    snapshot() { return JSON.stringify({ version: 1, items: this.items }); }
    isEmpty() { return this.items.length === 0; }

    // Applies an operation ({add}, {remove}, {update} with items or ids); `local` ones are undoable
    // and go out to the other pages.
    apply(op, local) {
      if (op.add) for (const item of op.add) this.items.push(item);
      if (op.remove) {
        const gone = new Set(op.remove);
        this.items = this.items.filter((item) => !gone.has(item.id));
        if (this.selected && gone.has(this.selected)) this.selected = null;
      }
      if (op.update) {
        for (const item of op.update) {
          const at = this.items.findIndex((old) => old.id === item.id);
          if (at >= 0) this.items[at] = item;
        }
      }
      this.paint();
      if (local) {
        this.onOperation(op);
        this.onChange();
      }
    }
    inverse(op) {
      const inv = {};
      if (op.add) inv.remove = op.add.map((item) => item.id);
      if (op.remove) inv.add = this.items.filter((item) => op.remove.includes(item.id)).map((i) => JSON.parse(JSON.stringify(i)));
      if (op.update) inv.update = op.update.map((item) => JSON.parse(JSON.stringify(this.items.find((old) => old.id === item.id))));
      return inv;
    }
    perform(op) {
      this.undoStack.push(this.inverse(op));
      this.redoStack = [];
      this.apply(op, true);
    }
    undo() {
      const op = this.undoStack.pop();
      if (!op) return;
      this.redoStack.push(this.inverse(op));
      this.apply(op, true);
    }
    redo() {
      const op = this.redoStack.pop();
      if (!op) return;
      this.undoStack.push(this.inverse(op));
      this.apply(op, true);
    }
    clear() { if (this.items.length) this.perform({ remove: this.items.map((item) => item.id) }); }

    // -- Appearance and view -------------------------------------------------------------------------
    setTheme(theme) {
      this.theme = theme === 'dark' ? 'dark' : 'light';
      document.documentElement.dataset.theme = this.theme;
      this.paint();
    }
    resize() {
      const ratio = window.devicePixelRatio || 1;
      const rect = this.canvas.getBoundingClientRect();
      this.canvas.width = Math.max(1, Math.round(rect.width * ratio));
      this.canvas.height = Math.max(1, Math.round(rect.height * ratio));
      this.ratio = ratio;
      this.paint();
    }
    fit() {
      const rect = this.canvas.getBoundingClientRect();
      if (!this.items.length || !rect.width) { this.view = { x: 0, y: 0, k: 1 }; this.paint(); return; }
      const b = this.extent();
      const k = Math.min(2, Math.min(rect.width / (b.w + 80), rect.height / (b.h + 80)));
      this.view = { k, x: rect.width / 2 - (b.x + b.w / 2) * k, y: rect.height / 2 - (b.y + b.h / 2) * k };
      this.paint();
    }
    extent() {
      let x0 = Infinity, y0 = Infinity, x1 = -Infinity, y1 = -Infinity;
      for (const item of this.items) {
        const b = bounds(item);
        x0 = Math.min(x0, b.x); y0 = Math.min(y0, b.y);
        x1 = Math.max(x1, b.x + b.w); y1 = Math.max(y1, b.y + b.h);
      }
      return { x: x0, y: y0, w: x1 - x0, h: y1 - y0 };
    }
    toWorld(clientX, clientY) {
      const rect = this.canvas.getBoundingClientRect();
      return [(clientX - rect.left - this.view.x) / this.view.k, (clientY - rect.top - this.view.y) / this.view.k];
    }
    zoomAt(clientX, clientY, factor) {
      const rect = this.canvas.getBoundingClientRect();
      const sx = clientX - rect.left, sy = clientY - rect.top;
      const k = Math.max(0.1, Math.min(8, this.view.k * factor));
      this.view.x = sx - ((sx - this.view.x) * k) / this.view.k;
      this.view.y = sy - ((sy - this.view.y) * k) / this.view.k;
      this.view.k = k;
      this.paint();
    }

    paint() {
      const ctx = this.ctx;
      const r = this.ratio || 1;
      ctx.setTransform(1, 0, 0, 1, 0, 0);
      ctx.fillStyle = PAPER[this.theme];
      ctx.fillRect(0, 0, this.canvas.width, this.canvas.height);
      ctx.setTransform(r * this.view.k, 0, 0, r * this.view.k, r * this.view.x, r * this.view.y);
      this.paintGrid(ctx);
      for (const item of this.items) paintItem(ctx, item, this.theme);
      if (this.draft) paintItem(ctx, this.draft, this.theme);
      const chosen = this.selected && this.items.find((item) => item.id === this.selected);
      if (chosen) {
        const b = bounds(chosen);
        ctx.save();
        ctx.strokeStyle = COLOURS.iris[this.theme];
        ctx.setLineDash([4 / this.view.k, 4 / this.view.k]);
        ctx.lineWidth = 1 / this.view.k;
        ctx.strokeRect(b.x - 4, b.y - 4, b.w + 8, b.h + 8);
        ctx.restore();
      }
    }
    paintGrid(ctx) {
      const rect = this.canvas.getBoundingClientRect();
      const step = 32;
      const x0 = Math.floor(-this.view.x / this.view.k / step) * step;
      const y0 = Math.floor(-this.view.y / this.view.k / step) * step;
      const x1 = x0 + rect.width / this.view.k + step, y1 = y0 + rect.height / this.view.k + step;
      ctx.fillStyle = GRID[this.theme];
      const dot = 1.5 / this.view.k;
      if ((x1 - x0) / step * ((y1 - y0) / step) > 20000) return;
      for (let x = x0; x < x1; x += step) for (let y = y0; y < y1; y += step) ctx.fillRect(x - dot / 2, y - dot / 2, dot, dot);
    }

    // A picture of the drawing in one appearance, as base64 PNG.
    picture(theme) {
      const b = this.extent();
      const margin = 24, scale = 2;
      const canvas = document.createElement('canvas');
      canvas.width = Math.max(1, Math.ceil((b.w + 2 * margin) * scale));
      canvas.height = Math.max(1, Math.ceil((b.h + 2 * margin) * scale));
      const ctx = canvas.getContext('2d');
      ctx.setTransform(scale, 0, 0, scale, (margin - b.x) * scale, (margin - b.y) * scale);
      for (const item of this.items) paintItem(ctx, item, theme);
      return canvas.toDataURL('image/png').split(',')[1];
    }

    // -- Input ---------------------------------------------------------------------------------------
    listen() {
      const c = this.canvas;
      c.addEventListener('pointerdown', (e) => this.down(e));
      c.addEventListener('pointermove', (e) => this.move(e));
      c.addEventListener('pointerup', (e) => this.up(e));
      c.addEventListener('pointercancel', (e) => this.up(e));
      c.addEventListener('wheel', (e) => {
        e.preventDefault();
        if (e.ctrlKey) this.zoomAt(e.clientX, e.clientY, Math.exp(-e.deltaY * 0.01));
        else { this.view.x -= e.deltaX; this.view.y -= e.deltaY; this.paint(); }
      }, { passive: false });
      window.addEventListener('keydown', (e) => {
        if (e.target && e.target.tagName === 'TEXTAREA') return;
        const mod = e.ctrlKey || e.metaKey;
        if (mod && e.key.toLowerCase() === 'z') { e.preventDefault(); e.shiftKey ? this.redo() : this.undo(); }
        else if (mod && e.key.toLowerCase() === 'y') { e.preventDefault(); this.redo(); }
        else if ((e.key === 'Delete' || e.key === 'Backspace') && this.selected) { this.perform({ remove: [this.selected] }); }
        else if (!mod && TOOL_KEYS[e.key]) this.setTool(TOOL_KEYS[e.key]);
      });
    }
    setTool(tool) {
      this.tool = tool;
      if (tool !== 'select') this.selected = null;
      document.querySelectorAll('[data-tool]').forEach((b) => b.classList.toggle('on', b.dataset.tool === tool));
      this.paint();
    }
    setColour(colour) {
      this.colour = colour;
      document.querySelectorAll('[data-colour]').forEach((b) => b.classList.toggle('on', b.dataset.colour === colour));
    }
    down(e) {
      this.canvas.setPointerCapture(e.pointerId);
      this.pointers.set(e.pointerId, { x: e.clientX, y: e.clientY });
      // Fingers pan and zoom; a pen, a mouse or a single finger with no pen around draws.
      if (e.pointerType === 'touch' && (this.penSeen || this.pointers.size > 1)) { this.gesture = this.gestureStart(); this.draft = null; return; }
      if (e.pointerType === 'pen') this.penSeen = true;
      if (e.button === 1 || (e.button === 0 && e.altKey)) { this.panning = { x: e.clientX, y: e.clientY }; return; }
      const [x, y] = this.toWorld(e.clientX, e.clientY);
      const width = this.tool === 'highlight' ? 18 : 2.5 * (e.pressure > 0 && e.pointerType === 'pen' ? 0.5 + e.pressure : 1);
      if (this.tool === 'pen' || this.tool === 'highlight') {
        this.draft = { id: newId(), kind: this.tool === 'pen' ? 'stroke' : 'highlight', colour: this.colour, width, points: [[x, y]] };
      } else if (this.tool === 'eraser') {
        this.erasing = new Set();
        this.erase(x, y);
      } else if (this.tool === 'rect' || this.tool === 'ellipse' || this.tool === 'arrow') {
        this.draft = { id: newId(), kind: this.tool, colour: this.colour, width: 2.5, x, y, w: 0, h: 0 };
      } else if (this.tool === 'text') {
        this.editText(e.clientX, e.clientY, x, y);
      } else if (this.tool === 'select') {
        const hit = [...this.items].reverse().find((item) => near(item, x, y, 6 / this.view.k));
        this.selected = hit ? hit.id : null;
        this.dragging = hit ? { from: [x, y], original: JSON.parse(JSON.stringify(hit)) } : null;
        this.paint();
      }
    }
    move(e) {
      if (this.pointers.has(e.pointerId)) this.pointers.set(e.pointerId, { x: e.clientX, y: e.clientY });
      if (this.gesture) { this.gestureMove(); return; }
      if (this.panning) {
        this.view.x += e.clientX - this.panning.x; this.view.y += e.clientY - this.panning.y;
        this.panning = { x: e.clientX, y: e.clientY };
        this.paint();
        return;
      }
      const [x, y] = this.toWorld(e.clientX, e.clientY);
      if (this.draft && this.draft.points) { this.draft.points.push([x, y]); this.paint(); }
      else if (this.draft) { this.draft.w = x - this.draft.x; this.draft.h = y - this.draft.y; this.paint(); }
      else if (this.erasing) this.erase(x, y);
      else if (this.dragging && this.selected) {
        const item = this.items.find((i) => i.id === this.selected);
        const dx = x - this.dragging.from[0], dy = y - this.dragging.from[1];
        const o = this.dragging.original;
        if (item.points) item.points = o.points.map((p) => [p[0] + dx, p[1] + dy]);
        else { item.x = o.x + dx; item.y = o.y + dy; }
        this.paint();
      }
    }
    up(e) {
      this.pointers.delete(e.pointerId);
      if (this.gesture) { if (this.pointers.size === 0) this.gesture = null; else this.gesture = this.gestureStart(); return; }
      this.panning = null;
      if (this.draft) {
        const item = this.draft;
        this.draft = null;
        const b = bounds(item);
        if (item.points || b.w > 2 || b.h > 2) this.perform({ add: [item] });
        else this.paint();
      } else if (this.erasing) {
        const gone = [...this.erasing];
        this.erasing = null;
        if (gone.length) {
          // Put back what was hidden while erasing, then take it out as one step.
          this.items.push(...this.erasedItems);
          this.perform({ remove: gone });
        }
        this.erasedItems = [];
      } else if (this.dragging && this.selected) {
        const item = JSON.parse(JSON.stringify(this.items.find((i) => i.id === this.selected)));
        const original = this.dragging.original;
        this.dragging = null;
        if (JSON.stringify(item) !== JSON.stringify(original)) {
          const at = this.items.findIndex((i) => i.id === item.id);
          this.items[at] = original;
          this.perform({ update: [item] });
        }
      }
    }
    erase(x, y) {
      this.erasedItems = this.erasedItems || [];
      const radius = 8 / this.view.k;
      const hits = this.items.filter((item) => near(item, x, y, radius));
      if (!hits.length) return;
      for (const hit of hits) { this.erasing.add(hit.id); this.erasedItems.push(hit); }
      const gone = new Set(hits.map((h) => h.id));
      this.items = this.items.filter((item) => !gone.has(item.id));
      this.paint();
    }
    gestureStart() {
      const pts = [...this.pointers.values()];
      const cx = pts.reduce((s, p) => s + p.x, 0) / pts.length, cy = pts.reduce((s, p) => s + p.y, 0) / pts.length;
      const d = pts.length > 1 ? Math.hypot(pts[0].x - pts[1].x, pts[0].y - pts[1].y) : 0;
      return { cx, cy, d };
    }
    gestureMove() {
      const now = this.gestureStart();
      this.view.x += now.cx - this.gesture.cx; this.view.y += now.cy - this.gesture.cy;
      this.paint();
      if (this.gesture.d && now.d) this.zoomAt(now.cx, now.cy, now.d / this.gesture.d);
      this.gesture = now;
    }
    editText(clientX, clientY, x, y) {
      const field = document.createElement('textarea');
      field.className = 'text-entry';
      field.style.left = clientX + 'px';
      field.style.top = clientY - 12 + 'px';
      document.body.appendChild(field);
      setTimeout(() => field.focus(), 0);
      const done = () => {
        const text = field.value.trim();
        field.remove();
        if (text) this.perform({ add: [{ id: newId(), kind: 'text', colour: this.colour, size: 20, x, y: y + 8, text }] });
      };
      field.addEventListener('blur', done, { once: true });
      field.addEventListener('keydown', (e) => {
        if (e.key === 'Escape') { field.value = ''; field.blur(); }
        else if (e.key === 'Enter' && !e.shiftKey) { e.preventDefault(); field.blur(); }
      });
    }
  }

  const TOOL_KEYS = { p: 'pen', h: 'highlight', e: 'eraser', r: 'rect', o: 'ellipse', a: 'arrow', t: 'text', v: 'select' };

  // Builds the tool bar and the board into `root`; `send` carries operations to the other pages.
  function makeBoard(root, options) {
    root.innerHTML = `
      <div class="tools" role="toolbar">
        <button data-tool="select" title="Select (V)">⬚</button>
        <button data-tool="pen" title="Pen (P)">✎</button>
        <button data-tool="highlight" title="Highlighter (H)">▮</button>
        <button data-tool="eraser" title="Eraser (E)">⌫</button>
        <button data-tool="rect" title="Rectangle (R)">▭</button>
        <button data-tool="ellipse" title="Ellipse (O)">◯</button>
        <button data-tool="arrow" title="Arrow (A)">→</button>
        <button data-tool="text" title="Text (T)">T</button>
        <span class="sep"></span>
        ${Object.keys(COLOURS).map((c) => `<button data-colour="${c}" class="swatch ${c}" title="${c}"></button>`).join('')}
        <span class="sep"></span>
        <button data-action="undo" title="Undo (Ctrl+Z)">↶</button>
        <button data-action="redo" title="Redo (Ctrl+Shift+Z)">↷</button>
        <button data-action="fit" title="Fit">⤢</button>
        ${options.exportImage ? '<button data-action="export" title="Export as picture">⇪</button>' : ''}
        <span class="status"></span>
      </div>
      <canvas class="board"></canvas>`;
    const board = new Board(root.querySelector('canvas'), options);
    root.querySelectorAll('[data-tool]').forEach((b) => b.addEventListener('click', () => board.setTool(b.dataset.tool)));
    root.querySelectorAll('[data-colour]').forEach((b) => b.addEventListener('click', () => board.setColour(b.dataset.colour)));
    root.querySelector('[data-action=undo]').addEventListener('click', () => board.undo());
    root.querySelector('[data-action=redo]').addEventListener('click', () => board.redo());
    root.querySelector('[data-action=fit]').addEventListener('click', () => board.fit());
    const exportButton = root.querySelector('[data-action=export]');
    if (exportButton) exportButton.addEventListener('click', () => { if (!board.isEmpty()) options.exportImage(board.picture(board.theme)); });
    board.setTool('pen');
    board.setColour('ink');
    board.status = (text) => { root.querySelector('.status').textContent = text; };
    return board;
  }

  // A message from another page: an operation, the whole state, or who is there.
  function receive(board, text, answer) {
    let message;
    try { message = JSON.parse(text); } catch (e) { return; }
    if (message.type === 'op' && message.op) { board.apply(message.op, false); board.onChange(); }
    else if (message.type === 'state') { board.items = message.items || []; board.paint(); }
    else if (message.type === 'join' && answer) answer(JSON.stringify({ type: 'state', items: board.items }));
    else if (message.type === 'presence' && board.status) {
      const n = message.ipads || 0;
      board.status(n === 0 ? '' : n === 1 ? 'Tablet connected' : n + ' tablets connected');
    }
  }

  window.Quickdraw = { makeBoard, receive, Board };
})();
