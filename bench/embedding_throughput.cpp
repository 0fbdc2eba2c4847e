// Embedding throughput of LlamaEmbedder in tokens per second over 1,000 passages of a generated model
// (bench/embedding_throughput.sh makes the model with the engine's gguf writer and passes its path).
#include "kit/embedding/LlamaEmbedder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <vector>

using namespace corvantis;

namespace {

double loadAverage() {
    double load = 0;
    if (FILE* file = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(file, "%lf", &load) != 1)
            load = 0;
        std::fclose(file);
    }
    return load;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s MODEL.gguf [PASSAGES.txt]\n", argv[0]);
        return 2;
    }
    const QString words =
        QStringLiteral("the river runs through the old city where music and history meet light "
                       "water house tree book science people world great ");
    QList<EmbeddingDocument> documents;
    for (int i = 0; i < 1000; ++i) {
        QString text;
        for (int w = 0; w < 20 + (i * 37) % 120; ++w)
            text += words.section(QLatin1Char(' '), (i + w * 7) % 24, (i + w * 7) % 24) + QLatin1Char(' ');
        documents << EmbeddingDocument{QStringLiteral("Passage %1").arg(i), text.trimmed()};
    }
    LlamaEmbedder embedder(QString::fromLocal8Bit(argv[1]), QStringLiteral("bench"), 2048);
    std::printf("model: %s, dimension %d, load average %.2f\n", qPrintable(embedder.describe()),
                embedder.dimension(), loadAverage());
    std::vector<double> rates;
    for (int run = 0; run < 3; ++run) {
        const qint64 before = embedder.tokensEmbedded();
        QElapsedTimer timer;
        timer.start();
        const auto vectors = embedder.embed(documents).result();
        const double seconds = timer.nsecsElapsed() / 1e9;
        if (vectors.size() != documents.size())
            return 1;
        rates.push_back(double(embedder.tokensEmbedded() - before) / seconds);
        std::printf("run %d: %lld tokens in %.2f s\n", run + 1, embedder.tokensEmbedded() - before, seconds);
    }
    std::sort(rates.begin(), rates.end());
    std::printf("%-30s %12.0f\n", "tokens per second, median", rates[1]);
    std::printf("load average at end: %.2f\n", loadAverage());
    embedder.close().waitForFinished();
    LlamaEmbedder::shutDownEngine();
    return 0;
}
