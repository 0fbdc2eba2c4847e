#include "kit/tablet/BridgeRoute.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cstring>

namespace corvantis::tablet {

BridgeRoute route(const QString& path, const std::optional<QString>& key, const QString& engine) {
    const QString prefix = QLatin1Char('/') + key.value_or(QString());
    if (!key || key->isEmpty() || !path.startsWith(prefix))
        return {BridgeRoute::Kind::Expired, {}};
    const QString rest = path.mid(prefix.size());
    if (rest.isEmpty())
        return {BridgeRoute::Kind::Redirect, prefix + QLatin1Char('/')};
    if (rest == QLatin1String("/"))
        return {BridgeRoute::Kind::Page, {}};
    if (!rest.startsWith(QLatin1String("/qd/")))
        return {BridgeRoute::Kind::Missing, {}};
    const QString folder = QDir::cleanPath(QDir(engine).filePath(QStringLiteral("qd")));
    const QString file = QDir::cleanPath(folder + QLatin1Char('/') + rest.mid(4));
    if (!file.startsWith(folder + QLatin1Char('/')) || !QFileInfo(file).isFile())
        return {BridgeRoute::Kind::Missing, {}};
    return {BridgeRoute::Kind::File, file};
}

QString newKey() {
    const auto letters = static_cast<quint32>(std::strlen(keyAlphabet));
    QString key;
    for (int i = 0; i < 10; ++i)
        key.append(QLatin1Char(keyAlphabet[QRandomGenerator::system()->bounded(letters)]));
    return key;
}

} // namespace corvantis::tablet
