// The forms of Arrangement in which every item gets a fixed point: rings, spiral and stacks.

#include "kit/layout/Arrangement.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace corvantis {

namespace {

constexpr double twoPi = 2 * std::numbers::pi;
// The Archimedean spiral radius = angle × b, one `spiralPitch` further out per turn.
constexpr double spiralB = Arrangement::spiralPitch / twoPi;
constexpr double collapsedWedgeSpan = 0.07;
constexpr double wedgeGap = 0.05;
constexpr double ringPadding = 46;
constexpr double islandGap = 56;
constexpr int packingDirections = 48;
constexpr int stackHeightPerWrap = 22;

QString laneKey(const Arrangement::Item& item, bool grouped) {
    return grouped ? item.lane.value_or(Arrangement::noValue) : QString();
}

// Lays items along the spiral around a point and returns the angles used.
std::vector<double> wind(const std::vector<Arrangement::Item>& items, double x, double y, bool corridor,
                         QHash<QString, ForceLayout::Guide>& guides) {
    const std::vector<double> angles = Arrangement::spiralAngles(int(items.size()), corridor);
    for (std::size_t i = 0; i < angles.size(); ++i) {
        const double angle = angles[i];
        guides.insert(items[i].id, ForceLayout::Guide(x + angle * spiralB * std::sin(angle),
                                                      y - angle * spiralB * std::cos(angle), 0));
    }
    return angles;
}

} // namespace

QPointF Arrangement::polar(double radius, double angle, double aroundX, double aroundY) {
    return QPointF(aroundX + radius * std::sin(angle), aroundY - radius * std::cos(angle));
}

QPointF Arrangement::spiralPoint(double angle, double aroundX, double aroundY) {
    return polar(angle * spiralB, angle, aroundX, aroundY);
}

std::vector<double> Arrangement::spiralAngles(int count, bool corridor) {
    std::vector<double> angles;
    if (count < 1) {
        return angles;
    }
    angles.reserve(std::size_t(count));
    angles.push_back(0);
    QPointF last = spiralPoint(0, 0, 0);
    double angle = 0;
    while (int(angles.size()) < count) {
        const double radius = angle * spiralB;
        angle += 2 / std::sqrt(radius * radius + spiralB * spiralB); // about two units of arc
        const QPointF point = spiralPoint(angle, 0, 0);
        if (corridor) {
            // Keep a vertical lane free above the centre, for the labels of the turns.
            const double t = std::fmod(angle, twoPi);
            const double along = angle * spiralB;
            if (along > 1) {
                const double w = ringPadding / along;
                const bool nearTop = w < 0.5 ? (t < w || t > twoPi - w) : (t < 0.5 || t > twoPi - 0.5);
                if (nearTop) {
                    continue;
                }
            }
        }
        const double dx = point.x() - last.x();
        const double dy = point.y() - last.y();
        if (std::sqrt(dx * dx + dy * dy) >= spiralStep) {
            angles.push_back(angle);
            last = point;
        }
    }
    return angles;
}

