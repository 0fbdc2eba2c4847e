#pragma once

#include <QList>
#include <QSet>
#include <QString>

// Splits Cypher into coloured pieces. It doesn't parse: it knows words in context, so that a word after
// ":" is a label and a word after "." is a property, whatever it spells. The same tokens colour the
// query field, feed completion and let the guard decide what a query may do.
namespace corvantis::CypherTokenizer {

enum class Kind { keyword, label, string, number, comment, identifier, punctuation };

struct Token {
    Kind kind;
    // The exact source text: joining every token's text gives the input back.
    QString text;

    friend bool operator==(const Token&, const Token&) = default;
};

// Never fails; unterminated strings and comments run to the end of the text.
QList<Token> tokenize(const QString& text);

// The words coloured as keywords, upper-case: the guard's forbidden words and the reading vocabulary.
const QSet<QString>& keywords();

} // namespace corvantis::CypherTokenizer
