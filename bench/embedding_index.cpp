// Memory and load time of a saved index of 100,000 passages of 768 dimensions: the resident size
// before and after EmbeddingIndex::load, and the time the load takes (median of five loads).
#include "kit/embedding/EmbeddingIndex.h"
#include "kit/embedding/Vectors.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <random>

using namespace corvantis;

namespace {

double residentMiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    return 0;
}

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
    const int dimension = 768;
    const int count = 100000;
    QTemporaryDir folder;
    {
        std::mt19937 random(5);
        std::normal_distribution<float> normal;
        EmbeddingIndex index(QStringLiteral("embeddinggemma-2-q8_0"), dimension);
        for (int record = 0; record < count / 4; ++record) {
            QStringList chunks;
            QList<QList<float>> rows;
            for (int chunk = 0; chunk < 4; ++chunk) {
                QList<float> row(dimension);
                for (float& x : row)
                    x = normal(random);
                rows << Vectors::normalized(row);
                chunks << QStringLiteral(
                              "A passage of about a hundred characters that stands in for a chunk of "
                              "text, number %1.")
                              .arg(chunk);
            }
            index.replace(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(), QUuid::createUuid(),
                          QStringLiteral("%1").arg(record, 64, 16, QLatin1Char('0')), chunks, rows);
        }
        QElapsedTimer timer;
        timer.start();
        index.save(folder.path(), QStringLiteral("embeddings"));
        std::printf("saving %d entries: %.0f ms (vectors %.0f MiB, manifest %.1f MiB)\n", count,
                    timer.nsecsElapsed() / 1e6,
                    QFile(EmbeddingIndex::vectorsPath(folder.path(), "embeddings")).size() / 1048576.0,
                    QFile(EmbeddingIndex::manifestPath(folder.path(), "embeddings")).size() / 1048576.0);
    }
    std::printf("load average: %.2f\n", loadAverage());
    const double before = residentMiB();
    std::vector<double> times;
    EmbeddingIndex kept;
    for (int run = 0; run < 5; ++run) {
        QElapsedTimer timer;
        timer.start();
        EmbeddingIndex loaded = EmbeddingIndex::load(folder.path(), QStringLiteral("embeddings"));
        times.push_back(timer.nsecsElapsed() / 1e6);
        if (loaded.count() != count) {
            std::printf("load failed\n");
            return 1;
        }
        if (run == 0)
            kept = loaded;
    }
    std::sort(times.begin(), times.end());
    std::printf("%-28s %10s\n", "measure", "value");
    std::printf("%-28s %10.0f\n", "load time, median ms", times[2]);
    std::printf("%-28s %10.0f\n", "resident before load, MiB", before);
    std::printf("%-28s %10.0f\n", "resident with index, MiB", residentMiB());
    return 0;
}