void Arrangement::arrangeRings(Placing& placing, const Options& options) {
    const int n = int(placing.all.size());

    if (!groups.empty()) {
        const double gap = groups.size() >= 2 ? wedgeGap : 0;
        double total = 0;
        int shut = 0;
        std::vector<double> weights;
        for (const Group& group : groups) {
            const double weight = group.collapsed ? 0 : std::max({n * 0.04, double(group.count), 1.0});
            weights.push_back(weight);
            total += weight;
            shut += group.collapsed ? 1 : 0;
        }
        total = std::max(total, 1.0);
        const double free = twoPi - gap * double(groups.size()) - collapsedWedgeSpan * shut;
        double start = gap / 2;
        for (std::size_t g = 0; g < groups.size(); ++g) {
            const Group& group = groups[g];
            const double span = group.collapsed ? collapsedWedgeSpan : free * weights[g] / total;
            wedges.push_back(Wedge{group.key, start, start + span, group.count, group.collapsed});
            start += span + gap;
        }
    } else {
        wedges.push_back(Wedge{QString(), 0, twoPi, n, false});
    }

    double narrowest = twoPi;
    bool anyOpen = false;
    for (const Wedge& wedge : wedges) {
        if (!wedge.collapsed) {
            narrowest = anyOpen ? std::min(narrowest, wedge.end - wedge.start) : wedge.end - wedge.start;
            anyOpen = true;
        }
    }
    const double baseRadius = std::clamp(ringSlot / narrowest * 1.1, 70.0, 900.0);

    std::vector<Bucket> buckets;
    if (sorted) {
        const int target = std::clamp(int(std::floor(std::sqrt(double(placing.valued.size()) / 3))), 3, 8);
        buckets = levels(placing.valued, descending, spacing, 12, target, false);
        if (!placing.missing.empty()) {
            Level level;
            level.count = int(placing.missing.size());
            buckets.push_back(Bucket{level, placing.missing});
        }
    } else {
        std::vector<Item> members(placing.all.begin() + (placing.centre ? 1 : 0), placing.all.end());
        if (!members.empty()) {
            Level level;
            level.count = int(members.size());
            buckets.push_back(Bucket{level, std::move(members)});
        }
    }

    QHash<QString, QStringList> neighbours;
    for (const auto& [from, to] : options.links) {
        if (from != to) {
            neighbours[from].append(to);
            neighbours[to].append(from);
        }
    }
    QHash<QString, double> placedAngles;

    double running = 0;
    if (placing.centre) {
        guides.insert(placing.centre->id, ForceLayout::Guide(0, 0, 0));
        Level level;
        level.low = placing.centre->value;
        level.high = placing.centre->value;
        level.count = 1;
        rings.push_back(Ring{level, 0, 0});
        running = baseRadius;
    }

    for (std::size_t b = 0; b < buckets.size(); ++b) {
        const Bucket& bucket = buckets[b];
        if (!placing.centre && b == 0 && buckets.size() >= 2 && bucket.members.size() == 1) {
            guides.insert(bucket.members.front().id, ForceLayout::Guide(0, 0, 0));
            rings.push_back(Ring{bucket.level, 0, 0});
            running = baseRadius;
            continue;
        }
        const double r = std::max(running, baseRadius);
        const double pad = std::min(ringPadding / r, 0.5);
        int mostTracks = 1;
        for (const Wedge& wedge : wedges) {
            if (wedge.collapsed) {
                continue;
            }
            std::vector<const Item*> members;
            for (const Item& item : bucket.members) {
                if (laneKey(item, grouped) == wedge.key) {
                    members.push_back(&item);
                }
            }
            if (members.empty()) {
                continue;
            }
            const double lo = std::max(wedge.start, pad);
            const double hi = std::min(wedge.end, twoPi - pad);
            const double span = std::max(hi - lo, 0.05);
            const int m = int(members.size());

            if (b >= 1 && !options.links.empty()) {
                // Each member leans towards where its neighbours on inner rings stand.
                std::vector<std::pair<double, const Item*>> wanted;
                for (int j = 0; j < m; ++j) {
                    const double even = lo + span * (j + 0.5) / m;
                    double sines = 0;
                    double cosines = 0;
                    bool anyPlaced = false;
                    for (const QString& neighbour : neighbours.value(members[std::size_t(j)]->id)) {
                        const auto placed = placedAngles.constFind(neighbour);
                        if (placed != placedAngles.constEnd()) {
                            sines += std::sin(*placed);
                            cosines += std::cos(*placed);
                            anyPlaced = true;
                        }
                    }
                    double angle = even;
                    if (anyPlaced) {
                        angle = std::atan2(sines, cosines);
                        if (angle < 0) {
                            angle += twoPi;
                        }
                        angle = std::clamp(angle, lo, hi);
                    }
                    wanted.emplace_back(angle, members[std::size_t(j)]);
                }
                std::stable_sort(wanted.begin(), wanted.end(),
                                 [](const auto& a, const auto& b) { return a.first < b.first; });
                for (int j = 0; j < m; ++j) {
                    members[std::size_t(j)] = wanted[std::size_t(j)].second;
                }
            }

            const auto place = [&](const Item& item, double radius, double angle) {
                const QPointF point = polar(radius, angle, 0, 0);
                guides.insert(item.id, ForceLayout::Guide(point.x(), point.y(), 0));
                placedAngles.insert(item.id, angle);
            };
            const int per = std::max(int(std::floor(r * span / ringSlot)), 1);
            const int tracks = int(std::ceil(double(m) / per));
            if (tracks <= 3) {
                // Neighbours stagger across the tracks.
                for (int j = 0; j < m; ++j) {
                    place(*members[std::size_t(j)], r + (j % tracks) * ringTrack, lo + span * (j + 0.5) / m);
                }
                mostTracks = std::max(mostTracks, tracks);
            } else {
                // Too many to stagger: fill track after track from the inside.
                int placed = 0;
                int track = 0;
                while (placed < m) {
                    const double radius = r + track * ringTrack;
                    const int take =
                        std::min(std::max(int(std::floor(span * radius / ringSlot)), 1), m - placed);
                    for (int q = 0; q < take; ++q) {
                        place(*members[std::size_t(placed + q)], radius, lo + span * (q + 0.5) / take);
                    }
                    placed += take;
                    track += 1;
                }
                mostTracks = std::max(mostTracks, track);
            }
        }
        rings.push_back(Ring{bucket.level, r, r + (mostTracks - 1) * ringTrack});
        running = rings.back().outer + ringTrack + ringGap;
    }

    const double reach = rings.empty() ? ringSlot : rings.back().outer + ringSlot;
    minX = -reach;
    minY = -reach;
    maxX = reach;
    maxY = reach;
}

