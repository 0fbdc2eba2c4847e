#include "kit/notes/NoteTag.h"

#include <QStringList>

namespace corvantis {

namespace {

constexpr auto uuid = "[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}";

} // namespace

QString TagToken::text() const {
    QString text = "@" + id;
    for (const Hop& hop : hops)
        text += (hop.outgoing ? "->" : "<-") + hop.name;
    if (property)
        text += ":" + *property;
    return text;
}

QString NoteTag::plain() const {
    if (missing)
        return "@" + id;
    QString text = via.value_or(title);
    if (property && value)
        text += " · " + *property + ": " + *value;
    if (members) {
        QStringList names;
        for (const NoteTag& member : *members)
            names << (member.value ? member.title + " (" + *member.value + ")" : member.title);
        text += ": " + names.join(", ");
    }
    return text;
}

const QRegularExpression& NoteTag::pattern() {
    static const QRegularExpression re(
        QStringLiteral(R"((?<![\w@\\])@(%1)((?:(?:->|<-)[\p{L}\p{M}\p{N}_]*)*)(?::([\p{L}\p{M}\p{N}_]+))?)")
            .arg(uuid),
        QRegularExpression::UseUnicodePropertiesOption);
    return re;
}

const QRegularExpression& NoteTag::hop() {
    static const QRegularExpression re(QStringLiteral(R"((->|<-)([\p{L}\p{M}\p{N}_]*))"),
                                       QRegularExpression::UseUnicodePropertiesOption);
    return re;
}

QList<TagToken::Hop> NoteTag::hops(const QString& text) {
    QList<TagToken::Hop> found;
    auto it = hop().globalMatch(text);
    while (it.hasNext()) {
        const auto match = it.next();
        found << TagToken::Hop{match.captured(1) == "->", match.captured(2)};
    }
    return found;
}

TagToken NoteTag::token(const QRegularExpressionMatch& match) {
    TagToken token;
    token.id = match.captured(1).toUpper();
    token.hops = hops(match.captured(2));
    if (match.capturedLength(3) > 0)
        token.property = match.captured(3);
    return token;
}

QList<NoteTag::Found> NoteTag::find(const QString& text) {
    QList<Found> found;
    auto it = pattern().globalMatch(text);
    while (it.hasNext()) {
        const auto match = it.next();
        found << Found{int(match.capturedStart(0)), int(match.capturedLength(0)), token(match)};
    }
    return found;
}

} // namespace corvantis
