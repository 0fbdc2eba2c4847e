#!/usr/bin/env node
// A sharing site for Corvantis: people publish read-only copies of their projects here
// (POST /api/publish), and anyone with a link reads them in a browser (/g/{slug}).
//
//   node server.js            listens on 127.0.0.1:8080, data in ./data/share-site.sqlite
//
// Environment: PORT, HOST, DATA_DIR, SITE_URL (the address links are made with; by default the
// request's own host), PUBLISH_KEY (when set, only requests with that X-Publish-Key are taken),
// MAX_BYTES (the largest export taken, after decompression; 25 MB by default).
'use strict';
const http = require('node:http');
const fs = require('node:fs');
const path = require('node:path');
const zlib = require('node:zlib');
const crypto = require('node:crypto');
const { Database, sql } = require('./db');

const port = Number(process.env.PORT ?? 8080);
const host = process.env.HOST || '127.0.0.1';
const dataDir = process.env.DATA_DIR || path.join(__dirname, 'data');
const maxBytes = Number(process.env.MAX_BYTES || 25 * 1000 * 1000);
const publishKey = process.env.PUBLISH_KEY || '';
const publicDir = path.join(__dirname, 'public');

fs.mkdirSync(dataDir, { recursive: true });
const db = new Database(path.join(dataDir, 'share-site.sqlite'));

const schema = [
  `CREATE TABLE IF NOT EXISTS users (
     handle TEXT PRIMARY KEY, name TEXT NOT NULL, key_hash TEXT NOT NULL, created_at TEXT NOT NULL)`,
  `CREATE TABLE IF NOT EXISTS graphs (
     slug TEXT PRIMARY KEY, handle TEXT NOT NULL REFERENCES users(handle), name TEXT NOT NULL,
     edit_key_hash TEXT NOT NULL, data TEXT NOT NULL, nodes INTEGER NOT NULL, relationships INTEGER NOT NULL,
     created_at TEXT NOT NULL, updated_at TEXT NOT NULL)`,
  'CREATE INDEX IF NOT EXISTS graphs_by_handle ON graphs(handle)',
];

class Refusal extends Error {
  constructor(status, message) { super(message); this.status = status; }
}

const hash = (text) => crypto.createHash('sha256').update(String(text)).digest('hex');
const newKey = () => crypto.randomBytes(24).toString('base64url');
const now = () => new Date().toISOString().replace(/\.\d{3}Z$/, 'Z');
const sameHash = (a, b) => a.length === b.length && crypto.timingSafeEqual(Buffer.from(a), Buffer.from(b));

function slugFor(name) {
  const base = String(name).normalize('NFKD').replace(/[\u0300-\u036f]/g, '').toLowerCase()
    .replace(/[^a-z0-9]+/g, '-').replace(/^-+|-+$/g, '').slice(0, 40) || 'graph';
  return `${base}-${crypto.randomBytes(4).toString('hex')}`;
}

function siteURL(request) {
  if (process.env.SITE_URL) return process.env.SITE_URL.replace(/\/+$/, '');
  return `http://${request.headers.host || `${host}:${port}`}`;
}

// The body, or a 413 refusal once it passes the limit; the rest of a body that is too large is read
// and dropped, so that the publisher gets the answer rather than a closed connection.
function readBody(request) {
  return new Promise((resolve, reject) => {
    const chunks = [];
    let size = 0;
    request.on('data', (chunk) => {
      size += chunk.length;
      if (size <= maxBytes) chunks.push(chunk);
    });
    request.on('end', () => {
      if (size > maxBytes) reject(new Refusal(413, 'This graph is too large to share.'));
      else resolve(Buffer.concat(chunks));
    });
    request.on('error', reject);
  });
}

function decodeExport(body, encoding) {
  let plain = body;
  if (/gzip/i.test(encoding || '')) {
    try {
      plain = zlib.gunzipSync(body, { maxOutputLength: maxBytes });
    } catch (error) {
      if (error.code === 'ERR_BUFFER_TOO_LARGE' || /exceeds|maxOutputLength/i.test(error.message))
        throw new Refusal(413, 'This graph is too large to share.');
      throw new Refusal(400, "The graph couldn't be unpacked.");
    }
  }
  let exported;
  try {
    exported = JSON.parse(plain.toString('utf8'));
  } catch {
    throw new Refusal(400, "That isn't a Corvantis project export.");
  }
  if (!exported || exported.format !== 'corvantis-project' || !exported.project ||
      !Array.isArray(exported.nodes) || !Array.isArray(exported.relationships))
    throw new Refusal(400, "That isn't a Corvantis project export.");
  return exported;
}

