#include "app/app/Settings.h"

#include "kit/support/Json.h"

namespace corvantis {

namespace {

QString providerKey(AIProvider provider, const QString& key) {
    return provider == AIProvider::claude ? key : QStringLiteral("chatGPT.") + key;
}

// A stored id stands only when it is not empty and belongs to the provider: ids beginning "claude-" are
// Claude's, every other id is ChatGPT's.
AIModel storedModel(const QVariant& stored, AIProvider provider, const AIModel& fallback) {
    QString id = stored.toString();
    if (id.isEmpty())
        return fallback;
    bool isClaude = id.startsWith(QStringLiteral("claude-"));
    if (isClaude != (provider == AIProvider::claude))
        return fallback;
    return AIModel::resolve(id);
}

AIEffort storedEffort(const QVariant& stored, AIEffort fallback, const AIModel& model) {
    AIEffort effort = AIEffort::fromID(stored.toString()).value_or(fallback);
    return model.nearest(effort);
}

QSet<QUuid> uuidSet(const QVariant& stored) {
    QSet<QUuid> ids;
    for (const QString& text : stored.toStringList())
        if (auto id = json::parseUuid(text))
            ids.insert(*id);
    return ids;
}

// Sorted, so that the same set is always written alike.
QStringList uuidTexts(const QSet<QUuid>& ids) {
    QStringList texts;
    for (const QUuid& id : ids)
        texts << json::uuidText(id);
    texts.sort();
    return texts;
}

QString scopeKey(const char* prefix, const QUuid& project) {
    return QString::fromLatin1(prefix) + json::uuidText(project);
}

} // namespace

Settings::Settings()
    : m_settings(std::make_unique<QSettings>(QStringLiteral("Corvantis"), QStringLiteral("Corvantis"))) {
}

Settings::Settings(const QString& iniPath)
    : m_settings(std::make_unique<QSettings>(iniPath, QSettings::IniFormat)) {
}

Settings::~Settings() = default;

bool Settings::mcpEnabled() const {
    QVariant stored = m_settings->value("mcp.enabled");
    return stored.isValid() ? stored.toBool() : true;
}

void Settings::setMcpEnabled(bool enabled) {
    m_settings->setValue("mcp.enabled", enabled);
}

bool Settings::sidebarHidden() const {
    return m_settings->value("sidebarHidden", false).toBool();
}

void Settings::setSidebarHidden(bool hidden) {
    m_settings->setValue("sidebarHidden", hidden);
}

AIProvider Settings::provider() const {
    return AIProvider::fromID(m_settings->value("aiProvider").toString()).value_or(AIProvider::claude);
}

void Settings::setProvider(AIProvider provider) {
    m_settings->setValue("aiProvider", provider.id());
}

QueryMode Settings::queryMode() const {
    return QueryModes::fromId(m_settings->value("queryMode").toString()).value_or(QueryMode::Auto);
}

void Settings::setQueryMode(QueryMode mode) {
    m_settings->setValue("queryMode", QueryModes::id(mode));
}

Appearance Settings::appearance() const {
    return Appearances::fromId(m_settings->value("appearance").toString()).value_or(Appearance::System);
}

void Settings::setAppearance(Appearance appearance) {
    m_settings->setValue("appearance", Appearances::id(appearance));
}

ModelChoice Settings::modelChoice(AIProvider provider) const {
    ModelChoice choice;
    choice.model =
        storedModel(m_settings->value(providerKey(provider, "model")), provider, provider.defaultModel());
    choice.effort =
        storedEffort(m_settings->value(providerKey(provider, "effort")), AIEffort::medium, choice.model);
    choice.routerModel = storedModel(m_settings->value(providerKey(provider, "routerModel")), provider,
                                     provider.defaultRouterModel());
    choice.routerEffort = storedEffort(m_settings->value(providerKey(provider, "routerEffort")),
                                       AIEffort::low, choice.routerModel);
    return choice;
}

void Settings::saveModelChoice(AIProvider provider, const ModelChoice& choice) {
    m_settings->setValue(providerKey(provider, "model"), choice.model.id);
    m_settings->setValue(providerKey(provider, "effort"), choice.effort.id());
    m_settings->setValue(providerKey(provider, "routerModel"), choice.routerModel.id);
    m_settings->setValue(providerKey(provider, "routerEffort"), choice.routerEffort.id());
}

std::optional<QUuid> Settings::lastProject() const {
    return json::parseUuid(m_settings->value("lastProject").toString());
}

void Settings::setLastProject(const QUuid& id) {
    m_settings->setValue("lastProject", json::uuidText(id));
}

void Settings::removeLastProject() {
    m_settings->remove("lastProject");
}

void Settings::removeApiKey() {
    m_settings->remove("apiKey");
}

QVariant Settings::value(const QString& key) const {
    return m_settings->value(key);
}

void Settings::setValue(const QString& key, const QVariant& value) {
    m_settings->setValue(key, value);
}

void Settings::remove(const QString& key) {
    m_settings->remove(key);
}

void Settings::sync() {
    m_settings->sync();
}

bool Settings::addsByHand() const {
    return m_settings->value("graph.addsByHand", false).toBool();
}

void Settings::setAddsByHand(bool byHand) {
    m_settings->setValue("graph.addsByHand", byHand);
}

int Settings::neighbourLimit() const {
    bool ok = false;
    const int limit = m_settings->value("graph.neighbourLimit").toInt(&ok);
    return ok && limit >= 1 ? limit : 25;
}

void Settings::setNeighbourLimit(int limit) {
    m_settings->setValue("graph.neighbourLimit", limit);
}

QString Settings::savedLens(const QUuid& project) const {
    return m_settings->value(scopeKey("lens.", project)).toString();
}

void Settings::setSavedLens(const QUuid& project, const QString& json) {
    m_settings->setValue(scopeKey("lens.", project), json);
}

QSet<QUuid> Settings::searchScope(const QUuid& project) const {
    return uuidSet(m_settings->value(scopeKey("searchScope.", project)));
}

void Settings::setSearchScope(const QUuid& project, const QSet<QUuid>& excluded) {
    m_settings->setValue(scopeKey("searchScope.", project), uuidTexts(excluded));
}

QSet<QUuid> Settings::textScope(const QUuid& project) const {
    return uuidSet(m_settings->value(scopeKey("textScope.", project)));
}

void Settings::setTextScope(const QUuid& project, const QSet<QUuid>& excluded) {
    m_settings->setValue(scopeKey("textScope.", project), uuidTexts(excluded));
}

} // namespace corvantis
