// The sharing site of tools/share-site, run with Node.js on 127.0.0.1, against the program's own
// publisher: publishing, updating with the edit key, usernames and their keys, the size limit, and the
// data kept across a restart.
#include "app/app/AppModel.h"
#include "app/app/Publisher.h"
#include "app/graph/ProjectSession.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "tests/support/TestSupport.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// One run of the site's server over a data folder.
class ShareSite {
public:
    ShareSite(const QString& dataDir, const QString& maxBytes = {}) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("PORT", "0");
        env.insert("HOST", "127.0.0.1");
        env.insert("DATA_DIR", dataDir);
        if (!maxBytes.isEmpty())
            env.insert("MAX_BYTES", maxBytes);
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        m_process.start(QStandardPaths::findExecutable("node"),
                        {QStringLiteral(CORVANTIS_SOURCE_DIR "/tools/share-site/server.js")});
        static const QRegularExpression listening("listening on (http://127\\.0\\.0\\.1:\\d+)");
        test::waitUntil(
            [&] {
                m_output += m_process.readAllStandardOutput();
                auto match = listening.match(QString::fromUtf8(m_output));
                if (match.hasMatch())
                    m_url = match.captured(1);
                return !m_url.isEmpty() || m_process.state() == QProcess::NotRunning;
            },
            30000);
    }
    ~ShareSite() {
        m_process.terminate();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
    }
    QString url() const { return m_url; }

private:
    QProcess m_process;
    QByteArray m_output;
    QString m_url;
};

struct Fetched {
    int status = 0;
    QByteArray body;
};

Fetched fetch(QNetworkAccessManager& network, const QUrl& url) {
    QNetworkReply* reply = network.get(QNetworkRequest(url));
    test::waitUntil([&] { return reply->isFinished(); }, 30000);
    Fetched fetched{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll()};
    reply->deleteLater();
    return fetched;
}

bool toolsMissing() {
    return QStandardPaths::findExecutable("node").isEmpty() ||
           QStandardPaths::findExecutable("sqlite3").isEmpty();
}

} // namespace

TEST(ShareSite, PublishUpdateUsersLimitsAndRestart) {
    if (toolsMissing())
        GTEST_SKIP() << "Node.js or the sqlite3 command is not installed: the sharing site can't run here.";
    QTemporaryDir dir;
    const QString data = dir.filePath("site");
    auto site = std::make_unique<ShareSite>(data);
    ASSERT_FALSE(site->url().isEmpty()) << "the sharing site did not start";

    AppModel app(std::make_unique<Settings>(dir.filePath("settings.ini")), dir.filePath("Projects"));
    app.createExample();
    const Project project = app.session()->project();
    Publisher& publisher = app.publisher();
    publisher.setSite(site->url());
    publisher.setUsername("Alice");
    auto publish = [&]() -> Publisher::Result {
        app.publishToWeb(project);
        EXPECT_TRUE(test::waitUntil([&] { return !publisher.isPublishing(); }, 30000));
        return *publisher.result();
    };

    const Publisher::Result first = publish();
    ASSERT_FALSE(first.error) << first.error->toStdString();
    EXPECT_FALSE(first.updated);
    EXPECT_EQ(first.nodes, 12);
    EXPECT_EQ(first.relationships, 13);
    EXPECT_EQ(first.claimed, QString("alice"));
    EXPECT_FALSE(publisher.userKey().isEmpty());
    const auto record = Publisher::record(app.library(), project.id);
    ASSERT_TRUE(record && record->editKey);
    EXPECT_EQ(first.url, QUrl(site->url() + "/g/" + record->slug));

    // The page and its data are there for anyone.
    QNetworkAccessManager network;
    const Fetched page = fetch(network, *first.url);
    EXPECT_EQ(page.status, 200);
    EXPECT_TRUE(page.body.contains("<title>Ideas</title>"));
    const Fetched graph = fetch(network, QUrl(site->url() + "/api/graphs/" + record->slug));
    ASSERT_EQ(graph.status, 200);
    const QJsonObject shared = json::decodeObject(graph.body);
    EXPECT_EQ(shared.value("nodes").toArray().size(), 12);
    EXPECT_EQ(shared.value("relationships").toArray().size(), 13);
    EXPECT_EQ(shared.value("handle").toString(), "alice");
    EXPECT_EQ(fetch(network, QUrl(site->url() + "/g/no-such-graph")).status, 404);

    // Publishing again updates the same page.
    const Publisher::Result second = publish();
    ASSERT_FALSE(second.error) << second.error->toStdString();
    EXPECT_TRUE(second.updated);
    EXPECT_EQ(second.url, first.url);
    EXPECT_FALSE(second.claimed);

    // A wrong edit key is refused, and the record is left as it was.
    Publishing::Record forged = *record;
    forged.editKey = "not-the-key";
    writeFileAtomically(app.library().folder(project.id) + "/publish.json", json::encode(forged.toJson()));
    const Publisher::Result refused = publish();
    EXPECT_EQ(refused.error,
              QString("This page was shared from another copy, and its edit key doesn't match."));
    EXPECT_EQ(Publisher::record(app.library(), project.id)->editKey, QString("not-the-key"));
    writeFileAtomically(app.library().folder(project.id) + "/publish.json", json::encode(record->toJson()));

    // The username is the first publisher's: another copy without its key is refused.
    const QString key = publisher.userKey();
    publisher.setUserKey("");
    EXPECT_EQ(
        publish().error,
        QString("“alice” belongs to someone else. If it is yours, enter its key in Settings › Sharing."));
    publisher.setUserKey(key);

    // A restart keeps everything.
    site = std::make_unique<ShareSite>(data);
    ASSERT_FALSE(site->url().isEmpty());
    publisher.setSite(site->url());
    const Fetched kept = fetch(network, QUrl(site->url() + "/api/graphs/" + record->slug));
    EXPECT_EQ(kept.status, 200);
    EXPECT_EQ(json::decodeObject(kept.body).value("nodes").toArray().size(), 12);

    // A site that takes less than this graph.
    site.reset();
    ShareSite small(dir.filePath("small"), "2000");
    ASSERT_FALSE(small.url().isEmpty());
    publisher.setSite(small.url());
    EXPECT_EQ(publish().error, QString("This graph is too large to share."));
    app.session()->close();
}
