#include "kit/layout/Arrangement.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace corvantis {

const QString Arrangement::noValue = QString(QChar(0)) + QStringLiteral("none");

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double laneInset = 22;
constexpr double laneRowHeight = 76;
constexpr double laneSpacing = 18;
constexpr double collapsedLaneHeight = 34;
constexpr double minimumLaneHeight = 96;
constexpr double maximumLaneHeight = 2400;
constexpr double shortestAxis = 560;
constexpr double longestAxis = 4400;
constexpr double gutterOffset = 110;
constexpr int maxBins = 400;
constexpr int maxTicks = 1000;

// Items that have a value, in value order (or its reverse), ties kept in input order.
std::vector<Arrangement::Item> sortedByValue(const std::vector<Arrangement::Item>& items, bool descending) {
    std::vector<Arrangement::Item> valued;
    for (const Arrangement::Item& item : items) {
        if (item.value) {
            valued.push_back(item);
        }
    }
    std::stable_sort(valued.begin(), valued.end(), [descending](const auto& a, const auto& b) {
        return descending ? *b.value < *a.value : *a.value < *b.value;
    });
    return valued;
}

bool tiesWith(const Arrangement::Item& a, const Arrangement::Item& b) {
    return a.value && b.value && a.value->ties(*b.value);
}

// The smallest and largest values of a set of items in the arranging order, and how many there are.
Arrangement::Level levelOf(const std::vector<Arrangement::Item>& members) {
    Arrangement::Level level;
    level.count = int(members.size());
    for (const Arrangement::Item& item : members) {
        if (!item.value) {
            continue;
        }
        if (!level.low || *item.value < *level.low) {
            level.low = item.value;
        }
        if (!level.high || *level.high < *item.value) {
            level.high = item.value;
        }
    }
    return level;
}

} // namespace

Arrangement::Arrangement(const std::vector<Item>& items, const Options& options)
    : form(options.form)
    , sorted(options.sorted)
    , grouped(options.grouped)
    , descending(options.descending) {
    const std::vector<Item> ascending = sortedByValue(items, false);

    // The numeric extent: the domain widens it, and without numbers the values count as 0.
    bool anyNumber = false;
    bool allNumbers = true;
    double smallest = 0;
    double largest = 0;
    for (const Item& item : ascending) {
        const std::optional<double> number = item.value->number();
        if (!number) {
            allNumbers = false;
            continue;
        }
        smallest = anyNumber ? std::min(smallest, *number) : *number;
        largest = anyNumber ? std::max(largest, *number) : *number;
        anyNumber = true;
    }
    double low = smallest;
    double high = largest;
    if (options.domain) {
        low = std::min(options.domain->low, low);
        high = std::max(options.domain->high, high);
    }
    spacing =
        (options.spacing == Spacing::value && allNumbers && low < high) ? Spacing::value : Spacing::even;

    if (form == Form::rows) {
        arrangeRows(items, options, ascending, low, high);
        return;
    }

    Placing placing;
    placing.valued = descending ? sortedByValue(items, true) : ascending;
    for (const Item& item : items) {
        if (!item.value) {
            placing.missing.push_back(item);
        }
    }
    if (sorted) {
        placing.all = placing.valued;
        placing.all.insert(placing.all.end(), placing.missing.begin(), placing.missing.end());
    } else {
        placing.all = items;
    }
    if (options.anchor && (form == Form::rings || form == Form::spiral)) {
        const QString& anchor = *options.anchor;
        const auto isAnchor = [&anchor](const Item& item) {
            return item.id == anchor;
        };
        const auto found = std::find_if(placing.all.begin(), placing.all.end(), isAnchor);
        if (found != placing.all.end()) {
            placing.centre = *found;
            placing.all.erase(found);
            placing.all.insert(placing.all.begin(), *placing.centre);
            for (std::vector<Item>* list : {&placing.valued, &placing.missing}) {
                const auto inList = std::find_if(list->begin(), list->end(), isAnchor);
                if (inList != list->end()) {
                    list->erase(inList);
                }
            }
        }
    }
    placing.order = groupOrder(items, options);
    if (grouped) {
        for (const QString& key : std::as_const(placing.order.keys)) {
            const int count = placing.order.counts.value(key, 0);
            groups.push_back(Group{key, count, options.collapsed.contains(key) && count == 0});
        }
    }

    switch (form) {
    case Form::rings:
        arrangeRings(placing, options);
        break;
    case Form::spiral:
        arrangeSpiral(placing, options);
        break;
    case Form::stacks:
        arrangeStacks(placing, options);
        break;
    case Form::rows:
        break;
    }

    // Entrance: the items appear one after another in the order of `all`, from the centre out.
    const int n = int(placing.all.size());
    const double sweep = std::min(n * 0.7, 34.0);
    for (int i = 0; i < n; ++i) {
        const auto guide = guides.find(placing.all[std::size_t(i)].id);
        if (guide != guides.end()) {
            guide->delay = sweep * i / (std::max(n, 2) - 1);
        }
    }
    if (minX == maxX) {
        minX -= 60;
        maxX += 60;
    }
    if (minY == maxY) {
        minY -= 60;
        maxY += 60;
    }
}

