#pragma once

#include <QString>
#include <QUrl>
#include <optional>

namespace corvantis {

// One passage to embed, with the title of the record it belongs to.
struct EmbeddingDocument {
    std::optional<QString> title;
    QString text;
    bool operator==(const EmbeddingDocument& other) const = default;
};

// The one embedding model the program uses, and the prompts it wants on each side.
struct EmbeddingModelSpec {
    QString id;
    QString title;
    QString detail;
    QString fileName;
    QUrl url;
    qint64 bytes = 0;
    int dimension = 0;
    QString licence;

    // EmbeddingGemma 2, quantised to 8 bits. CORVANTIS_EMBEDDING_MODEL_URL and
    // CORVANTIS_EMBEDDING_MODEL_BYTES replace its address and size when set (tests, mirrors).
    static EmbeddingModelSpec embeddingGemma2();

    // The size as a file manager writes it, in SI units ("310 MB").
    QString sizeDescription() const;

    // "title: {title or none} | text: {text}".
    static QString documentPrompt(const EmbeddingDocument& document);
    // "task: search result | query: {text}".
    static QString queryPrompt(const QString& text);

    bool operator==(const EmbeddingModelSpec& other) const = default;
};

// Bytes in SI units with one decimal below 10 of a unit ("1.5 kB", "310 MB", "999 bytes").
QString siByteCount(qint64 bytes);

} // namespace corvantis
