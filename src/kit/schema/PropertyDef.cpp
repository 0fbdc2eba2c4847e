#include "kit/schema/PropertyDef.h"

#include "kit/links/LinkURL.h"
#include "kit/schema/Identifier.h"
#include "kit/support/Json.h"

#include <QJsonArray>
#include <QSet>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale.h>

namespace corvantis {

namespace PropertyKinds {

QString title(PropertyKind kind) {
    switch (kind) {
    case PropertyKind::Text:
        return QStringLiteral("Text");
    case PropertyKind::Number:
        return QStringLiteral("Number");
    case PropertyKind::Link:
        return QStringLiteral("Link");
    case PropertyKind::Boolean:
        return QStringLiteral("Boolean");
    case PropertyKind::Choice:
        return QStringLiteral("Enum");
    }
    return QString();
}

QString id(PropertyKind kind) {
    switch (kind) {
    case PropertyKind::Text:
        return QStringLiteral("text");
    case PropertyKind::Number:
        return QStringLiteral("number");
    case PropertyKind::Link:
        return QStringLiteral("link");
    case PropertyKind::Boolean:
        return QStringLiteral("boolean");
    case PropertyKind::Choice:
        return QStringLiteral("enum");
    }
    return QString();
}

QString columnType(PropertyKind kind) {
    switch (kind) {
    case PropertyKind::Number:
        return QStringLiteral("DOUBLE");
    case PropertyKind::Boolean:
        return QStringLiteral("BOOLEAN");
    case PropertyKind::Text:
    case PropertyKind::Link:
    case PropertyKind::Choice:
        break;
    }
    return QStringLiteral("STRING");
}

bool isWords(PropertyKind kind) {
    return kind == PropertyKind::Text || kind == PropertyKind::Choice;
}

bool canBeTitle(PropertyKind kind) {
    return kind != PropertyKind::Boolean;
}

std::optional<PropertyKind> fromId(const QString& id) {
    for (PropertyKind kind : all) {
        if (PropertyKinds::id(kind) == id)
            return kind;
    }
    return std::nullopt;
}

} // namespace PropertyKinds

namespace {

// Case and diacritics folded away, for matching what a person typed against an option.
QString looseKey(const QString& text) {
    QString folded;
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    folded.reserve(decomposed.size());
    for (QChar c : decomposed) {
        auto category = c.category();
        if (category != QChar::Mark_NonSpacing && category != QChar::Mark_SpacingCombining &&
            category != QChar::Mark_Enclosing)
            folded.append(c);
    }
    return folded.toCaseFolded();
}

// The whole text as a finite C-locale number, whatever the process's own locale says.
std::optional<double> parseCNumber(const QString& text) {
    if (text.isEmpty() || text.front().isSpace())
        return std::nullopt;
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    const QByteArray bytes = text.toUtf8();
    const char* begin = bytes.constData();
    char* end = nullptr;
    errno = 0;
    double value = strtod_l(begin, &end, cLocale);
    if (end != begin + bytes.size() || end == begin)
        return std::nullopt;
    if (!std::isfinite(value))
        return std::nullopt;
    return value;
}

const QSet<QString>& trueWords() {
    static const QSet<QString> words{"true", "yes", "y", "1", "✓", "✔", "on", "checked"};
    return words;
}

const QSet<QString>& falseWords() {
    static const QSet<QString> words{"false", "no", "n", "0", "✗", "✕", "×", "off", "unchecked"};
    return words;
}

} // namespace

QString PropertyDef::column() const {
    return Identifier::property(name);
}

std::optional<QStringList> PropertyDef::choices() const {
    if (kind != PropertyKind::Choice)
        return std::nullopt;
    return options;
}

bool PropertyDef::isEmbedded() const {
    return kind == PropertyKind::Text && embedded.value_or(false);
}

bool PropertyDef::accepts(const GraphValue& value) const {
    switch (kind) {
    case PropertyKind::Text:
        return value.asString() && !value.asString()->isEmpty();
    case PropertyKind::Number:
        return value.asNumber() || value.asInteger();
    case PropertyKind::Link:
        return value.asString() && LinkURL::normalize(*value.asString()).has_value();
    case PropertyKind::Boolean:
        return value.asBool() != nullptr;
    case PropertyKind::Choice:
        return value.asString() && options && options->contains(*value.asString());
    }
    return false;
}

std::optional<GraphValue> PropertyDef::validDefault() const {
    if (defaultValue && accepts(*defaultValue))
        return defaultValue;
    return std::nullopt;
}

void PropertyDef::setDefault(const GraphValue& value) {
    if (accepts(value))
        defaultValue = value;
    else
        defaultValue.reset();
}

PropertyMap PropertyDef::filling(PropertyMap values) const {
    auto fill = validDefault();
    if (!fill)
        return values;
    const QString key = column();
    auto it = values.find(key);
    if (it == values.end())
        values.insert(key, *fill);
    else if (it->isNull())
        *it = *fill;
    return values;
}

PropertyMap PropertyDef::fillingDefaults(const QList<PropertyDef>& definitions, PropertyMap values) {
    for (const auto& definition : definitions)
        values = definition.filling(std::move(values));
    return values;
}

void PropertyDef::changeKind(PropertyKind to) {
    kind = to;
    if (to != PropertyKind::Text)
        embedded.reset();
    if (defaultValue && !accepts(*defaultValue))
        defaultValue.reset();
}

void PropertyDef::setOptions(const QStringList& list) {
    QStringList cleaned;
    QSet<QString> seen;
    for (const QString& entry : list) {
        QString trimmed = entry.trimmed();
        if (trimmed.isEmpty() || seen.contains(trimmed))
            continue;
        seen.insert(trimmed);
        cleaned << trimmed;
    }

    // A rename of one option carries a default that named it.
    const QStringList old = options.value_or(QStringList());
    if (old.size() == cleaned.size() && defaultValue && defaultValue->asString()) {
        qsizetype changed = -1;
        int differences = 0;
        for (qsizetype i = 0; i < old.size(); ++i) {
            if (old[i] != cleaned[i]) {
                ++differences;
                changed = i;
            }
        }
        if (differences == 1 && *defaultValue->asString() == old[changed])
            defaultValue = GraphValue::string(cleaned[changed]);
    }
    options = cleaned;
}

std::optional<QString> PropertyDef::choice(const QString& matching) const {
    if (!options)
        return std::nullopt;
    const QString text = matching.trimmed();
    if (options->contains(text))
        return text;
    const QString key = looseKey(text);
    for (const QString& option : *options) {
        if (looseKey(option) == key)
            return option;
    }
    return std::nullopt;
}

std::optional<GraphValue> PropertyDef::value(const QString& from) const {
    const QString text = from.trimmed();
    if (text.isEmpty())
        return GraphValue();
    switch (kind) {
    case PropertyKind::Text:
        return GraphValue::string(text);
    case PropertyKind::Link: {
        auto url = LinkURL::normalize(text);
        if (!url)
            return std::nullopt;
        return GraphValue::string(url->toString(QUrl::FullyEncoded));
    }
    case PropertyKind::Boolean: {
        const QString lowered = text.toLower();
        if (trueWords().contains(lowered))
            return GraphValue::boolean(true);
        if (falseWords().contains(lowered))
            return GraphValue::boolean(false);
        return std::nullopt;
    }
    case PropertyKind::Choice: {
        auto option = choice(text);
        if (!option)
            return std::nullopt;
        return GraphValue::string(*option);
    }
    case PropertyKind::Number: {
        QString digits = text;
        digits.remove(QLatin1Char(','));
        auto number = parseCNumber(digits);
        if (!number)
            return std::nullopt;
        return GraphValue::number(*number);
    }
    }
    return std::nullopt;
}

const PropertyDef* PropertyDef::title(const QUuid& id, const QList<PropertyDef>& in) {
    for (const auto& property : in) {
        if (property.id == id)
            return &property;
    }
    return nullptr;
}

std::optional<PropertyDef> PropertyDef::likelyTitle(const QList<PropertyDef>& in) {
    const PropertyDef* firstText = nullptr;
    for (const auto& property : in) {
        if (property.kind != PropertyKind::Text)
            continue;
        const QString column = property.column().toLower();
        if (column == QLatin1String("name") || column == QLatin1String("title") ||
            column == QLatin1String("label"))
            return property;
        if (!firstText)
            firstText = &property;
    }
    if (firstText)
        return *firstText;
    return std::nullopt;
}

QJsonObject PropertyDef::toJson() const {
    QJsonObject object{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("name"), name},
                       {QStringLiteral("kind"), PropertyKinds::id(kind)}};
    json::putOptional(object, QStringLiteral("embedded"), embedded);
    if (defaultValue)
        object.insert(QStringLiteral("defaultValue"), defaultValue->toJson());
    if (options)
        object.insert(QStringLiteral("options"), QJsonArray::fromStringList(*options));
    return object;
}