async function publish(request, url) {
  if (publishKey && request.headers['x-publish-key'] !== publishKey)
    throw new Refusal(401, 'This site takes graphs only from its owner: the publish key in Settings › Sharing is missing or wrong.');
  const name = (url.searchParams.get('user') || '').trim();
  const handle = name.toLowerCase();
  if (!/^[a-z0-9][a-z0-9._-]{0,39}$/.test(handle))
    throw new Refusal(400, 'A username has letters, digits, dots, dashes or underscores, and at most 40 of them.');
  const exported = decodeExport(await readBody(request), request.headers['content-encoding']);
  // Attachments stay on the person's computer: the page shows the graph and the notes' text.
  delete exported.attachments;
  const data = JSON.stringify(exported);
  const nodes = exported.nodes.length;
  const relationships = exported.relationships.length;
  const title = String(exported.project.name || 'Untitled');

  const user = await db.get(sql`SELECT handle, name, key_hash FROM users WHERE handle = ${handle}`);
  let claimed = null;
  const statements = [];
  if (!user) {
    claimed = newKey();
    statements.push(sql`INSERT INTO users (handle, name, key_hash, created_at)
                        VALUES (${handle}, ${name}, ${hash(claimed)}, ${now()})`);
  } else {
    const given = request.headers['x-user-key'] || '';
    if (!given || !sameHash(hash(given), user.key_hash))
      throw new Refusal(403, `“${handle}” belongs to someone else. If it is yours, enter its key in Settings › Sharing.`);
  }

  const wanted = url.searchParams.get('slug');
  let slug = null;
  let editKey = null;
  let updated = false;
  if (wanted) {
    const graph = await db.get(sql`SELECT slug, handle, edit_key_hash FROM graphs WHERE slug = ${wanted}`);
    if (graph) {
      const given = request.headers['x-edit-key'] || '';
      if (!given || !sameHash(hash(given), graph.edit_key_hash))
        throw new Refusal(403, "This page was shared from another copy, and its edit key doesn't match.");
      slug = graph.slug;
      updated = true;
      statements.push(sql`UPDATE graphs SET name = ${title}, data = ${data}, nodes = ${nodes},
                          relationships = ${relationships}, updated_at = ${now()} WHERE slug = ${slug}`);
    }
  }
  if (!slug) {
    slug = slugFor(title);
    editKey = newKey();
    statements.push(sql`INSERT INTO graphs (slug, handle, name, edit_key_hash, data, nodes, relationships,
                                            created_at, updated_at)
                        VALUES (${slug}, ${handle}, ${title}, ${hash(editKey)}, ${data}, ${nodes},
                                ${relationships}, ${now()}, ${now()})`);
  }
  await db.run(statements);
  const answer = { slug, url: `${siteURL(request)}/g/${slug}`, nodes, relationships, updated };
  if (editKey) answer.editKey = editKey;
  const owner = user || { handle, name };
  answer.user = { handle: owner.handle, name: owner.name };
  if (claimed) answer.user.key = claimed;
  return answer;
}

const escapeHTML = (text) => String(text).replace(/[&<>"']/g, (c) => ({
  '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&#39;' }[c]));

function page(title, body) {
  return `<!doctype html><html lang="en"><head><meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>${escapeHTML(title)}</title><link rel="stylesheet" href="/static/style.css"></head>
<body>${body}</body></html>`;
}