void Arrangement::arrangeSpiral(Placing& placing, const Options& options) {
    if (!grouped) {
        const std::vector<double> angles = wind(placing.all, 0, 0, sorted, guides);
        const double last = angles.empty() ? 0 : angles.back();
        const double reach = last * spiralB + 30;
        islands.push_back(Island{std::nullopt, 0, 0, reach, last, int(placing.all.size()), false});
        minX = -reach;
        minY = -reach;
        maxX = reach;
        maxY = reach;
        if (sorted && !angles.empty() && angles.front() < twoPi) {
            // Mark each full turn with the value of the item that opens it.
            double k = 1;
            for (std::size_t i = 0; i < angles.size(); ++i) {
                if (angles[i] < k * twoPi) {
                    continue;
                }
                const std::optional<ArrangeValue>& value = placing.all[i].value;
                if (!value) {
                    break;
                }
                turns.push_back(Turn{k * spiralPitch, *value, int(i)});
                k = std::floor(angles[i] / twoPi) + 1;
            }
        }
        return;
    }

    // One island per group.
    std::vector<std::vector<Item>> members(groups.size());
    QHash<QString, int> groupIndex;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        groupIndex.insert(groups[g].key, int(g));
    }
    for (const Item& item : placing.all) {
        const auto g = groupIndex.constFind(laneKey(item, true));
        if (g != groupIndex.constEnd()) {
            members[std::size_t(*g)].push_back(item);
        }
    }
    for (const Group& group : groups) {
        double last = 0;
        if (!group.collapsed && group.count > 0) {
            const std::vector<double> angles = spiralAngles(group.count, false);
            last = angles.empty() ? 0 : angles.back();
        }
        const double radius = group.collapsed ? ringGap : last * spiralB + 30;
        islands.push_back(Island{group.key, 0, 0, radius, last, group.count, group.collapsed});
    }

    if (options.ordered) {
        // In rows, in group order, each row centred.
        double squares = 0;
        for (const Island& island : islands) {
            const double w = 2 * island.radius + islandGap;
            squares += w * w;
        }
        const double rowWidth = std::max(std::sqrt(squares) * 1.6, 1400.0);
        std::vector<std::vector<std::size_t>> rows;
        double used = 0;
        for (std::size_t i = 0; i < islands.size(); ++i) {
            const double w = 2 * islands[i].radius + islandGap;
            if (rows.empty() || (!rows.back().empty() && used + w > rowWidth)) {
                rows.emplace_back();
                used = 0;
            }
            rows.back().push_back(i);
            used += w;
        }
        double runningY = 0;
        for (std::size_t row = 0; row < rows.size(); ++row) {
            double largest = 0;
            double diameters = 0;
            for (std::size_t i : rows[row]) {
                largest = std::max(largest, islands[i].radius);
                diameters += 2 * islands[i].radius;
            }
            double start = -(diameters + double(rows[row].size() - 1) * islandGap) / 2;
            const double y = row == 0 ? runningY : runningY + largest;
            for (std::size_t i : rows[row]) {
                islands[i].x = start + islands[i].radius;
                islands[i].y = y;
                start += 2 * islands[i].radius + islandGap;
            }
            runningY = y + largest + islandGap;
        }
    } else if (!islands.empty()) {
        // Packed: largest first, each next one at the free spot nearest the middle of a wide ellipse.
        std::vector<std::size_t> order(islands.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            order[i] = i;
        }
        std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
            return islands[a].radius > islands[b].radius;
        });
        std::vector<std::size_t> placed{order.front()};
        for (std::size_t o = 1; o < order.size(); ++o) {
            Island& island = islands[order[o]];
            bool found = false;
            double bestScore = 0;
            QPointF best;
            for (std::size_t p : placed) {
                const Island& beside = islands[p];
                const double distance = beside.radius + island.radius + islandGap;
                for (int k = 0; k < packingDirections; ++k) {
                    const double angle = twoPi * k / packingDirections;
                    const double cx = beside.x + std::cos(angle) * distance;
                    const double cy = beside.y + std::sin(angle) * distance;
                    const double score = std::sqrt(cy * cy + cx * cx / 2.2);
                    if (found && !(score < bestScore)) {
                        continue; // cannot win, so its room need not be checked
                    }
                    bool free = true;
                    for (std::size_t q : placed) {
                        const Island& other = islands[q];
                        const double dx = cx - other.x;
                        const double dy = cy - other.y;
                        if (std::sqrt(dx * dx + dy * dy) < other.radius + island.radius + islandGap - 0.01) {
                            free = false;
                            break;
                        }
                    }
                    if (free) {
                        found = true;
                        bestScore = score;
                        best = QPointF(cx, cy);
                    }
                }
            }
            if (found) {
                island.x = best.x();
                island.y = best.y();
            }
            placed.push_back(order[o]);
        }
    }

    if (!islands.empty()) {
        double left = islands.front().x - islands.front().radius;
        double right = islands.front().x + islands.front().radius;
        double upper = islands.front().y - islands.front().radius;
        double lower = islands.front().y + islands.front().radius;
        for (const Island& island : islands) {
            left = std::min(left, island.x - island.radius);
            right = std::max(right, island.x + island.radius);
            upper = std::min(upper, island.y - island.radius);
            lower = std::max(lower, island.y + island.radius);
        }
        const double midX = (left + right) / 2;
        const double midY = (upper + lower) / 2;
        for (Island& island : islands) {
            island.x -= midX;
            island.y -= midY;
        }
        minX = left - midX;
        maxX = right - midX;
        minY = upper - midY;
        maxY = lower - midY;
    }

    for (std::size_t g = 0; g < islands.size(); ++g) {
        wind(members[g], islands[g].x, islands[g].y, false, guides);
    }
}

