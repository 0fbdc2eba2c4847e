#pragma once

#include <QString>

namespace corvantis::test {

// A tiny llama-architecture embedding model, written once per test program by the gguf writer from the
// engine's source with seeded weights. `pooling` is "mean" (named in the file) or "none" (left to the
// embedder). Fails the program when Python or numpy is missing.
QString tinyModelPath(const QString& pooling = QStringLiteral("mean"));

// Writes such a model to `path` with the given extra arguments of the generator; true on success.
bool makeTinyModel(const QString& path, const QStringList& arguments);

} // namespace corvantis::test