async function listPage(handle) {
  const rows = handle
    ? await db.all(sql`SELECT slug, handle, name, nodes, relationships, updated_at FROM graphs WHERE handle = ${handle} ORDER BY updated_at DESC LIMIT 200`)
    : await db.all('SELECT slug, handle, name, nodes, relationships, updated_at FROM graphs ORDER BY updated_at DESC LIMIT 200');
  const items = rows.map((g) => `<li><a href="/g/${escapeHTML(g.slug)}">${escapeHTML(g.name)}</a>
    <span class="meta">by <a href="/u/${escapeHTML(g.handle)}">${escapeHTML(g.handle)}</a> ·
    ${g.nodes} nodes, ${g.relationships} relationships · ${escapeHTML(g.updated_at.slice(0, 10))}</span></li>`);
  const heading = handle ? `Graphs shared by ${escapeHTML(handle)}` : 'Shared graphs';
  return page(heading, `<main class="list"><h1>${heading}</h1>
    ${items.length ? `<ul>${items.join('')}</ul>` : '<p>Nothing shared here yet.</p>'}</main>`);
}

function graphPage(graph) {
  return page(graph.name, `<div id="app" data-slug="${escapeHTML(graph.slug)}">
  <header><h1>${escapeHTML(graph.name)}</h1><span class="meta">shared by ${escapeHTML(graph.handle)} ·
  ${graph.nodes} nodes, ${graph.relationships} relationships · read-only</span>
  <input id="search" type="search" placeholder="Search by name" autocomplete="off"></header>
  <main><canvas id="graph"></canvas><aside id="details"><p class="hint">Click a node to see its properties.</p></aside></main>
  <section id="notes"></section></div>
  <script src="/static/markdown.js"></script><script src="/static/viewer.js"></script>`);
}

const types = { '.js': 'text/javascript; charset=utf-8', '.css': 'text/css; charset=utf-8' };

async function route(request, response) {
  const url = new URL(request.url, 'http://local');
  const send = (status, body, type = 'text/html; charset=utf-8') => {
    response.writeHead(status, { 'Content-Type': type, 'Cache-Control': 'no-store' });
    response.end(body);
  };
  const sendJSON = (status, value) => send(status, JSON.stringify(value), 'application/json');
  try {
    if (request.method === 'POST' && url.pathname === '/api/publish')
      return sendJSON(200, await publish(request, url));
    if (request.method !== 'GET' && request.method !== 'HEAD')
      return sendJSON(405, { error: 'Only reading is possible here.' });
    if (url.pathname === '/') return send(200, await listPage(null));
    let match = url.pathname.match(/^\/u\/([^/]+)$/);
    if (match) return send(200, await listPage(decodeURIComponent(match[1]).toLowerCase()));
    match = url.pathname.match(/^\/api\/graphs\/([^/]+)$/);
    if (match) {
      const graph = await db.get(sql`SELECT slug, handle, name, data, updated_at FROM graphs WHERE slug = ${decodeURIComponent(match[1])}`);
      if (!graph) return sendJSON(404, { error: 'No graph is shared under that link.' });
      const exported = JSON.parse(graph.data);
      return sendJSON(200, { slug: graph.slug, handle: graph.handle, name: graph.name, updatedAt: graph.updated_at,
        schema: exported.project.schema, nodes: exported.nodes, relationships: exported.relationships,
        layout: exported.layout || {}, notes: exported.notes || null });
    }
    match = url.pathname.match(/^\/g\/([^/]+)$/);
    if (match) {
      const graph = await db.get(sql`SELECT slug, handle, name, nodes, relationships FROM graphs WHERE slug = ${decodeURIComponent(match[1])}`);
      if (!graph) return send(404, page('Not found', '<main class="list"><h1>No graph is shared under that link.</h1></main>'));
      return send(200, graphPage(graph));
    }
    match = url.pathname.match(/^\/static\/([a-z]+\.(js|css))$/);
    if (match) {
      const file = path.join(publicDir, match[1]);
      return send(200, fs.readFileSync(file), types[path.extname(file)]);
    }
    return send(404, page('Not found', '<main class="list"><h1>Nothing here.</h1></main>'));
  } catch (error) {
    if (error instanceof Refusal) return sendJSON(error.status, { error: error.message });
    console.error(error);
    return sendJSON(500, { error: 'The sharing site failed; try again later.' });
  }
}

async function main() {
  await db.run(schema);
  const server = http.createServer((request, response) => { route(request, response); });
  server.listen(port, host, () => {
    const address = server.address();
    console.log(`share-site listening on http://${host}:${address.port}`);
  });
  const stop = () => server.close(() => process.exit(0));
  process.on('SIGTERM', stop);
  process.on('SIGINT', stop);
}

main().catch((error) => { console.error(error.message); process.exit(1); });