void Arrangement::arrangeStacks(Placing& placing, const Options& options) {
    Q_UNUSED(options);
    struct Stack {
        std::optional<Level> level;
        std::optional<QString> key;
        std::vector<Item> members;
        bool collapsed = false;
    };
    std::vector<Stack> stacks;
    if (sorted) {
        const int target = std::clamp(int(std::floor(std::sqrt(double(placing.valued.size())))), 5, 16);
        for (Bucket& bucket : levels(placing.valued, descending, spacing, 24, target, true)) {
            stacks.push_back(Stack{bucket.level, std::nullopt, std::move(bucket.members), false});
        }
        if (!placing.missing.empty()) {
            Level level;
            level.count = int(placing.missing.size());
            stacks.push_back(Stack{level, std::nullopt, placing.missing, false});
        }
    } else if (!grouped) {
        stacks.push_back(Stack{std::nullopt, std::nullopt, placing.all, false});
    } else {
        for (const Group& group : groups) {
            Stack stack{std::nullopt, group.key, {}, group.collapsed};
            for (const Item& item : placing.all) {
                if (laneKey(item, true) == group.key) {
                    stack.members.push_back(item);
                }
            }
            stacks.push_back(std::move(stack));
        }
    }

    std::size_t largest = 0;
    for (const Stack& stack : stacks) {
        largest = std::max(largest, stack.members.size());
    }
    const int wrap = std::clamp(int(std::ceil(double(largest) / stackHeightPerWrap)), 1, 8);

    QHash<QString, int> groupPosition;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        groupPosition.insert(groups[g].key, int(g));
    }

    double x = 0;
    for (Stack& stack : stacks) {
        const double width = stack.collapsed ? stackUnit : wrap * stackUnit;
        if (sorted && grouped) {
            // Within a column, the groups form bands in their own order.
            const int unknown = int(groups.size());
            std::stable_sort(stack.members.begin(), stack.members.end(), [&](const Item& a, const Item& b) {
                return groupPosition.value(laneKey(a, true), unknown) <
                       groupPosition.value(laneKey(b, true), unknown);
            });
        }
        const int m = int(stack.members.size());
        for (int j = 0; j < m; ++j) {
            const Item& item = stack.members[std::size_t(j)];
            guides.insert(item.id, ForceLayout::Guide(x + (j % wrap + 0.5) * stackUnit,
                                                      (j / wrap + 0.5) * -stackUnit, 0));
            if (sorted && item.value) {
                axisSlots.push_back(Slot{item.id, (x + (x + width)) / 2, *item.value});
            }
        }
        columns.push_back(Column{stack.level, stack.key, x, x + width,
                                 -stackUnit * std::ceil(double(m) / wrap), m, stack.collapsed});
        x += width + stackGap;
    }
    axisLength = std::max(x - stackGap, stackUnit);
    maxX = axisLength;
    minX = 0;
    minY = -stackUnit;
    if (!columns.empty()) {
        double highest = columns.front().top;
        for (const Column& column : columns) {
            highest = std::min(highest, column.top);
        }
        minY = highest - stackUnit;
    }
    maxY = 0;
}

} // namespace corvantis
