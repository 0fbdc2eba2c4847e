#include "kit/ai/CodexModels.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace corvantis::CodexModels {

namespace {

QString userHome() {
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir && *entry->pw_dir)
        return QString::fromLocal8Bit(entry->pw_dir);
    return QDir::homePath();
}

// The last read of the cache: which file, its date, and what it gave.
struct Memo {
    QString path;
    QDateTime date;
    QList<AIModel> models;
};

std::mutex memoLock;
std::optional<Memo> memo;

} // namespace

QString cacheURL() {
    const QString folder = qEnvironmentVariableIsSet("CODEX_HOME") ? qEnvironmentVariable("CODEX_HOME")
                                                                   : userHome() + QStringLiteral("/.codex");
    return QDir(folder).filePath(QStringLiteral("models_cache.json"));
}

QList<AIModel> catalog() {
    const QString path = cacheURL();
    const QFileInfo info(path);
    // A missing file or date reads as the distant past, so it matches a memo of a missing file too.
    QDateTime date = info.exists() ? info.lastModified().toUTC() : QDateTime();
    if (!date.isValid())
        date = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
    {
        std::lock_guard guard(memoLock);
        if (memo && memo->path == path && memo->date == date)
            return memo->models;
    }
    QList<AIModel> models;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        if (auto parsed = parse(file.readAll()))
            models = *parsed;
    }
    if (models.isEmpty())
        models = fallback();
    std::lock_guard guard(memoLock);
    memo = Memo{path, date, models};
    return models;
}

std::optional<QList<AIModel>> parse(const QByteArray& data) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonValue list = document.object().value(QLatin1String("models"));
    if (!list.isArray())
        return std::nullopt;
    struct Entry {
        AIModel model;
        int priority;
    };
    QList<Entry> entries;
    for (const QJsonValue& item : list.toArray()) {
        if (!item.isObject())
            continue;
        const QJsonObject object = item.toObject();
        const QJsonValue slug = object.value(QLatin1String("slug"));
        if (!slug.isString() || slug.toString().isEmpty())
            continue;
        const QString id = slug.toString();
        if (retired().contains(id))
            continue;
        const QJsonValue visibility = object.value(QLatin1String("visibility"));
        if (visibility.isString() && visibility.toString() != QLatin1String("list"))
            continue;
        QList<AIEffort> efforts;
        const QJsonValue levels = object.value(QLatin1String("supported_reasoning_levels"));
        for (const QJsonValue& level : levels.toArray()) {
            const QJsonValue effort = level.toObject().value(QLatin1String("effort"));
            if (!effort.isString())
                continue;
            if (auto known = AIEffort::fromID(effort.toString()))
                efforts.append(*known);
        }
        if (efforts.isEmpty())
            efforts = defaultEfforts();
        const QJsonValue name = object.value(QLatin1String("display_name"));
        const QString title =
            name.isString() && !name.toString().isEmpty() ? name.toString() : titleForID(id);
        const QJsonValue priority = object.value(QLatin1String("priority"));
        // Only whole numbers count as a priority; 2.5 or "2" are "of another type".
        int rank = 0;
        if (priority.isDouble() && priority.toDouble() == static_cast<double>(priority.toInteger()))
            rank = static_cast<int>(priority.toInteger());
        entries.append(Entry{AIModel{id, title, efforts}, rank});
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.priority < b.priority; });
    QList<AIModel> models;
    for (const Entry& entry : entries)
        models.append(entry.model);
    return models;
}

QString titleForID(const QString& id) {
    const QStringList pieces = id.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    if (pieces.size() < 2 || pieces.first().toLower() != QLatin1String("gpt"))
        return id;
    QStringList words{QStringLiteral("GPT-") + pieces.at(1)};
    for (qsizetype i = 2; i < pieces.size(); ++i)
        words.append(pieces.at(i).left(1).toUpper() + pieces.at(i).mid(1));
    return words.join(QLatin1Char(' '));
}

const QSet<QString>& retired() {
    static const QSet<QString> ids{QStringLiteral("gpt-5.5"),
                                   QStringLiteral("gpt-5.4"),
                                   QStringLiteral("gpt-5.4-mini"),
                                   QStringLiteral("gpt-5.3-codex"),
                                   QStringLiteral("gpt-5.3-codex-spark"),
                                   QStringLiteral("gpt-5.2")};
    return ids;
}

QList<AIModel> fallback() {
    return {AIModel{QStringLiteral("gpt-6.1-sol"), QStringLiteral("GPT-6.1 Sol"), defaultEfforts()},
            AIModel{QStringLiteral("gpt-6-sol"), QStringLiteral("GPT-6 Sol"), defaultEfforts()},
            AIModel{QStringLiteral("gpt-6-astra"), QStringLiteral("GPT-6 Astra"), defaultEfforts()}};
}

} // namespace corvantis::CodexModels
