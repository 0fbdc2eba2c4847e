#include "kit/embedding/EmbeddingModelSpec.h"

#include <QLocale>
#include <cmath>

namespace corvantis {

EmbeddingModelSpec EmbeddingModelSpec::embeddingGemma2() {
    EmbeddingModelSpec spec;
    spec.id = QStringLiteral("embeddinggemma-2-q8_0");
    spec.title = QStringLiteral("EmbeddingGemma 2");
    spec.detail = QStringLiteral("Google · 270M text model · 8-bit · runs on this computer");
    spec.fileName = QStringLiteral("embeddinggemma-2-Q8_0.gguf");
    spec.url = QUrl(QStringLiteral(
        "https://huggingface.co/ggml-org/embeddinggemma-2-GGUF/resolve/main/embeddinggemma-2-Q8_0.gguf"));
    spec.bytes = 309855456;
    spec.dimension = 768;
    spec.licence = QStringLiteral("Apache 2.0");
    const QByteArray url = qgetenv("CORVANTIS_EMBEDDING_MODEL_URL");
    if (!url.isEmpty())
        spec.url = QUrl(QString::fromUtf8(url));
    bool ok = false;
    const qint64 bytes = qEnvironmentVariable("CORVANTIS_EMBEDDING_MODEL_BYTES").toLongLong(&ok);
    if (ok && bytes >= 0)
        spec.bytes = bytes;
    return spec;
}

QString EmbeddingModelSpec::sizeDescription() const {
    return siByteCount(bytes);
}

QString EmbeddingModelSpec::documentPrompt(const EmbeddingDocument& document) {
    QString title = document.title ? document.title->trimmed() : QString();
    if (title.isEmpty())
        title = QStringLiteral("none");
    return QStringLiteral("title: ") + title + QStringLiteral(" | text: ") + document.text;
}

QString EmbeddingModelSpec::queryPrompt(const QString& text) {
    return QStringLiteral("task: search result | query: ") + text;
}

QString siByteCount(qint64 bytes) {
    if (bytes < 1000)
        return bytes == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(bytes);
    static const char* units[] = {"kB", "MB", "GB", "TB", "PB"};
    double value = double(bytes);
    int unit = -1;
    while (value >= 999.5 && unit < 4) {
        value /= 1000.0;
        ++unit;
    }
    const QString unitName = QString::fromLatin1(units[unit]);
    if (value < 9.95)
        return QStringLiteral("%1 %2").arg(QString::number(value, 'f', 1), unitName);
    return QStringLiteral("%1 %2").arg(QString::number(std::round(value), 'f', 0), unitName);
}

} // namespace corvantis
