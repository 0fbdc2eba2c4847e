#include "app/app/AppEnums.h"

namespace corvantis {

const QList<QueryMode>& QueryModes::all() {
    static const QList<QueryMode> modes{QueryMode::Auto, QueryMode::Cypher, QueryMode::Vector, QueryMode::Raw,
                                        QueryMode::Simple};
    return modes;
}

QString QueryModes::id(QueryMode mode) {
    switch (mode) {
    case QueryMode::Auto:
        return "auto";
    case QueryMode::Cypher:
        return "cypher";
    case QueryMode::Vector:
        return "vector";
    case QueryMode::Raw:
        return "raw";
    case QueryMode::Simple:
        return "simple";
    }
    Q_UNREACHABLE();
}

QString QueryModes::title(QueryMode mode) {
    switch (mode) {
    case QueryMode::Auto:
        return "Auto";
    case QueryMode::Cypher:
        return "Text to Cypher";
    case QueryMode::Vector:
        return "Vector";
    case QueryMode::Raw:
        return "Raw Cypher";
    case QueryMode::Simple:
        return "Raw Text";
    }
    Q_UNREACHABLE();
}

int QueryModes::key(QueryMode mode) {
    return static_cast<int>(mode) + 1;
}

std::optional<QueryMode> QueryModes::fromId(const QString& id) {
    for (QueryMode mode : all())
        if (QueryModes::id(mode) == id)
            return mode;
    return std::nullopt;
}

QString Appearances::id(Appearance appearance) {
    switch (appearance) {
    case Appearance::System:
        return "system";
    case Appearance::Light:
        return "light";
    case Appearance::Dark:
        return "dark";
    }
    Q_UNREACHABLE();
}

std::optional<Appearance> Appearances::fromId(const QString& id) {
    for (Appearance appearance : {Appearance::System, Appearance::Light, Appearance::Dark})
        if (Appearances::id(appearance) == id)
            return appearance;
    return std::nullopt;
}

} // namespace corvantis
