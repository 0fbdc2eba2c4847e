#include "kit/embedding/TextChunker.h"

#include <QRegularExpression>
#include <QTextBoundaryFinder>
#include <memory>
#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace corvantis::TextChunker {

namespace {

bool isBlank(QChar c) {
    return c.isSpace() && c != QLatin1Char('\n');
}

QString trimBlanks(const QString& line) {
    qsizetype start = 0;
    qsizetype end = line.size();
    while (start < end && isBlank(line[start]))
        ++start;
    while (end > start && isBlank(line[end - 1]))
        --end;
    return line.mid(start, end - start);
}

// A sentence longer than the maximum, cut at blanks into pieces below the target.
QStringList split(const QString& sentence, int length) {
    if (length <= maximum)
        return {sentence};
    QStringList pieces;
    QString piece;
    int pieceLength = 0;
    const QStringList words = sentence.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    for (const QString& word : words) {
        const int wordLength = characterCount(word);
        if (!piece.isEmpty() && pieceLength + 1 + wordLength >= target + 1) {
            pieces << piece;
            piece.clear();
            pieceLength = 0;
        }
        if (piece.isEmpty()) {
            piece = word;
            pieceLength = wordLength;
        } else {
            piece += QLatin1Char(' ') + word;
            pieceLength += 1 + wordLength;
        }
    }
    if (!piece.isEmpty())
        pieces << piece;
    return pieces;
}

} // namespace

int characterCount(const QString& text) {
    if (text.isEmpty())
        return 0;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

QString normalize(const QString& text) {
    QString unified = text;
    unified.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    unified.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QStringList kept;
    bool lastEmpty = false;
    for (const QString& line : unified.split(QLatin1Char('\n'))) {
        const QString trimmed = trimBlanks(line);
        if (trimmed.isEmpty() && lastEmpty)
            continue;
        lastEmpty = trimmed.isEmpty();
        kept << trimmed;
    }
    return kept.join(QLatin1Char('\n')).trimmed();
}

QStringList sentences(const QString& paragraph) {
    QStringList found;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createSentenceInstance(icu::Locale::getDefault(), status));
    if (U_FAILURE(status) || !iterator) {
        // ICU without its data: the paragraph stays one sentence.
        const QString whole = paragraph.trimmed();
        if (!whole.isEmpty())
            found << whole;
        return found;
    }
    const icu::UnicodeString text(reinterpret_cast<const UChar*>(paragraph.utf16()),
                                  int32_t(paragraph.size()));
    iterator->setText(text);
    int32_t start = iterator->first();
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE;
         start = end, end = iterator->next()) {
        const QString sentence = paragraph.mid(start, end - start).trimmed();
        if (!sentence.isEmpty())
            found << sentence;
    }
    return found;
}

QStringList chunks(const QString& text) {
    const QString normalized = normalize(text);
    if (normalized.isEmpty())
        return {};
    if (characterCount(normalized) <= maximum)
        return {normalized};

    QStringList result;
    QString current;
    int currentLength = 0;
    QString last;
    int lastLength = 0;
    const auto flush = [&] {
        const QString trimmed = current.trimmed();
        if (!trimmed.isEmpty())
            result << trimmed;
        current.clear();
        currentLength = 0;
        if (!last.isEmpty() && lastLength <= overlap) {
            current = last + QLatin1Char(' ');
            currentLength = lastLength + 1;
        }
    };

    for (const QString& paragraph : normalized.split(QStringLiteral("\n\n"))) {
        for (const QString& sentence : sentences(paragraph)) {
            for (const QString& piece : split(sentence, characterCount(sentence))) {
                const int pieceLength = characterCount(piece);
                if (!current.isEmpty() && currentLength + 1 + pieceLength >= target + 1)
                    flush();
                // The carried-over sentence already ends in its blank.
                if (!current.isEmpty() && !current.endsWith(QLatin1Char('\n')) &&
                    !current.endsWith(QLatin1Char(' '))) {
                    current += QLatin1Char(' ');
                    ++currentLength;
                }
                current += piece;
                currentLength += pieceLength;
                last = piece;
                lastLength = pieceLength;
            }
        }
        if (!current.isEmpty() && !current.endsWith(QLatin1Char('\n'))) {
            current += QLatin1Char('\n');
            ++currentLength;
        }
    }
    flush();
    return result;
}

std::optional<Range> locate(const QString& passage, const QString& text) {
    if (passage.isEmpty())
        return std::nullopt;
    const qsizetype exact = text.indexOf(passage);
    if (exact >= 0)
        return Range{exact, passage.size()};
    const QStringList words = passage.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    if (words.isEmpty())
        return std::nullopt;
    QStringList escaped;
    for (const QString& word : words)
        escaped << QRegularExpression::escape(word);
    const QRegularExpression pattern(escaped.join(QStringLiteral("\\s+")));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return Range{match.capturedStart(), match.capturedLength()};
}

} // namespace corvantis::TextChunker
