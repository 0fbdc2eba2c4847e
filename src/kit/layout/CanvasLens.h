#pragma once

#include "kit/layout/ArrangeValue.h"
#include "kit/layout/Arrangement.h"
#include "kit/schema/PropertyDef.h"

#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QString>
#include <optional>

namespace corvantis {

// What a canvas is sorted or grouped by.
struct LensKey {
    enum class Kind { property, steps, title, connections, answerOrder, type };
    Kind kind = Kind::title;
    QString payload; // the property's name for `property`, the start node's id for `steps`

    static LensKey property(const QString& name) { return {Kind::property, name}; }
    static LensKey steps(const QString& from) { return {Kind::steps, from}; }
    static LensKey title() { return {Kind::title, {}}; }
    static LensKey connections() { return {Kind::connections, {}}; }
    static LensKey answerOrder() { return {Kind::answerOrder, {}}; }
    static LensKey type() { return {Kind::type, {}}; }

    // One key naming the case, its payload in a nested object ({"property": {"_0": "born"}}, {"title": {}}).
    QJsonObject toJson() const;
    // Fails with json::DecodeError unless exactly one known key is present.
    static LensKey fromJson(const QJsonObject& json);

    bool operator==(const LensKey&) const = default;
};
size_t qHash(const LensKey& key, size_t seed = 0) noexcept;

// A key as the arrange panel offers it.
struct LensKeyInfo {
    LensKey key;
    QString name;
    std::optional<PropertyKind> kind;
    std::optional<QString> detail;
    std::optional<QString> symbol;
};

// A closed range of values a node must lie in.
struct RangeFilter {
    LensKey key;
    ArrangeValue low;
    ArrangeValue high;
    bool operator==(const RangeFilter&) const = default;
};

// Lanes that pass: with `only` the listed ones alone, otherwise all but the listed (shut) ones.
struct LaneFilter {
    bool only = false;
    QSet<QString> values;
    bool operator==(const LaneFilter&) const = default;
};

struct CanvasFilter {
    QHash<LensKey, LaneFilter> lanes;
    std::optional<RangeFilter> range;
    std::optional<QString> near;   // only the neighbours of this node in the answer
    std::optional<QString> around; // only what is shown or within reach of this node

    // How many filters are in force (a lane entry with no values is none).
    int count() const;
    bool operator==(const CanvasFilter&) const = default;
};

// What the arrange panel chose for one canvas.
struct CanvasLens {
    Arrangement::Form form = Arrangement::Form::rows;
    std::optional<LensKey> sort;
    bool descending = false;
    std::optional<Arrangement::Spacing> spacing;
    std::optional<LensKey> group;
    CanvasFilter filter;

    // Sorted, grouped, another form than rows, or filtered.
    bool isActive() const;

    // The part of a lens that outlives a session: no filters but `around`.
    struct Saved {
        std::optional<LensKey> sort;
        bool descending = false;
        std::optional<Arrangement::Spacing> spacing;
        std::optional<LensKey> group;
        std::optional<Arrangement::Form> form;
        std::optional<QString> around;

        // Keys "sort", "descending", "spacing", "group", "form", "around"; absent ones left out.
        QJsonObject toJson() const;
        // Only "descending" is required; the form is read leniently. Fails with json::DecodeError.
        static Saved fromJson(const QJsonObject& json);
        bool operator==(const Saved&) const = default;
    };
    Saved saved() const;
    static CanvasLens fromSaved(const Saved& saved);

    bool operator==(const CanvasLens&) const = default;
};

} // namespace corvantis
