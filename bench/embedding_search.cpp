// Exact search by meaning: EmbeddingIndex::search against FAISS's IndexFlatIP on the same unit vectors
// (768 dimensions, one query, top 60), in the same run, with the results compared id by id.
#include "kit/embedding/EmbeddingIndex.h"
#include "kit/embedding/Vectors.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <faiss/IndexFlat.h>
#include <random>
#include <vector>

using namespace corvantis;

namespace {

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
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
    const int limit = 60;
    const int runs = 15;
    std::printf("load average at start: %.2f\n", loadAverage());
    std::printf("%-9s %12s %12s %8s %10s\n", "vectors", "ours ms", "faiss ms", "ratio", "identical");
    for (int count : {10000, 100000}) {
        std::mt19937 random(42);
        std::normal_distribution<float> normal;
        std::vector<float> matrix(size_t(count) * dimension);
        for (int i = 0; i < count; ++i) {
            double sum = 0;
            for (int d = 0; d < dimension; ++d) {
                const float x = normal(random);
                matrix[size_t(i) * dimension + d] = x;
                sum += double(x) * x;
            }
            const float scale = float(1 / std::sqrt(sum));
            for (int d = 0; d < dimension; ++d)
                matrix[size_t(i) * dimension + d] *= scale;
        }
        EmbeddingIndex index(QStringLiteral("bench"), dimension);
        {
            QStringList chunks;
            QList<QList<float>> rows;
            for (int i = 0; i < count; ++i) {
                chunks << QString();
                rows << QList<float>(matrix.begin() + qsizetype(i) * dimension,
                                     matrix.begin() + qsizetype(i + 1) * dimension);
            }
            index.replace(QStringLiteral("R"), QUuid::createUuid(), QStringLiteral("h"), chunks, rows);
        }
        faiss::IndexFlatIP flat(dimension);
        flat.add(count, matrix.data());

        std::vector<double> ours;
        std::vector<double> theirs;
        int identical = 0;
        for (int run = 0; run < runs; ++run) {
            QList<float> query(dimension);
            for (float& x : query)
                x = normal(random);
            Vectors::normalize(query);
            QElapsedTimer timer;
            timer.start();
            const QList<EmbeddingHit> hits = index.search(query, std::nullopt, std::nullopt, limit);
            ours.push_back(timer.nsecsElapsed() / 1e6);
            std::vector<float> distances(limit);
            std::vector<faiss::Index::idx_t> labels(limit);
            timer.restart();
            flat.search(1, query.constData(), limit, distances.data(), labels.data());
            theirs.push_back(timer.nsecsElapsed() / 1e6);
            bool same = hits.size() == limit;
            for (int i = 0; same && i < limit; ++i) {
                if (hits[i].entry.chunk == labels[i])
                    continue;
                // Equal scores may stand in either order.
                same = std::abs(hits[i].score - distances[i]) < 1e-6f;
            }
            identical += same;
        }
        std::printf("%-9d %12.2f %12.2f %8.2f %7d/%d\n", count, median(ours), median(theirs),
                    median(ours) / median(theirs), identical, runs);
    }
    std::printf("load average at end: %.2f\n", loadAverage());
    return 0;
}
