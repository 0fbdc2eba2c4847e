#pragma once

#include <QCoro/QCoroTask>
#include <QList>
#include <QSet>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// What the Ask engine needs of search by meaning: whether the embedding model is here, and a search
// over the project's index. The embedding service provides it; without one, vector search says that
// the model isn't on this computer.
class SemanticSearcher {
public:
    virtual ~SemanticSearcher() = default;

    // One passage found, with the key of its index entry (two searches meeting one entry count it once).
    struct Hit {
        QString entry;
        QString recordId;
        QUuid property;
        QString passage;
        double score = 0;
    };

    virtual bool modelInstalled() const = 0;
    virtual bool modelDownloading() const = 0;
    // "{model name}" and its download size ("310 MB") for the step that offers the download.
    virtual QString modelName() const = 0;
    virtual QString modelSize() const = 0;
    // Passages still waiting to be embedded.
    virtual int pendingPassages() const = 0;

    // The best hits for the text among the given properties, within `records` when given. Fails with a
    // UserFacingError.
    virtual QCoro::Task<QList<Hit>> search(QString text, QSet<QUuid> properties,
                                           std::optional<QSet<QString>> records, int limit) = 0;
};

} // namespace corvantis
