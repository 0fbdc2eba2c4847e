#pragma once

#include "kit/ai/AIModel.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>
#include <optional>

// The ChatGPT models, as the Codex tool lists them in its own cache file. This program only reads that
// file; when it is missing or says nothing usable, a built-in list stands in.
namespace corvantis::CodexModels {

// The path of the tool's models cache: $CODEX_HOME/models_cache.json, else ~/.codex/models_cache.json.
QString cacheURL();

// The models to offer, in the tool's order of priority. Reads the file only when its modification date
// differs from the last read; safe to call from any thread, as often as menus need it.
QList<AIModel> catalog();

// The models of a cache file's contents; absent when the text isn't an object with a "models" array.
std::optional<QList<AIModel>> parse(const QByteArray& data);

// "gpt-6.1-sol" -> "GPT-6.1 Sol"; ids of other shapes stand as they are.
QString titleForID(const QString& id);

// Ids that are never offered even when the tool's cache still lists them.
const QSet<QString>& retired();

// The list used when the cache yields nothing.
QList<AIModel> fallback();

} // namespace corvantis::CodexModels
