#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <optional>

namespace corvantis {

// A reasoning effort, from the cheapest to the most thorough. Stored in settings and JSON by its id;
// the rank is the place in that ascending list.
class AIEffort {
public:
    enum Value { low, medium, high, xhigh, max, ultra };

    constexpr AIEffort(Value value)
        : m_value(value) {}

    constexpr Value value() const { return m_value; }
    QString id() const;
    QString title() const;
    constexpr int rank() const { return static_cast<int>(m_value); }

    // Every effort in ascending order.
    static const QList<AIEffort>& allCases();
    // The effort whose id is `id` exactly; anything else is absent.
    static std::optional<AIEffort> fromID(const QString& id);

    friend constexpr bool operator==(AIEffort a, AIEffort b) { return a.m_value == b.m_value; }
    friend constexpr bool operator==(AIEffort a, Value b) { return a.m_value == b; }

private:
    Value m_value;
};

inline size_t qHash(AIEffort effort, size_t seed = 0) {
    return ::qHash(static_cast<int>(effort.value()), seed);
}

} // namespace corvantis
