#include "kit/schema/ValueRefusal.h"

namespace corvantis {

std::optional<QString> refusalOfText(const PropertyDef& property, const QString& text) {
    if (property.value(text))
        return std::nullopt;
    const QString typed = text.trimmed();
    switch (property.kind) {
    case PropertyKind::Number:
        return QStringLiteral("“%1” isn't a number.").arg(typed);
    case PropertyKind::Link:
        return QStringLiteral("“%1” isn't a link.").arg(typed);
    case PropertyKind::Boolean:
        return QStringLiteral("“%1” isn't yes or no.").arg(typed);
    case PropertyKind::Choice:
        if (property.options.value_or(QStringList()).isEmpty())
            return QStringLiteral("“%1” has no options yet.").arg(property.name);
        return QStringLiteral("“%1” isn't one of the options of “%2”: %3.")
            .arg(typed, property.name, property.options->join(QStringLiteral(", ")));
    case PropertyKind::Text:
        break;
    }
    return QStringLiteral("“%1” can't be used here.").arg(typed);
}

} // namespace corvantis
