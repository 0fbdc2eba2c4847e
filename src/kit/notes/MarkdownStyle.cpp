#include "kit/notes/MarkdownStyle.h"

#include "kit/notes/NoteTag.h"

#include <QBitArray>

namespace corvantis::MarkdownStyle {

namespace {

QRegularExpression compile(const char* pattern) {
    return QRegularExpression(QString::fromUtf8(pattern), QRegularExpression::UseUnicodePropertiesOption);
}

using Role = StyleSpan::Role;

// Builds the spans of one line, keeping which characters inline code has taken.
class LineBuilder {
public:
    LineBuilder(const QString& text, bool reading, int escapeAt)
        : m_text(text)
        , m_reading(reading)
        , m_escapeAt(escapeAt)
        , m_taken(text.size()) {}

    void add(Role role, int start, int length, int flags = 0, QString data = QString(), int level = 0) {
        if (length <= 0)
            return;
        m_spans << StyleSpan{role, start, length, flags, level, std::move(data)};
    }
    // Punctuation of the syntax: hidden when reading.
    void addMark(int start, int length) { add(Role::Mark, start, length, m_reading ? StyleSpan::Hidden : 0); }

    bool isTaken(int start, int length) const {
        for (int i = start; i < start + length && i < m_taken.size(); ++i)
            if (m_taken.testBit(i))
                return true;
        return false;
    }
    void take(int start, int length) {
        for (int i = start; i < start + length && i < m_taken.size(); ++i)
            m_taken.setBit(i);
    }

    // Each match of a pattern with marks of the opening group's length on both sides of group 2.
    void paired(const QRegularExpression& re, Role role, QBitArray* marks = nullptr) {
        auto it = re.globalMatch(m_text);
        while (it.hasNext()) {
            const auto m = it.next();
            const int start = m.capturedStart(0);
            const int length = m.capturedLength(0);
            if (isTaken(start, length))
                continue;
            if (marks && marks->testBit(start))
                continue; // the opening of a bolder mark, not a pair of its own
            const int markLength = m.capturedLength(1);
            add(role, m.capturedStart(2), m.capturedLength(2));
            addMark(start, markLength);
            addMark(start + length - markLength, markLength);
            if (marks)
                for (int i = 0; i < markLength; ++i) {
                    marks->setBit(start + i);
                    marks->setBit(start + length - 1 - i);
                }
        }
    }

    void inlines() {
        // Code first: nothing else styles inside it.
        auto it = code().globalMatch(m_text);
        while (it.hasNext()) {
            const auto m = it.next();
            const int ticks = m.capturedLength(1);
            add(Role::Code, m.capturedStart(2), m.capturedLength(2));
            addMark(m.capturedStart(0), ticks);
            addMark(m.capturedEnd(0) - ticks, ticks);
            take(m.capturedStart(0), m.capturedLength(0));
        }
        // Wiki links before plain links so that "[[Note]]" can't pass for a link's text.
        it = wiki().globalMatch(m_text);
        while (it.hasNext()) {
            const auto m = it.next();
            if (isTaken(m.capturedStart(0), m.capturedLength(0)))
                continue;
            add(Role::Wiki, m.capturedStart(1), m.capturedLength(1), 0, "corvantis-note:" + m.captured(1));
            addMark(m.capturedStart(0), 2);
            addMark(m.capturedEnd(0) - 2, 2);
            take(m.capturedStart(0), m.capturedLength(0));
        }
        it = link().globalMatch(m_text);
        while (it.hasNext()) {
            const auto m = it.next();
            if (isTaken(m.capturedStart(0), m.capturedLength(0)))
                continue;
            add(Role::Link, m.capturedStart(1), m.capturedLength(1), 0, m.captured(2));
            addMark(m.capturedStart(0), 1);
            addMark(m.capturedEnd(1), m.capturedEnd(0) - m.capturedEnd(1)); // "](target)"
            take(m.capturedStart(2), m.capturedLength(2));
        }
        QBitArray boldMarks(m_text.size());
        paired(bold(), Role::Bold, &boldMarks);
        paired(italic(), Role::Italic, &boldMarks);
        paired(strike(), Role::Strike);
        paired(mark(), Role::Highlight);
        it = bareURL().globalMatch(m_text);
        while (it.hasNext()) {
            const auto m = it.next();
            if (isTaken(m.capturedStart(0), m.capturedLength(0)))
                continue;
            add(Role::BareURL, m.capturedStart(0), m.capturedLength(0), 0, m.captured(0));
            take(m.capturedStart(0), m.capturedLength(0));
        }
        for (const NoteTag::Found& tag : NoteTag::find(m_text)) {
            if (isTaken(tag.start, tag.length))
                continue;
            add(Role::Tag, tag.start, tag.length, StyleSpan::Atom, m_text.mid(tag.start, tag.length));
            const QString inside = m_text.mid(tag.start, tag.length);
            auto hops = hopMark().globalMatch(inside);
            while (hops.hasNext()) {
                const auto h = hops.next();
                add(Role::HopMark, tag.start + h.capturedStart(0), h.capturedLength(0));
            }
            take(tag.start, tag.length);
        }
        it = escape().globalMatch(m_text);
        while (it.hasNext()) {
            const auto m = it.next();
            const int at = m.capturedStart(0);
            if (isTaken(at, 1))
                continue;
            add(Role::Escape, at, 1, m_reading && at != m_escapeAt ? StyleSpan::Hidden : 0);
        }
    }

