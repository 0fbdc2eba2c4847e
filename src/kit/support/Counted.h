#pragma once

#include <QString>

namespace corvantis {

// A count with its word, the word in the plural unless the count is one: "1 node", "3 nodes". The word
// takes a plain "s".
inline QString counted(qint64 count, const QString& word) {
    return QStringLiteral("%1 %2%3").arg(count).arg(word, count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace corvantis
