#pragma once

#include "kit/ai/AIEffort.h"

#include <QHash>
#include <QJsonValue>
#include <QList>
#include <QString>

namespace corvantis {

class AIProvider;

// A model that can be asked: its id as the tool knows it, the title shown in menus and messages, and the
// reasoning efforts it offers. Two models are the same model when their ids are equal. In JSON a model
// is its id alone, read back through resolve() so that an older id of a family becomes the current one.
struct AIModel {
    QString id;
    QString title;
    QList<AIEffort> efforts;

    // The model for a stored or typed id: a Claude family member, then a row of the ChatGPT catalogue,
    // then a model made up from the id itself with the four usual efforts.
    static AIModel resolve(const QString& id);
    // The title of resolve(id).
    static QString titleForID(const QString& id);

    // The effort to use when `wanted` is asked for: itself when offered, otherwise the closest by rank
    // (the earlier one on a tie), and medium for a model that offers none.
    AIEffort nearest(AIEffort wanted) const;
    // Claude for ids that begin with "claude-", ChatGPT for everything else.
    AIProvider provider() const;

    QJsonValue toJson() const { return id; }
    // Fails with json::DecodeError when the value isn't a string.
    static AIModel fromJson(const QJsonValue& value);

    friend bool operator==(const AIModel& a, const AIModel& b) { return a.id == b.id; }
};

inline size_t qHash(const AIModel& model, size_t seed = 0) {
    return ::qHash(model.id, seed);
}

// The four efforts a model offers when nothing better is known.
const QList<AIEffort>& defaultEfforts();

} // namespace corvantis