    QList<StyleSpan> spans() const { return m_spans; }

private:
    const QString& m_text;
    bool m_reading;
    int m_escapeAt;
    QBitArray m_taken;
    QList<StyleSpan> m_spans;
};

} // namespace

#define CORVANTIS_PATTERN(name, text)                                                                        \
    const QRegularExpression& name() {                                                                       \
        static const QRegularExpression re = compile(text);                                                  \
        return re;                                                                                           \
    }

CORVANTIS_PATTERN(heading, R"(^(#{1,6})[ \t]+(.*)$)")
CORVANTIS_PATTERN(fence, R"(^```.*$)")
CORVANTIS_PATTERN(quote, R"(^(>+)[ \t]?(.*)$)")
CORVANTIS_PATTERN(list, R"(^[ \t]*([-*+]|\d+[.)])[ \t]+(\[[ xX]\][ \t]+)?)")
CORVANTIS_PATTERN(done, R"(^[ \t]*[-*+][ \t]+\[[xX]\][ \t]+(.*)$)")
CORVANTIS_PATTERN(rule, R"(^[ \t]*([-*_])([ \t]*\1){2,}[ \t]*$)")
CORVANTIS_PATTERN(bold, R"((\*\*|__)(?=\S)(.+?)(?<=\S)\1)")
CORVANTIS_PATTERN(italic, R"((?<![*_\w])([*_])(?=\S)(.+?)(?<=\S)\1(?![*_\w]))")
CORVANTIS_PATTERN(strike, R"((~~)(?=\S)(.+?)(?<=\S)~~)")
CORVANTIS_PATTERN(mark, R"((==)(?=\S)(.+?)(?<=\S)==)")
CORVANTIS_PATTERN(code, R"((`+)([^`\n]+?)\1)")
CORVANTIS_PATTERN(link, R"(\[([^\]\n]+)\]\(([^)\s]+)\))")
CORVANTIS_PATTERN(wiki, R"(\[\[([^\]\n]+)\]\])")
CORVANTIS_PATTERN(hopMark, R"((?:->|<-)([\p{L}\p{M}\p{N}_]+))")
CORVANTIS_PATTERN(bareURL, R"((?<![(<\w])https?://[^\s)>\]]+)")
CORVANTIS_PATTERN(escape, R"(\\(?=[/@]))")
CORVANTIS_PATTERN(blockPrefix,
                  R"(^(#{1,6}[ \t]+|>+[ \t]?|[ \t]*(?:[-*+]|\d+[.)])[ \t]+(?:\[[ xX]\][ \t]+)?))")

#undef CORVANTIS_PATTERN

LineStyle line(const QString& text, bool inFence, bool reading, int escapeAt) {
    LineStyle style;
    LineBuilder builder(text, reading, escapeAt);
    if (fence().match(text).hasMatch()) {
        builder.add(Role::Fence, 0, text.size(), reading ? StyleSpan::Hidden : 0);
        style.spans = builder.spans();
        style.inFenceAfter = !inFence;
        return style;
    }
    style.inFenceAfter = inFence;
    if (inFence) {
        builder.add(Role::Code, 0, text.size());
        style.spans = builder.spans();
        return style;
    }
    if (rule().match(text).hasMatch()) {
        builder.add(Role::Rule, 0, text.size(), StyleSpan::Glyph);
        style.spans = builder.spans();
        return style;
    }
    if (const auto m = heading().match(text); m.hasMatch()) {
        builder.add(Role::Heading, 0, text.size(), 0, QString(), m.capturedLength(1));
        builder.addMark(0, m.capturedStart(2));
    } else if (const auto q = quote().match(text); q.hasMatch()) {
        builder.add(Role::Quote, q.capturedStart(2), q.capturedLength(2));
        builder.addMark(0, q.capturedStart(2));
    } else if (const auto l = list().match(text); l.hasMatch()) {
        const QString marker = l.captured(1);
        const bool numbered = marker[0].isDigit();
        builder.add(Role::ListMarker, l.capturedStart(1), l.capturedLength(1),
                    numbered ? 0 : StyleSpan::Glyph, numbered ? marker : QStringLiteral("•"));
        if (l.capturedLength(2) > 0) {
            const bool checked = l.captured(2).contains('x', Qt::CaseInsensitive);
            // The box itself, "[ ]" or "[x]", is drawn as one glyph.
            builder.add(Role::CheckBox, l.capturedStart(2), 3, StyleSpan::Glyph | StyleSpan::Atom,
                        checked ? QStringLiteral("checked") : QStringLiteral("unchecked"));
        }
        if (const auto d = done().match(text); d.hasMatch())
            builder.add(Role::Done, d.capturedStart(1), d.capturedLength(1));
    }
    builder.inlines();
    style.spans = builder.spans();
    return style;
}

QList<LineStyle> lines(const QString& text, bool reading) {
    QList<LineStyle> styles;
    bool inFence = false;
    for (const QString& each : text.split('\n')) {
        styles << line(each, inFence, reading);
        inFence = styles.last().inFenceAfter;
    }
    return styles;
}

} // namespace corvantis::MarkdownStyle