void Arrangement::arrangeRows(const std::vector<Item>& items, const Options& options,
                              const std::vector<Item>& valued, double low, double high) {
    QHash<QString, double> axisX;
    if (sorted) {
        const bool byValue = spacing == Spacing::value;
        int n = int(valued.size());
        if (byValue && options.axisCount) {
            n = std::max(n, *options.axisCount);
        }
        axisLength = std::clamp(std::max(n, 1) * slotWidth, shortestAxis, longestAxis);
        if (byValue) {
            domain = Range{low, high};
        }
        for (std::size_t i = 0; i < valued.size(); ++i) {
            const Item& item = valued[i];
            const double f = byValue ? (*item.value->number() - low) / (high - low)
                                     : (double(i) + 0.5) / double(valued.size());
            double x = axisLength * f;
            if (descending) {
                x = axisLength - x;
            }
            axisX.insert(item.id, x);
            if (!runs.empty() && item.value->ties(runs.back().value)) {
                Run& run = runs.back();
                run.minX = std::min(run.minX, x);
                run.maxX = std::max(run.maxX, x);
                run.count += 1;
            } else {
                runs.push_back(Run{*item.value, x, x, 1});
            }
            axisSlots.push_back(Slot{item.id, x, *item.value});
        }
        if (descending) {
            std::reverse(runs.begin(), runs.end());
            std::reverse(axisSlots.begin(), axisSlots.end());
        }
        // Items without a value wait in a gutter to the right of the axis.
        std::vector<const Item*> unvalued;
        for (const Item& item : items) {
            if (!item.value) {
                unvalued.push_back(&item);
            }
        }
        if (!unvalued.empty()) {
            const int columns = std::clamp(int(std::ceil(std::sqrt(double(unvalued.size())))), 1, 12);
            gutterX = axisLength + gutterOffset;
            for (std::size_t k = 0; k < unvalued.size(); ++k) {
                axisX.insert(unvalued[k]->id, *gutterX + double(int(k) % columns) * slotWidth);
            }
            gutterWidth = (columns - 1) * slotWidth;
        }
        minX = 0;
        maxX = gutterX ? *gutterX + gutterWidth : axisLength;
    }

    QStringList keys;
    QHash<QString, int> counts;
    if (grouped) {
        GroupOrder order = groupOrder(items, options);
        keys = std::move(order.keys);
        counts = std::move(order.counts);
    } else {
        keys = QStringList{QString()};
        counts.insert(QString(), int(items.size()));
    }
    const auto laneKeyOf = [this](const Item& item) {
        return grouped ? item.lane.value_or(noValue) : QString();
    };

    int largest = 0;
    for (const QString& key : std::as_const(keys)) {
        largest = std::max(largest, counts.value(key, 0));
    }
    const int wrap = largest > 0 ? std::clamp(int(std::ceil(std::sqrt(largest * 2.5))), 1, 12) : 2;
    if (!sorted) {
        // Unsorted lanes have no axis; the entrance sweeps across the width of their cells instead.
        minX = 0;
        maxX = wrap * cellWidth;
    }

    // How high items pile up at one axis position, per lane.
    QHash<QString, int> depth;
    if (sorted) {
        QHash<QString, QHash<qint64, int>> filled;
        for (const Item& item : items) {
            const auto x = axisX.constFind(item.id);
            if (x == axisX.constEnd()) {
                continue;
            }
            const QString key = laneKeyOf(item);
            const int inCell = ++filled[key][qint64(std::round(*x / slotWidth))];
            depth[key] = std::max(depth.value(key, 0), inCell);
        }
    }

    double y = 0;
    QHash<QString, int> laneIndex;
    for (const QString& key : std::as_const(keys)) {
        const int count = counts.value(key, 0);
        const bool shut = options.collapsed.contains(key) && count == 0;
        double height;
        if (shut) {
            height = collapsedLaneHeight;
        } else if (sorted) {
            const int laneDepth = depth.value(key, 0);
            const double spread = count * 2420.0 / std::max(axisLength, 1.0) + stackSpacing;
            const double piled = laneDepth > 0 ? laneDepth * stackSpacing + slotWidth : slotWidth;
            height = std::min(std::max({spread, piled, minimumLaneHeight}), maximumLaneHeight);
        } else {
            height = std::max(std::ceil(double(count) / wrap) * laneRowHeight + slotWidth, minimumLaneHeight);
        }
        laneIndex.insert(key, int(lanes.size()));
        lanes.push_back(Lane{key, y, y + height, count, shut});
        y += height + laneSpacing;
    }

    QHash<QString, int> placedInLane;
    for (const Item& item : items) {
        const QString key = laneKeyOf(item);
        const auto index = laneIndex.constFind(key);
        if (index == laneIndex.constEnd()) {
            continue;
        }
        const Lane& lane = lanes[std::size_t(*index)];
        if (!sorted) {
            const int k = placedInLane[key]++;
            const double x = (k % wrap + 0.5) * cellWidth;
            const double gy = lane.minY + laneInset + (k / wrap + 0.5) * laneRowHeight - 8;
            guides.insert(item.id, ForceLayout::Guide(x, x, gy, -infinity, infinity, gy, gy));
        } else if (const auto x = axisX.constFind(item.id); x != axisX.constEnd()) {
            guides.insert(item.id, ForceLayout::Guide(*x, *x, lane.midY(), -infinity, infinity,
                                                      lane.minY + laneInset, lane.maxY - laneInset));
        } else {
            guides.insert(item.id,
                          ForceLayout::Guide(std::nullopt, axisLength / 2, lane.midY(), 16, axisLength - 16,
                                             lane.minY + laneInset, lane.maxY - laneInset));
        }
    }

    // Entrance: items come in from left to right.
    const double sweep = std::min(double(items.size()) * 0.7, 34.0);
    for (ForceLayout::Guide& guide : guides) {
        guide.delay = sweep * guide.x.value_or(guide.homeX) / std::max(maxX, 1.0);
    }

    if (grouped) {
        for (const Lane& lane : lanes) {
            groups.push_back(Group{lane.key, lane.count, lane.collapsed});
        }
    }
}

