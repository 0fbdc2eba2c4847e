#pragma once

#include <QList>
#include <QUrl>

// Finds the web links in a person's text: "https://…" and "http://…" with what a URL may hold, and
// "www.…" read as http. Punctuation that ends a sentence, and a closing bracket that opened before
// the link, stay out of it.
namespace corvantis::LinkFinder {

// The http and https links, in order, each once.
QList<QUrl> links(const QString& text);

} // namespace corvantis::LinkFinder
