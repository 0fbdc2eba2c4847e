#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

// Completion of a Cypher query at the caret: a label after "(" and ":", a relationship type after "[" and
// ":", a property after "variable.", taken from the shape's names. Nothing inside a string or a comment.
namespace corvantis::CypherCompletion {

struct Vocabulary {
    QStringList labels;
    QStringList relTypes;
    // The property columns of each label and relationship type.
    QHash<QString, QStringList> properties;
};

struct Completion {
    // Where the word being typed starts; it runs to the caret.
    int start = 0;
    QString prefix;
    // The names that fit there and start with the prefix (case ignored), sorted; empty when none.
    QStringList candidates;

    friend bool operator==(const Completion&, const Completion&) = default;
};

Completion at(const QString& text, int caret, const Vocabulary& vocabulary);

} // namespace corvantis::CypherCompletion