std::optional<double> Arrangement::x(double value) const {
    if (!domain || domain->low == domain->high) {
        return std::nullopt;
    }
    const double f = (value - domain->low) / (domain->high - domain->low);
    const double along = f * axisLength;
    return descending ? axisLength - along : along;
}

std::vector<Arrangement::Slot> Arrangement::slotsBetween(double from, double to) const {
    const double low = std::min(from, to);
    const double high = std::max(from, to);
    std::vector<Slot> found;
    for (const Slot& slot : axisSlots) {
        if (slot.x >= low && slot.x <= high) {
            found.push_back(slot);
        }
    }
    return found;
}

double Arrangement::top() const {
    if (form != Form::rows) {
        return minY;
    }
    return lanes.empty() ? 0 : lanes.front().minY;
}

double Arrangement::bottom() const {
    if (form != Form::rows) {
        return maxY;
    }
    return lanes.empty() ? 0 : lanes.back().maxY;
}

std::vector<double> Arrangement::niceTicks(double low, double high, int count) {
    if (!std::isfinite(low)) {
        return {};
    }
    if (!std::isfinite(high) || !(low < high) || count < 1) {
        return {low};
    }
    const double rough = (high - low) / count;
    const int magnitude = int(std::floor(std::log10(rough)));
    const double power = std::pow(10.0, magnitude);
    double multiplier = 10;
    if (rough <= power) {
        multiplier = 1;
    } else if (rough <= 2 * power) {
        multiplier = 2;
    } else if (rough <= 5 * power) {
        multiplier = 5;
    }
    const double step = power * multiplier;
    const double first = std::ceil(low / step);
    const double divisor = std::pow(10.0, -magnitude); // only read for negative magnitudes
    std::vector<double> ticks;
    for (double k = first; int(ticks.size()) < maxTicks; k += 1) {
        // Below 1 the tick is built from whole numbers, so that 0.3 reads 0.3 and not 0.30000000000000004.
        const double tick = magnitude < 0 ? multiplier * k / divisor : k * step;
        if (!(tick <= high + step * 1e-9)) {
            break;
        }
        ticks.push_back(tick);
    }
    return ticks;
}

