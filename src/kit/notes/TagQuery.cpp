#include "kit/notes/TagQuery.h"

#include <QRegularExpression>

namespace corvantis {

namespace {

constexpr auto uuid = "[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}";
constexpr auto letters = R"([\p{L}\p{M}\p{N}_])";

QRegularExpression compile(const QString& pattern) {
    return QRegularExpression(pattern, QRegularExpression::UseUnicodePropertiesOption);
}

const QRegularExpression& notePrefix() {
    static const auto re = compile(QStringLiteral(R"(\[\[([^\[\]\n]*)$)"));
    return re;
}
const QRegularExpression& noteRest() {
    static const auto re = compile(QStringLiteral(R"(^[^\[\]\n]*(?=\]\]))"));
    return re;
}
const QRegularExpression& propertyPrefix() {
    static const auto re =
        compile(QStringLiteral(R"((?<![\w@\\])@(%1)((?:(?:->|<-)%2*)*):(%2*)$)").arg(uuid, letters));
    return re;
}
const QRegularExpression& hopPrefix() {
    static const auto re =
        compile(QStringLiteral(R"((?<![\w@\\])@(%1)((?:(?:->|<-)%2*)*)(->|<-)(%2*)$)").arg(uuid, letters));
    return re;
}
const QRegularExpression& commandPrefix() {
    static const auto re = compile(QStringLiteral(R"((?<![\w/\\:.~])/([^\n/@\[]*)$)"));
    return re;
}
const QRegularExpression& recordPrefix() {
    static const auto re = compile(QStringLiteral(R"((?<![\w@\\])@([^\n@]*)$)"));
    return re;
}
const QRegularExpression& wholeId() {
    static const auto re = compile(QStringLiteral("^%1").arg(uuid));
    return re;
}

TagToken tokenOf(const QRegularExpressionMatch& m) {
    TagToken token;
    token.id = m.captured(1).toUpper();
    token.hops = NoteTag::hops(m.captured(2));
    return token;
}

} // namespace

std::optional<TagQuery> TagQuery::at(int caret, const QString& text) {
    caret = std::clamp(caret, 0, int(text.size()));
    const int lineStart = caret <= 0 ? 0 : int(text.lastIndexOf('\n', caret - 1)) + 1;
    const QString prefix = text.mid(lineStart, caret - lineStart);

    TagQuery query;
    if (const auto m = notePrefix().match(prefix); m.hasMatch()) {
        const int lineEnd = text.indexOf('\n', caret) < 0 ? int(text.size()) : int(text.indexOf('\n', caret));
        const auto rest = noteRest().match(text.mid(caret, lineEnd - caret));
        const QString after = rest.hasMatch() ? rest.captured(0) : QString();
        const QString title = m.captured(1) + after;
        if (title.size() <= 120) {
            query.stage = Stage::note;
            query.start = lineStart + m.capturedStart(0);
            query.end = caret + after.size();
            query.text = title;
            return query;
        }
    }
    if (const auto m = propertyPrefix().match(prefix); m.hasMatch()) {
        query.stage = Stage::property;
        query.from = tokenOf(m);
        query.start = lineStart + m.capturedStart(3) - 1; // the colon
        query.end = caret;
        query.text = m.captured(3);
        return query;
    }
    if (const auto m = hopPrefix().match(prefix); m.hasMatch()) {
        query.stage = Stage::hop;
        query.from = tokenOf(m);
        query.outgoing = m.captured(3) == "->";
        query.start = lineStart + m.capturedStart(3);
        query.end = caret;
        query.text = m.captured(4);
        return query;
    }
    if (const auto m = commandPrefix().match(prefix); m.hasMatch()) {
        const QString typed = m.captured(1);
        if (typed.size() < 25 && !(typed.size() > 0 && typed[0].isSpace())) {
            query.stage = Stage::command;
            query.start = lineStart + m.capturedStart(0);
            query.end = caret;
            query.text = typed;
            return query;
        }
    }
    if (const auto m = recordPrefix().match(prefix); m.hasMatch()) {
        const QString typed = m.captured(1);
        if (typed.size() <= 32 && !(typed.size() > 0 && typed[0].isSpace()) &&
            !wholeId().match(typed).hasMatch()) {
            query.stage = Stage::record;
            query.start = lineStart + m.capturedStart(0);
            query.end = caret;
            query.text = typed;
            return query;
        }
    }
    return std::nullopt;
}

} // namespace corvantis
