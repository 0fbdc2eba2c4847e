#include "kit/links/PageText.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

namespace corvantis::PageText {

namespace {

constexpr auto insensitive = QRegularExpression::CaseInsensitiveOption;

QRegularExpression pattern(const QString& text) {
    QRegularExpression expression(text, insensitive);
    expression.optimize();
    return expression;
}

const QStringList removedTags{
    QStringLiteral("script"),   QStringLiteral("style"),  QStringLiteral("noscript"), QStringLiteral("svg"),
    QStringLiteral("template"), QStringLiteral("iframe"), QStringLiteral("canvas"),   QStringLiteral("nav"),
    QStringLiteral("header"),   QStringLiteral("footer"), QStringLiteral("aside"),    QStringLiteral("form"),
    QStringLiteral("button"),   QStringLiteral("select")};

// Built once, read from any thread.
const QRegularExpression& elementPattern(const QString& tag) {
    static const QHash<QString, QRegularExpression> patterns = [] {
        QHash<QString, QRegularExpression> built;
        QStringList tags = removedTags;
        tags << QStringLiteral("head") << QStringLiteral("article") << QStringLiteral("main");
        for (const QString& name : tags)
            built.insert(name, pattern(QStringLiteral("<") + name + QStringLiteral("\\b[^>]*>[\\s\\S]*?</") +
                                       name + QStringLiteral("\\s*>")));
        return built;
    }();
    return patterns.find(tag).value();
}

const QHash<QString, QString>& namedEntities() {
    static const QHash<QString, QString> table{
        {QStringLiteral("amp"), QStringLiteral("&")},
        {QStringLiteral("lt"), QStringLiteral("<")},
        {QStringLiteral("gt"), QStringLiteral(">")},
        {QStringLiteral("quot"), QStringLiteral("\"")},
        {QStringLiteral("apos"), QStringLiteral("'")},
        {QStringLiteral("nbsp"), QStringLiteral(" ")},
        {QStringLiteral("mdash"), QStringLiteral("—")},
        {QStringLiteral("ndash"), QStringLiteral("–")},
        {QStringLiteral("hellip"), QStringLiteral("…")},
        {QStringLiteral("lsquo"), QStringLiteral("‘")},
        {QStringLiteral("rsquo"), QStringLiteral("’")},
        {QStringLiteral("ldquo"), QStringLiteral("“")},
        {QStringLiteral("rdquo"), QStringLiteral("”")},
        {QStringLiteral("copy"), QStringLiteral("©")},
        {QStringLiteral("reg"), QStringLiteral("®")},
        {QStringLiteral("trade"), QStringLiteral("™")},
        {QStringLiteral("middot"), QStringLiteral("·")},
        {QStringLiteral("bull"), QStringLiteral("•")},
        {QStringLiteral("deg"), QStringLiteral("°")},
        {QStringLiteral("times"), QStringLiteral("×")},
        {QStringLiteral("eacute"), QStringLiteral("é")},
        {QStringLiteral("egrave"), QStringLiteral("è")},
        {QStringLiteral("aacute"), QStringLiteral("á")},
        {QStringLiteral("uuml"), QStringLiteral("ü")},
        {QStringLiteral("ouml"), QStringLiteral("ö")},
        {QStringLiteral("auml"), QStringLiteral("ä")},
        {QStringLiteral("szlig"), QStringLiteral("ß")},
        {QStringLiteral("laquo"), QStringLiteral("«")},
        {QStringLiteral("raquo"), QStringLiteral("»")},
        {QStringLiteral("thinsp"), QStringLiteral(" ")},
        {QStringLiteral("ensp"), QStringLiteral(" ")},
        {QStringLiteral("emsp"), QStringLiteral(" ")},
        {QStringLiteral("zwj"), QString()},
        {QStringLiteral("zwnj"), QString()},
        {QStringLiteral("shy"), QString()},
    };
    return table;
}

QString removeElements(QString html, const QStringList& tags) {
    for (const QString& tag : tags)
        if (html.contains(QLatin1Char('<') + tag, Qt::CaseInsensitive))
            html.remove(elementPattern(tag));
    return html;
}

} // namespace

QString decodeEntities(const QString& text) {
    if (!text.contains(QLatin1Char('&')))
        return text;
    static const QRegularExpression reference(
        QStringLiteral("&(#[0-9]+|#[xX][0-9A-Fa-f]+|[A-Za-z][A-Za-z0-9]*);"));
    QString out;
    out.reserve(text.size());
    qsizetype last = 0;
    auto it = reference.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        const QString name = match.captured(1);
        QString replacement;
        bool known = true;
        if (name.startsWith(QLatin1Char('#'))) {
            bool ok = false;
            const uint code =
                (name.size() > 1 && (name[1] == QLatin1Char('x') || name[1] == QLatin1Char('X')))
                    ? name.mid(2).toUInt(&ok, 16)
                    : name.mid(1).toUInt(&ok, 10);
            known = ok && code > 0 && code <= 0x10FFFF && !(code >= 0xD800 && code <= 0xDFFF);
            if (known) {
                const char32_t c = code;
                replacement = QString::fromUcs4(&c, 1);
            }
        } else {
            auto found = namedEntities().constFind(name);
            known = found != namedEntities().cend();
            if (known)
                replacement = *found;
        }
        if (!known)
            continue;
        out += QStringView(text).mid(last, match.capturedStart() - last);
        out += replacement;
        last = match.capturedEnd();
    }
    out += QStringView(text).mid(last);
    return out;
}

