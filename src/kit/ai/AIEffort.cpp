#include "kit/ai/AIEffort.h"

namespace corvantis {

QString AIEffort::id() const {
    switch (m_value) {
    case low:
        return QStringLiteral("low");
    case medium:
        return QStringLiteral("medium");
    case high:
        return QStringLiteral("high");
    case xhigh:
        return QStringLiteral("xhigh");
    case max:
        return QStringLiteral("max");
    case ultra:
        return QStringLiteral("ultra");
    }
    Q_UNREACHABLE();
}

QString AIEffort::title() const {
    switch (m_value) {
    case low:
        return QStringLiteral("Low");
    case medium:
        return QStringLiteral("Medium");
    case high:
        return QStringLiteral("High");
    case xhigh:
        return QStringLiteral("Extra high");
    case max:
        return QStringLiteral("Max");
    case ultra:
        return QStringLiteral("Ultra");
    }
    Q_UNREACHABLE();
}

const QList<AIEffort>& AIEffort::allCases() {
    static const QList<AIEffort> all{low, medium, high, xhigh, max, ultra};
    return all;
}

std::optional<AIEffort> AIEffort::fromID(const QString& id) {
    for (AIEffort effort : allCases()) {
        if (effort.id() == id)
            return effort;
    }
    return std::nullopt;
}

} // namespace corvantis
