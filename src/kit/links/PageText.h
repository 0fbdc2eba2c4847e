#pragma once

#include <QString>
#include <optional>

// HTML turned into readable text with plain regular expressions: no parser, no browser.
namespace corvantis::PageText {

struct Extracted {
    std::optional<QString> title;
    QString text;
};

// The page's title and its main text (an article or main element when it holds enough).
Extracted extract(const QString& html);
// The text of an HTML fragment: block ends become line breaks, tags go, entities are decoded.
QString text(const QString& html);
// Line ends unified, runs of spaces joined, lone "-" lines and extra empty lines dropped.
QString tidy(const QString& text);
// Numeric references and 35 named ones; an unknown name stays as it is.
QString decodeEntities(const QString& text);

} // namespace corvantis::PageText
