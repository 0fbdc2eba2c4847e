#include "app/app/Publisher.h"

#include "app/app/Settings.h"
#include "kit/projects/ProjectExport.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Counted.h"
#include "kit/support/Gzip.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

namespace corvantis {

namespace {

constexpr int publishTimeoutMs = 120 * 1000;

QString recordPath(const ProjectLibrary& library, const QUuid& id) {
    return library.folder(id) + QStringLiteral("/publish.json");
}

} // namespace

Publisher::Publisher(Settings* settings, QNetworkAccessManager* network, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_network(network) {
    if (m_settings) {
        m_site = m_settings->publishText(QStringLiteral("site"));
        m_username = m_settings->publishText(QStringLiteral("username"));
        m_userKey = m_settings->publishText(QStringLiteral("userKey"));
        m_ownerKey = m_settings->publishText(QStringLiteral("ownerKey"));
    }
}

void Publisher::setSite(const QString& site) {
    if (m_site == site)
        return;
    m_site = site;
    if (m_settings)
        m_settings->setPublishText(QStringLiteral("site"), site);
    emit settingsChanged();
}

void Publisher::setUsername(const QString& username) {
    if (m_username == username)
        return;
    m_username = username;
    if (m_settings)
        m_settings->setPublishText(QStringLiteral("username"), username);
    emit settingsChanged();
}

void Publisher::setUserKey(const QString& key) {
    if (m_userKey == key)
        return;
    m_userKey = key;
    if (m_settings)
        m_settings->setPublishText(QStringLiteral("userKey"), key);
    emit settingsChanged();
}

void Publisher::setOwnerKey(const QString& key) {
    if (m_ownerKey == key)
        return;
    m_ownerKey = key;
    if (m_settings)
        m_settings->setPublishText(QStringLiteral("ownerKey"), key);
    emit settingsChanged();
}

void Publisher::clearResult() {
    if (!m_result)
        return;
    m_result.reset();
    emit resultChanged();
}

std::optional<Publishing::Record> Publisher::record(const ProjectLibrary& library, const QUuid& id) {
    try {
        return Publishing::Record::fromJson(json::decodeObject(readFile(recordPath(library, id))));
    } catch (const json::DecodeError&) {
    } catch (const FileError&) {
    }
    return std::nullopt;
}

void Publisher::finish(Result result) {
    m_result = std::move(result);
    m_isPublishing = false;
    emit resultChanged();
    emit isPublishingChanged();
}

void Publisher::publish(const Project& project, const QByteArray& exportData, const ProjectLibrary& library) {
    if (m_isPublishing)
        return;
    m_isPublishing = true;
    m_result.reset();
    emit isPublishingChanged();
    emit resultChanged();

    Result result;
    result.id = project.id;
    result.projectName = project.name;
    if (m_username.trimmed().isEmpty()) {
        result.error =
            QStringLiteral("Choose a username in Settings › Sharing first: public graphs are listed by who "
                           "shared them.");
        return finish(result);
    }
    const QString site = m_site.trimmed();
    if (site.isEmpty()) {
        result.error =
            QStringLiteral("Choose a sharing site in Settings › Sharing first: Corvantis has no site of "
                           "its own, and you can run one yourself (tools/share-site).");
        return finish(result);
    }
    auto endpoint = Publishing::endpoint(site);
    if (!endpoint) {
        result.error = QStringLiteral("The sharing site's address isn't a URL.");
        return finish(result);
    }
    // A record of another site is never sent to this one.
    std::optional<Publishing::Record> previous = record(library, project.id);
    if (previous && previous->site != site)
        previous.reset();

    QUrl url = *endpoint;
    QUrlQuery query;
    if (previous)
        query.addQueryItem(QStringLiteral("slug"), previous->slug);
    query.addQueryItem(QStringLiteral("user"), m_username.trimmed());
    url.setQuery(query);
    QNetworkRequest request(url);
    request.setTransferTimeout(publishTimeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    if (!m_ownerKey.trimmed().isEmpty())
        request.setRawHeader("X-Publish-Key", m_ownerKey.trimmed().toUtf8());
    if (previous && previous->editKey)
        request.setRawHeader("X-Edit-Key", previous->editKey->toUtf8());
    if (!m_userKey.trimmed().isEmpty())
        request.setRawHeader("X-User-Key", m_userKey.trimmed().toUtf8());
    QByteArray body = exportData;
    if (auto compressed = gzip(exportData)) {
        body = *compressed;
        request.setRawHeader("Content-Encoding", "gzip");
    }

    QNetworkReply* reply = m_network->post(request, body);
    const QString projectFolder = library.folder(project.id);
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, result, previous, site, projectFolder, library, id = project.id]() mutable {
                reply->deleteLater();
                const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                const QByteArray answer = reply->readAll();
                if (status == 0) {
                    result.error = reply->errorString();
                    return finish(result);
                }
                if (status != 200) {
                    result.error = Publishing::failureText(status, answer);
                    return finish(result);
                }
                Publishing::Response response;
                try {
                    response = Publishing::Response::fromJson(json::decodeObject(answer));
                } catch (const json::DecodeError&) {
                    result.error = QStringLiteral("The sharing site's answer couldn't be read.");
                    return finish(result);
                }
                Publishing::Record written{response.slug, response.url,
                                           response.editKey ? response.editKey
                                                            : (previous ? previous->editKey : std::nullopt),
                                           site, QDateTime::currentDateTimeUtc()};
                try {
                    writeFileAtomically(recordPath(library, id), json::encode(written.toJson()));
                } catch (const FileError& error) {
                    result.error = error.message();
                    return finish(result);
                }
                if (response.user && response.user->key) {
                    setUserKey(*response.user->key);
                    result.claimed = response.user->handle;
                }
                result.url = QUrl(response.url);
                result.nodes = response.nodes;
                result.relationships = response.relationships;
                result.updated = response.updated;
                if (auto* clipboard = QGuiApplication::clipboard())
                    clipboard->setText(response.url);
                finish(result);
            });
}

QString Publisher::heading(const Result& result) {
    if (result.error)
        return QStringLiteral("Couldn't share “%1”").arg(result.projectName);
    return result.updated ? QStringLiteral("Updated on the web") : QStringLiteral("Public on the web");
}

QString Publisher::summary(const Result& result) {
    if (result.error)
        return *result.error;
    QString text = counted(result.nodes, QStringLiteral("node")) + QStringLiteral(" and ") +
                   counted(result.relationships, QStringLiteral("relationship")) + QStringLiteral(". “") +
                   result.projectName +
                   QStringLiteral("”, read-only, for anyone with the link. The link is on your clipboard.");
    if (result.claimed)
        text += QStringLiteral(
                    "\n\n“%1” is now yours. Its key is saved in Settings › Sharing; keep a copy to share "
                    "under it from another computer or the web.")
                    .arg(*result.claimed);
    return text;
}

} // namespace corvantis