std::vector<Arrangement::Bucket> Arrangement::levels(const std::vector<Item>& items, bool descending,
                                                     Spacing spacing, int maxRuns, int target,
                                                     bool keepEmpty) {
    // Runs of consecutive ties; an item without a value joins the run it follows.
    std::vector<std::vector<Item>> runs;
    const Item* runValue = nullptr;
    for (const Item& item : items) {
        const bool joins = !runs.empty() && (!item.value || !runValue || item.value->ties(*runValue->value));
        if (!joins) {
            runs.emplace_back();
            runValue = nullptr;
        }
        runs.back().push_back(item);
        if (item.value) {
            runValue = &item;
        }
    }
    std::vector<Bucket> buckets;
    if (int(runs.size()) <= maxRuns) {
        for (std::vector<Item>& run : runs) {
            Level level = levelOf(run);
            buckets.push_back(Bucket{std::move(level), std::move(run)});
        }
        return buckets;
    }

    // Round-numbered stretches, when every value is a number and they are not all the same.
    bool allNumbers = !items.empty();
    double lo = std::numeric_limits<double>::infinity();
    double hi = -std::numeric_limits<double>::infinity();
    for (const Item& item : items) {
        const std::optional<double> number = item.value ? item.value->number() : std::nullopt;
        if (!number) {
            allNumbers = false;
            break;
        }
        lo = std::min(lo, *number);
        hi = std::max(hi, *number);
    }
    if (spacing == Spacing::value && allNumbers && lo < hi) {
        const std::vector<double> ticks = niceTicks(lo, hi, target);
        const double step = ticks.size() >= 2 ? ticks[1] - ticks[0] : (hi - lo) / target;
        const double base = step * std::floor(lo / step + 1e-9);
        const int bins = int(std::min(std::floor((hi - base) / step + 1e-9) + 1, double(maxBins)));
        std::vector<std::vector<Item>> members(std::size_t(std::max(bins, 0)));
        for (const Item& item : items) {
            const double x = *item.value->number();
            const double bin = std::clamp(std::floor((x - base) / step + 1e-9), 0.0, double(bins - 1));
            members[std::size_t(bin)].push_back(item);
        }
        for (int i = 0; i < bins; ++i) {
            std::vector<Item>& inBin = members[std::size_t(i)];
            if (inBin.empty() && !keepEmpty) {
                continue;
            }
            Level level = levelOf(inBin);
            level.edges = Range{base + step * i, base + step * (i + 1)};
            buckets.push_back(Bucket{std::move(level), std::move(inBin)});
        }
        if (descending) {
            std::reverse(buckets.begin(), buckets.end());
        }
        return buckets;
    }

    // About as many items in each bucket, never splitting a tie.
    const int per = std::max(int(std::ceil(double(items.size()) / std::max(target, 1))), 1);
    std::vector<Item> gathering;
    for (std::size_t i = 0; i < items.size(); ++i) {
        gathering.push_back(items[i]);
        const bool last = i + 1 == items.size();
        if (!last && int(gathering.size()) >= per && !tiesWith(items[i + 1], items[i])) {
            Level level = levelOf(gathering);
            buckets.push_back(Bucket{std::move(level), std::move(gathering)});
            gathering.clear();
        }
    }
    if (!gathering.empty()) {
        Level level = levelOf(gathering);
        buckets.push_back(Bucket{std::move(level), std::move(gathering)});
    }
    return buckets;
}

Arrangement::GroupOrder Arrangement::groupOrder(const std::vector<Item>& items, const Options& options) {
    GroupOrder order;
    QSet<QString> taken;
    const auto take = [&](const QString& key) {
        if (key != noValue && !taken.contains(key)) {
            taken.insert(key);
            order.keys.append(key);
        }
    };
    for (const QString& key : options.lanes) {
        take(key);
    }
    for (const Item& item : items) {
        order.counts[item.lane.value_or(noValue)] += 1;
    }
    for (const Item& item : items) {
        take(item.lane.value_or(noValue));
    }
    QStringList shut(options.collapsed.begin(), options.collapsed.end());
    std::sort(shut.begin(), shut.end());
    for (const QString& key : std::as_const(shut)) {
        take(key);
    }
    if (order.counts.value(noValue, 0) > 0 || options.collapsed.contains(noValue)) {
        order.keys.append(noValue);
    }
    order.keys.removeIf([&](const QString& key) {
        return order.counts.value(key, 0) == 0 && !options.collapsed.contains(key);
    });
    return order;
}

QString Arrangement::formText(Form form) {
    switch (form) {
    case Form::rows:
        return QStringLiteral("rows");
    case Form::rings:
        return QStringLiteral("rings");
    case Form::spiral:
        return QStringLiteral("spiral");
    case Form::stacks:
        return QStringLiteral("stacks");
    }
    return QStringLiteral("rows");
}

Arrangement::Form Arrangement::formFromText(const QString& text) {
    if (text == QLatin1String("rings")) {
        return Form::rings;
    }
    if (text == QLatin1String("spiral") || text == QLatin1String("bloom")) {
        return Form::spiral;
    }
    if (text == QLatin1String("stacks")) {
        return Form::stacks;
    }
    return Form::rows;
}

QString Arrangement::spacingText(Spacing spacing) {
    return spacing == Spacing::value ? QStringLiteral("value") : QStringLiteral("even");
}

std::optional<Arrangement::Spacing> Arrangement::spacingFromText(const QString& text) {
    if (text == QLatin1String("value")) {
        return Spacing::value;
    }
    if (text == QLatin1String("even")) {
        return Spacing::even;
    }
    return std::nullopt;
}

} // namespace corvantis
