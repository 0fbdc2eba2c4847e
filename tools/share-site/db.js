// The site's data in one SQLite file, through Debian's sqlite3 command (Node 20 has no built-in SQLite
// module). Every statement goes through one queue, so writes never overlap; values are written as SQL
// literals by `literal`, which is the only place text reaches a statement.
'use strict';
const { spawn } = require('node:child_process');

function literal(value) {
  if (value === null || value === undefined) return 'NULL';
  if (typeof value === 'number') {
    if (!Number.isFinite(value)) throw new Error('not a finite number');
    return String(value);
  }
  if (typeof value === 'boolean') return value ? '1' : '0';
  // Text as a blob of its UTF-8 bytes cast back to text: no quoting rule of the shell or of SQL can be
  // crossed by what a person typed.
  return `CAST(X'${Buffer.from(String(value), 'utf8').toString('hex')}' AS TEXT)`;
}

function sql(strings, ...values) {
  let text = strings[0];
  values.forEach((value, i) => { text += literal(value) + strings[i + 1]; });
  return text;
}

class Database {
  constructor(path, command = process.env.SQLITE3 || 'sqlite3') {
    this.path = path;
    this.command = command;
    this.queue = Promise.resolve();
  }

  // Runs the statements in one transaction; resolves with the rows of the last one that gives rows.
  run(statements) {
    const script = ['.bail on', 'BEGIN IMMEDIATE;',
      ...statements.map((s) => s.trim().replace(/;?$/, ';')), 'COMMIT;'].join('\n');
    const next = this.queue.then(() => this.exec(script));
    this.queue = next.catch(() => {});
    return next;
  }

  all(statement) { return this.run([statement]); }

  async get(statement) {
    const rows = await this.all(statement);
    return rows.length ? rows[0] : null;
  }

  exec(script) {
    return new Promise((resolve, reject) => {
      const child = spawn(this.command, ['-json', '-cmd', '.timeout 5000', this.path], { stdio: ['pipe', 'pipe', 'pipe'] });
      const out = [];
      const err = [];
      child.stdout.on('data', (chunk) => out.push(chunk));
      child.stderr.on('data', (chunk) => err.push(chunk));
      child.on('error', reject);
      child.on('close', (code) => {
        const stderr = Buffer.concat(err).toString('utf8').trim();
        if (code !== 0 || stderr) return reject(new Error(stderr || `sqlite3 ended with ${code}`));
        // With -json each statement that gives rows prints one array; the last one counts.
        const text = Buffer.concat(out).toString('utf8').trim();
        if (!text) return resolve([]);
        const arrays = text.split(/\]\s*\n\s*\[/);
        const last = arrays.length === 1 ? text : '[' + arrays[arrays.length - 1];
        try {
          resolve(JSON.parse(last.endsWith(']') ? last : last + ']'));
        } catch (e) {
          reject(new Error('unreadable answer from sqlite3: ' + e.message));
        }
      });
      child.stdin.end(script);
    });
  }
}

module.exports = { Database, sql, literal };