QString tidy(const QString& input) {
    QString text = input;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QStringList kept;
    bool lastEmpty = true; // drops empty lines at the start
    for (QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        QString joined;
        joined.reserve(line.size());
        bool inRun = false;
        for (QChar c : line) {
            if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\f') ||
                c == QLatin1Char('\v')) {
                inRun = true;
                continue;
            }
            if (inRun && !joined.isEmpty())
                joined += QLatin1Char(' ');
            inRun = false;
            joined += c;
        }
        // Other white space (a no-break space left by an entity, say) is trimmed at the ends too.
        joined = joined.trimmed();
        if (joined == QLatin1String("-"))
            continue;
        if (joined.isEmpty()) {
            if (lastEmpty)
                continue;
            lastEmpty = true;
        } else {
            lastEmpty = false;
        }
        kept.append(joined);
    }
    while (!kept.isEmpty() && kept.last().isEmpty())
        kept.removeLast();
    return kept.join(QLatin1Char('\n'));
}

QString text(const QString& fragment) {
    static const QRegularExpression lineBreak = pattern(QStringLiteral("<br\\s*/?>"));
    static const QRegularExpression blockEnd = pattern(
        QStringLiteral("</(p|div|section|blockquote|pre|tr|h[1-6]|dt|dd|figcaption|table|ul|ol)\\s*>"));
    static const QRegularExpression heading = pattern(QStringLiteral("<h([1-6])\\b[^>]*>"));
    static const QRegularExpression item = pattern(QStringLiteral("<li\\b[^>]*>"));
    static const QRegularExpression blockStart =
        pattern(QStringLiteral("<(p|div|section|blockquote|pre|tr|dt|dd|figcaption|table|ul|ol)\\b[^>]*>"));
    static const QRegularExpression cell = pattern(QStringLiteral("<(td|th)\\b[^>]*>"));
    static const QRegularExpression anyTag = pattern(QStringLiteral("<[^>]*>"));
    QString html = fragment;
    html.replace(lineBreak, QStringLiteral("\n"));
    html.replace(blockEnd, QStringLiteral("\n\n"));
    html.replace(heading, QStringLiteral("\n\n"));
    html.replace(item, QStringLiteral("\n- "));
    html.replace(blockStart, QStringLiteral("\n"));
    html.replace(cell, QStringLiteral(" "));
    html.remove(anyTag);
    return tidy(decodeEntities(html));
}

Extracted extract(const QString& page) {
    static const QRegularExpression comment = pattern(QStringLiteral("<!--[\\s\\S]*?-->"));
    static const QRegularExpression title =
        pattern(QStringLiteral("<title\\b[^>]*>([\\s\\S]*?)</title\\s*>"));
    Extracted result;
    QString html = page;
    if (html.contains(QStringLiteral("<!--")))
        html.remove(comment);
    html = removeElements(html, removedTags);
    if (const QRegularExpressionMatch match = title.match(html); match.hasMatch()) {
        const QString text = tidy(decodeEntities(match.captured(1)));
        if (!text.isEmpty())
            result.title = text;
    }
    html = removeElements(html, {QStringLiteral("head")});
    for (const QString& tag : {QStringLiteral("article"), QStringLiteral("main")}) {
        const QRegularExpressionMatch match = elementPattern(tag).match(html);
        if (!match.hasMatch())
            continue;
        const QString inner = text(match.captured(0));
        if (inner.size() >= 400) {
            result.text = inner;
            return result;
        }
    }
    result.text = text(html);
    return result;
}

} // namespace corvantis::PageText
