#pragma once

#include "kit/build/BuildMessage.h"

#include <QJsonValue>

// The pieces of a build turn's user text that the graph builder and the shape designer share.
namespace corvantis::BuildPrompt {

// Each source between <source> tags, blocks joined by an empty line.
QString sources(const QList<BuildSource>& sources);
// The message's words (or `emptyText`), behind a line about its pictures, with its sources after.
QString message(const BuildMessage& message, const QString& emptyText);
// The earlier turns, oldest first; empty for none.
QString history(const QList<BuildExchange>& exchanges);
// The plain text, or, with pictures, an array of image blocks followed by the text block.
QJsonValue content(const QString& text, const QList<ShapeImage>& images);
// The program's texts name the computer they run on in this platform's words.
QString localWords(QString text);

} // namespace corvantis::BuildPrompt
