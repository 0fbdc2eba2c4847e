#pragma once

#include "kit/links/Publishing.h"
#include "kit/projects/ProjectLibrary.h"

#include <QObject>
#include <QUrl>
#include <QUuid>
#include <optional>

class QNetworkAccessManager;

namespace corvantis {

class Settings;

// Puts a project's export on a sharing site as a public read-only page, and remembers per project where
// it went ("publish.json"), so that the next publish updates the same page. Lives on the main thread;
// only the request is awaited.
class Publisher : public QObject {
    Q_OBJECT
public:
    // What the person is told after each attempt.
    struct Result {
        QUuid id;
        QString projectName;
        std::optional<QUrl> url;
        int nodes = 0;
        int relationships = 0;
        bool updated = false;
        std::optional<QString> error;
        std::optional<QString> claimed; // the handle just claimed
        bool operator==(const Result& other) const = default;
    };

    Publisher(Settings* settings, QNetworkAccessManager* network, QObject* parent = nullptr);

    // The sharing site's base address, the username public graphs are listed under, the key that
    // proves the username is this person's, and the site owner's key. Each is saved as it changes.
    QString site() const { return m_site; }
    void setSite(const QString& site);
    QString username() const { return m_username; }
    void setUsername(const QString& username);
    QString userKey() const { return m_userKey; }
    void setUserKey(const QString& key);
    QString ownerKey() const { return m_ownerKey; }
    void setOwnerKey(const QString& key);

    bool isPublishing() const { return m_isPublishing; }
    const std::optional<Result>& result() const { return m_result; }
    void clearResult();

    // Sends the export; never fails, and ends by setting `result`. A record is written only after a
    // success, and only a record of the same site is sent.
    void publish(const Project& project, const QByteArray& exportData, const ProjectLibrary& library);
    // The record of where a project went, if it was published.
    static std::optional<Publishing::Record> record(const ProjectLibrary& library, const QUuid& id);

    // The sentence that the person reads after a success, under its heading.
    static QString heading(const Result& result);
    static QString summary(const Result& result);

signals:
    void settingsChanged();
    void isPublishingChanged();
    void resultChanged();

private:
    void finish(Result result);

    Settings* m_settings;
    QNetworkAccessManager* m_network;
    QString m_site;
    QString m_username;
    QString m_userKey;
    QString m_ownerKey;
    bool m_isPublishing = false;
    std::optional<Result> m_result;
};

} // namespace corvantis
