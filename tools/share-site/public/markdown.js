// A small Markdown renderer for shared notes: headings, paragraphs, emphasis, code, links, lists,
// quotes and rules. Everything is escaped first, so a note cannot put markup of its own on the page.
'use strict';
(function () {
  const escape = (text) => text.replace(/[&<>"']/g, (c) => ({ '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&#39;' }[c]));

  function inline(text) {
    const codes = [];
    let out = escape(text).replace(/`([^`]+)`/g, (_, code) => { codes.push(code); return `\u0000${codes.length - 1}\u0000`; });
    out = out
      .replace(/!\[([^\]]*)\]\(([^)\s]+)\)/g, (_, alt) => `<em>[${alt || 'picture'}]</em>`)
      .replace(/\[([^\]]+)\]\((https?:\/\/[^)\s]+)\)/g, '<a href="$2" rel="noopener nofollow">$1</a>')
      .replace(/\*\*([^*]+)\*\*/g, '<strong>$1</strong>')
      .replace(/__([^_]+)__/g, '<strong>$1</strong>')
      .replace(/(^|[^*])\*([^*\s][^*]*)\*/g, '$1<em>$2</em>')
      .replace(/(^|\W)_([^_\s][^_]*)_(?=\W|$)/g, '$1<em>$2</em>')
      .replace(/~~([^~]+)~~/g, '<del>$1</del>');
    return out.replace(/\u0000(\d+)\u0000/g, (_, i) => `<code>${codes[Number(i)]}</code>`);
  }

  function render(markdown) {
    const lines = String(markdown).replace(/\r\n?/g, '\n').split('\n');
    const html = [];
    let paragraph = [];
    let list = null;
    const flush = () => {
      if (paragraph.length) html.push(`<p>${inline(paragraph.join(' '))}</p>`);
      paragraph = [];
      if (list) { html.push(`</${list}>`); list = null; }
    };
    for (let i = 0; i < lines.length; i++) {
      const line = lines[i];
      if (/^```/.test(line)) {
        flush();
        const code = [];
        for (i++; i < lines.length && !/^```/.test(lines[i]); i++) code.push(lines[i]);
        html.push(`<pre><code>${escape(code.join('\n'))}</code></pre>`);
        continue;
      }
      let m;
      if (!line.trim()) { flush(); continue; }
      if ((m = line.match(/^(#{1,6})\s+(.*)$/))) { flush(); html.push(`<h${m[1].length + 2 > 6 ? 6 : m[1].length + 2}>${inline(m[2])}</h${m[1].length + 2 > 6 ? 6 : m[1].length + 2}>`); continue; }
      if (/^(\*\s*\*\s*\*|-\s*-\s*-)[\s*-]*$/.test(line)) { flush(); html.push('<hr>'); continue; }
      if ((m = line.match(/^>\s?(.*)$/))) { flush(); html.push(`<blockquote>${inline(m[1])}</blockquote>`); continue; }
      if ((m = line.match(/^\s*([-*+]|\d+[.)])\s+(?:\[( |x|X)\]\s+)?(.*)$/))) {
        const kind = /\d/.test(m[1]) ? 'ol' : 'ul';
        if (paragraph.length) { html.push(`<p>${inline(paragraph.join(' '))}</p>`); paragraph = []; }
        if (list !== kind) { if (list) html.push(`</${list}>`); html.push(`<${kind}>`); list = kind; }
        const box = m[2] ? (m[2] === ' ' ? '☐ ' : '☑ ') : '';
        html.push(`<li>${box}${inline(m[3])}</li>`);
        continue;
      }
      if (list) { html.push(`</${list}>`); list = null; }
      paragraph.push(line.trim());
    }
    flush();
    return html.join('\n');
  }

  window.renderMarkdown = render;
})();
