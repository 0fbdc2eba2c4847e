#include "kit/layout/CanvasLens.h"

#include "kit/support/Json.h"

#include <QHashFunctions>

namespace corvantis {

namespace {

struct KindName {
    LensKey::Kind kind;
    const char* name;
};
constexpr KindName kindNames[] = {
    {LensKey::Kind::property, "property"},
    {LensKey::Kind::steps, "steps"},
    {LensKey::Kind::title, "title"},
    {LensKey::Kind::connections, "connections"},
    {LensKey::Kind::answerOrder, "answerOrder"},
    {LensKey::Kind::type, "type"},
};

bool hasPayload(LensKey::Kind kind) {
    return kind == LensKey::Kind::property || kind == LensKey::Kind::steps;
}

} // namespace

QJsonObject LensKey::toJson() const {
    QJsonObject inner;
    if (hasPayload(kind))
        inner.insert("_0", payload);
    for (const KindName& entry : kindNames)
        if (entry.kind == kind)
            return QJsonObject{{QString::fromLatin1(entry.name), inner}};
    Q_UNREACHABLE();
}

LensKey LensKey::fromJson(const QJsonObject& json) {
    if (json.size() != 1)
        throw json::DecodeError("Invalid number of keys found, expected one.");
    const QString name = json.begin().key();
    for (const KindName& entry : kindNames) {
        if (name != QLatin1String(entry.name))
            continue;
        LensKey key{entry.kind, {}};
        if (hasPayload(entry.kind))
            key.payload = json::requireString(json::requireObject(json, name), "_0");
        return key;
    }
    throw json::DecodeError(QStringLiteral("Unknown lens key “%1”.").arg(name).toStdString());
}

size_t qHash(const LensKey& key, size_t seed) noexcept {
    return qHashMulti(seed, int(key.kind), key.payload);
}

int CanvasFilter::count() const {
    int n = 0;
    for (const LaneFilter& lane : lanes)
        if (!lane.values.isEmpty())
            ++n;
    return n + (range ? 1 : 0) + (near ? 1 : 0) + (around ? 1 : 0);
}

bool CanvasLens::isActive() const {
    return sort || group || form != Arrangement::Form::rows || filter.count() > 0;
}

QJsonObject CanvasLens::Saved::toJson() const {
    QJsonObject json{{"descending", descending}};
    if (sort)
        json.insert("sort", sort->toJson());
    if (group)
        json.insert("group", group->toJson());
    if (spacing)
        json.insert("spacing", Arrangement::spacingText(*spacing));
    if (form)
        json.insert("form", Arrangement::formText(*form));
    json::putOptional(json, "around", around);
    return json;
}

CanvasLens::Saved CanvasLens::Saved::fromJson(const QJsonObject& json) {
    Saved saved;
    saved.descending = json::requireBool(json, "descending");
    if (auto sort = json::optionalObject(json, "sort"))
        saved.sort = LensKey::fromJson(*sort);
    if (auto group = json::optionalObject(json, "group"))
        saved.group = LensKey::fromJson(*group);
    if (auto spacing = json::optionalString(json, "spacing")) {
        saved.spacing = Arrangement::spacingFromText(*spacing);
        if (!saved.spacing)
            throw json::DecodeError("Unknown spacing.");
    }
    if (auto form = json::optionalString(json, "form"))
        saved.form = Arrangement::formFromText(*form);
    saved.around = json::optionalString(json, "around");
    return saved;
}

CanvasLens::Saved CanvasLens::saved() const {
    return Saved{sort, descending, spacing, group, form, filter.around};
}

CanvasLens CanvasLens::fromSaved(const Saved& saved) {
    CanvasLens lens;
    lens.form = saved.form.value_or(Arrangement::Form::rows);
    lens.sort = saved.sort;
    lens.descending = saved.descending;
    lens.spacing = saved.spacing;
    lens.group = saved.group;
    lens.filter.around = saved.around;
    return lens;
}

} // namespace corvantis