PropertyDef PropertyDef::fromJson(const QJsonObject& json) {
    PropertyDef property;
    property.id = json::requireUuid(json, QStringLiteral("id"));
    property.name = json::requireString(json, QStringLiteral("name"));
    const QString kindId = json::requireString(json, QStringLiteral("kind"));
    auto kind = PropertyKinds::fromId(kindId);
    if (!kind)
        throw json::DecodeError(QStringLiteral("unknown property kind \"%1\"").arg(kindId).toStdString());
    property.kind = *kind;
    property.embedded = json::optionalBool(json, QStringLiteral("embedded"));
    // A stored default is never null; a null read back means no default.
    const QJsonValue defaultJson = json.value(QStringLiteral("defaultValue"));
    if (!defaultJson.isUndefined() && !defaultJson.isNull())
        property.defaultValue = GraphValue::fromJson(defaultJson);
    if (auto options = json::optionalArray(json, QStringLiteral("options"))) {
        QStringList list;
        for (const QJsonValue& option : *options) {
            if (!option.isString())
                throw json::DecodeError("an option is not a string");
            list << option.toString();
        }
        property.options = list;
    }
    return property;
}

QJsonArray PropertyDef::listToJson(const QList<PropertyDef>& properties) {
    QJsonArray array;
    for (const auto& property : properties)
        array.append(property.toJson());
    return array;
}

QList<PropertyDef> PropertyDef::listFromJson(const QJsonArray& array) {
    QList<PropertyDef> properties;
    properties.reserve(array.size());
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            throw json::DecodeError("a property is not an object");
        properties << fromJson(value.toObject());
    }
    return properties;
}

} // namespace corvantis
