#include "kit/query/ScopedSearch.h"

namespace corvantis {

namespace {

bool isMarker(const QString& u, qsizetype i) {
    return i + 1 < u.size() && u.at(i) == QLatin1Char(':') && u.at(i + 1) == QLatin1Char(':');
}

bool isSeparator(QChar c) {
    return c == QLatin1Char(',') || c == QLatin1Char(':');
}

// The range inside [start, end) without the blanks at both ends; all blanks give an empty range at `end`.
TextRange trimmed(const QString& u, qsizetype start, qsizetype end) {
    while (start < end && ScopedSearch::isBlank(u.at(start)))
        ++start;
    while (end > start && ScopedSearch::isBlank(u.at(end - 1)))
        --end;
    return TextRange::between(start, end);
}

} // namespace

bool ScopedSearch::isBlank(QChar unit) {
    const char16_t c = unit.unicode();
    return c == 9 || c == 10 || c == 13 || c == 32 || c == 160;
}

ScopedSearch::ScopedSearch(const QString& text)
    : m_text(text) {
    const qsizetype n = text.size();
    std::optional<Scope> scope;
    qsizetype start = 0;
    qsizetype i = 0;
    while (i < n) {
        if (text.at(i) == QLatin1Char('\\')) {
            i += 2;
        } else if (isMarker(text, i)) {
            closeSegment(scope, start, i);
            scope = parseScope(i);
            start = i;
            i = scope->range.end();
        } else {
            ++i;
        }
    }
    closeSegment(scope, start, n);
}

ScopedSearch::Scope ScopedSearch::parseScope(qsizetype open) const {
    const QString& u = m_text;
    const qsizetype n = u.size();
    Scope scope;
    qsizetype close = -1;
    for (qsizetype p = open + 2; p + 1 < n; ++p) {
        if (isMarker(u, p)) {
            close = p;
            break;
        }
    }
    scope.closed = close >= 0;
    scope.inner = TextRange::between(open + 2, scope.closed ? close : n);
    scope.range = TextRange::between(open, scope.closed ? close + 2 : n);

    QList<Name> names;
    auto finishTarget = [&] {
        if (!names.isEmpty())
            scope.targets.append(Target{names.first(), names.mid(1)});
        names.clear();
    };
    qsizetype pieceStart = scope.inner.location;
    for (qsizetype i = scope.inner.location; i <= scope.inner.end(); ++i) {
        const bool atEnd = i == scope.inner.end();
        if (!atEnd && !isSeparator(u.at(i)))
            continue;
        const TextRange piece = trimmed(u, pieceStart, i);
        // An empty piece after a name is kept, so that a dangling ":" shows up as an empty property.
        if (piece.length > 0 || !names.isEmpty())
            names.append(Name{u.mid(piece.location, piece.length), piece});
        if (atEnd)
            break;
        scope.separators.append(TextRange{i, 1});
        if (u.at(i) == QLatin1Char(','))
            finishTarget();
        pieceStart = i + 1;
    }
    finishTarget();
    return scope;
}

void ScopedSearch::closeSegment(const std::optional<Scope>& scope, qsizetype start, qsizetype at) {
    const QString& u = m_text;
    const qsizetype runStart = scope ? scope->range.end() : start;
    Segment segment;
    segment.scope = scope;
    segment.range = TextRange::between(start, at);
    segment.termsRange = TextRange::between(runStart, std::max(runStart, at));

    bool hasContent = false;
    QString term;
    auto finishTerm = [&] {
        qsizetype from = 0;
        qsizetype to = term.size();
        while (from < to && isBlank(term.at(from)))
            ++from;
        while (to > from && isBlank(term.at(to - 1)))
            --to;
        if (to > from)
            segment.terms.append(term.mid(from, to - from));
        term.clear();
    };
    for (qsizetype j = runStart; j < at; ++j) {
        const QChar c = u.at(j);
        if (!isBlank(c))
            hasContent = true;
        if (c == QLatin1Char(',')) {
            segment.commas.append(TextRange{j, 1});
            finishTerm();
        } else if (c == QLatin1Char('\\') && j + 1 < at &&
                   (u.at(j + 1) == QLatin1Char(',') || u.at(j + 1) == QLatin1Char(':') ||
                    u.at(j + 1) == QLatin1Char('\\'))) {
            term.append(u.at(j + 1));
            ++j;
        } else {
            term.append(c);
        }
    }
    finishTerm();
    if (scope || hasContent)
        m_segments.append(segment);
}

std::optional<ScopedSearch::Segment> ScopedSearch::segment(qsizetype position) const {
    for (const Segment& segment : m_segments) {
        if (segment.range.touches(position))
            return segment;
    }
    return std::nullopt;
}

bool ScopedSearch::startsWithScope() const {
    return !m_segments.isEmpty() && m_segments.first().scope.has_value();
}

std::optional<ScopedSearch::Completion> ScopedSearch::completion(qsizetype position) const {
    const QString& u = m_text;
    const Scope* scope = nullptr;
    for (const Segment& segment : m_segments) {
        if (segment.scope && segment.scope->inner.touches(position)) {
            scope = &*segment.scope;
            break;
        }
    }
    if (!scope)
        return std::nullopt;
    const TextRange& inner = scope->inner;

    qsizetype start = position;
    while (start > inner.location && !isSeparator(u.at(start - 1)))
        --start;
    const qsizetype separatorAt = start - 1;
    // The character before the caret's name; a null character when the name starts the scope.
    const QChar separator = start > inner.location ? u.at(separatorAt) : QChar();
    while (start < position && isBlank(u.at(start)))
        ++start;

    qsizetype end = position;
    if (scope->closed && position < inner.end()) {
        end = position;
        while (end < inner.end() && !isSeparator(u.at(end)))
            ++end;
        while (end > position && isBlank(u.at(end - 1)))
            --end;
    }

    Completion completion;
    if (separator == QLatin1Char(':')) {
        // The owner is the first name of this target: after the last "," before the caret's name.
        qsizetype targetStart = separatorAt;
        while (targetStart > inner.location && u.at(targetStart - 1) != QLatin1Char(','))
            --targetStart;
        qsizetype ownerEnd = targetStart;
        while (ownerEnd < inner.end() && u.at(ownerEnd) != QLatin1Char(':'))
            ++ownerEnd;
        const TextRange owner = trimmed(u, targetStart, ownerEnd);
        completion.owner = u.mid(owner.location, owner.length);
    }
    completion.partial = u.mid(start, position - start);
    completion.replace = TextRange::between(start, end);
    completion.scope = *scope;
    return completion;
}

} // namespace corvantis
