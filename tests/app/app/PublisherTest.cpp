// Publishing to a sharing site on 127.0.0.1: the request, the record it leaves, and the failures.
#include "app/app/Publisher.h"

#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "kit/projects/ExampleProject.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Gzip.h"
#include "kit/support/Json.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"

#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <zlib.h>

using namespace corvantis;
using test::HttpRequest;
using test::HttpResponse;
using test::LocalHttpServer;

namespace {

// The plain bytes of a gzip member; zlib checks the CRC-32 and length of its trailer.
std::optional<QByteArray> gunzip(const QByteArray& data) {
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return std::nullopt;
    QByteArray out;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    int status = Z_OK;
    char chunk[16384];
    while (status == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(chunk);
        stream.avail_out = sizeof chunk;
        status = inflate(&stream, Z_NO_FLUSH);
        out.append(chunk, qsizetype(sizeof chunk - stream.avail_out));
    }
    inflateEnd(&stream);
    if (status != Z_STREAM_END || stream.avail_in != 0)
        return std::nullopt;
    return out;
}

// A sharing site that answers the way the real one does, counting what it was sent.
struct Site {
    int published = 0;
    int status = 200;
    QByteArray failureBody;
    LocalHttpServer server{[this](const HttpRequest& request) {
        return answer(request);
    }};

    HttpResponse answer(const HttpRequest& request) {
        if (status != 200)
            return {status, failureBody, {}};
        const bool update = request.query.hasQueryItem("slug");
        ++published;
        QJsonObject response{{"slug", update ? request.query.queryItemValue("slug") : QString("ideas-1")},
                             {"url", server.url("/g/ideas-1").toString()},
                             {"nodes", 12},
                             {"relationships", 13},
                             {"updated", update}};
        if (!update) {
            response.insert("editKey", "edit-secret");
            response.insert("user",
                            QJsonObject{{"handle", "alice"}, {"name", "Alice"}, {"key", "user-secret"}});
        }
        return {200, json::encode(response), {{"Content-Type", "application/json"}}};
    }
};

struct Fixture {
    QTemporaryDir dir;
    std::unique_ptr<AppModel> app = std::make_unique<AppModel>(
        std::make_unique<Settings>(dir.filePath("settings.ini")), dir.filePath("Corvantis/Projects"));
    Project project;
    Fixture() {
        app->createExample();
        project = app->session()->project();
    }
    ~Fixture() {
        if (app->session())
            app->session()->close();
    }
    const Publisher::Result& publish() {
        app->publishToWeb(project);
        EXPECT_TRUE(test::waitUntil([&] { return !app->publisher().isPublishing(); }));
        return *app->publisher().result();
    }
    std::optional<Publishing::Record> record() const { return Publisher::record(app->library(), project.id); }
};

} // namespace

TEST(Publisher, GzipIsAValidMemberWithItsCrcAndLength) {
    const QByteArray plain = ExampleProject::make().encode();
    const auto compressed = gzip(plain);
    ASSERT_TRUE(compressed.has_value());
    EXPECT_LT(compressed->size(), plain.size());
    EXPECT_TRUE(compressed->startsWith("\x1f\x8b\x08"));
    EXPECT_EQ(gunzip(*compressed), plain);
    EXPECT_EQ(crc32("123456789"), 0xCBF43926u); // the check value of CRC-32
    const QByteArray tail = compressed->right(8);
    quint32 crc = 0, length = 0;
    for (int i = 3; i >= 0; --i) {
        crc = (crc << 8) | quint8(tail[i]);
        length = (length << 8) | quint8(tail[4 + i]);
    }
    EXPECT_EQ(crc, crc32(plain));
    EXPECT_EQ(length, quint32(plain.size()));
}

TEST(Publisher, PublishThenUpdateThenAnotherSite) {
    Fixture f;
    Site site;
    Publisher& publisher = f.app->publisher();
    publisher.setSite(site.server.url("/").toString()); // a trailing "/" is dropped
    publisher.setUsername(" alice ");
    publisher.setOwnerKey("owner-secret");

    const Publisher::Result first = f.publish();
    ASSERT_FALSE(first.error) << first.error->toStdString();
    ASSERT_EQ(site.server.requests().size(), 1);
    const HttpRequest& sent = site.server.requests().first();
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.path, "/api/publish");
    EXPECT_EQ(sent.query.toString(), "user=alice");
    EXPECT_EQ(sent.headers.value("content-type"), "application/json");
    EXPECT_EQ(sent.headers.value("content-encoding"), "gzip");
    EXPECT_EQ(sent.headers.value("x-publish-key"), "owner-secret");
    EXPECT_FALSE(sent.headers.contains("x-edit-key"));
    EXPECT_FALSE(sent.headers.contains("x-user-key"));
    const auto body = gunzip(sent.body);
    ASSERT_TRUE(body.has_value());
    const ProjectExport exported = ProjectExport::decode(*body);
    EXPECT_EQ(exported.project.id, f.project.id);
    EXPECT_EQ(exported.nodes.size(), 12);
    EXPECT_EQ(exported.relationships.size(), 13);

    EXPECT_EQ(first.url, site.server.url("/g/ideas-1"));
    EXPECT_EQ(first.nodes, 12);
    EXPECT_FALSE(first.updated);
    EXPECT_EQ(first.claimed, QString("alice"));
    EXPECT_EQ(publisher.userKey(), "user-secret");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), site.server.url("/g/ideas-1").toString());
    EXPECT_EQ(Publisher::heading(first), "Public on the web");
    EXPECT_TRUE(Publisher::summary(first).startsWith("12 nodes and 13 relationships. “Ideas”, read-only"));
    auto record = f.record();
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->slug, "ideas-1");
    EXPECT_EQ(record->editKey, QString("edit-secret"));
    EXPECT_EQ(record->site, site.server.url("/").toString().trimmed());
    // The keys are kept in the settings.
    Settings stored(f.dir.filePath("settings.ini"));
    EXPECT_EQ(stored.publishText("userKey"), "user-secret");

    // Again: the same page, with the slug and the edit key of the first; the old edit key is kept.
    const Publisher::Result second = f.publish();
    ASSERT_FALSE(second.error);
    ASSERT_EQ(site.server.requests().size(), 2);
    const HttpRequest& update = site.server.requests()[1];
    EXPECT_EQ(update.query.queryItemValue("slug"), "ideas-1");
    EXPECT_EQ(update.query.queryItemValue("user"), "alice");
    EXPECT_EQ(update.headers.value("x-edit-key"), "edit-secret");
    EXPECT_EQ(update.headers.value("x-user-key"), "user-secret");
    EXPECT_TRUE(second.updated);
    EXPECT_FALSE(second.claimed);
    EXPECT_EQ(Publisher::heading(second), "Updated on the web");
    EXPECT_EQ(f.record()->editKey, QString("edit-secret"));

    // Another site: a new page there; the old record is not sent.
    Site other;
    publisher.setSite(other.server.url("").toString());
    const Publisher::Result third = f.publish();
    ASSERT_FALSE(third.error);
    ASSERT_EQ(other.server.requests().size(), 1);
    EXPECT_FALSE(other.server.requests().first().query.hasQueryItem("slug"));
    EXPECT_FALSE(other.server.requests().first().headers.contains("x-edit-key"));
    EXPECT_EQ(f.record()->site, other.server.url("").toString());
}

TEST(Publisher, FailuresSayWhyAndWriteNoRecord) {
    Fixture f;
    Site site;
    Publisher& publisher = f.app->publisher();

    // Nothing goes out without a username, nor without a site.
    publisher.setSite(site.server.url("").toString());
    EXPECT_EQ(f.publish().error,
              QString("Choose a username in Settings › Sharing first: public graphs are listed by "
                      "who shared them."));
    publisher.setUsername("alice");
    publisher.setSite("   ");
    EXPECT_TRUE(f.publish().error->startsWith("Choose a sharing site in Settings › Sharing first"));
    publisher.setSite("not a site");
    EXPECT_EQ(f.publish().error, QString("The sharing site's address isn't a URL."));
    EXPECT_TRUE(site.server.requests().isEmpty());

    publisher.setSite(site.server.url("").toString());
    site.status = 413;
    site.failureBody = R"({"error": "whatever the body says"})";
    EXPECT_EQ(f.publish().error, QString("This graph is too large to share."));
    site.status = 403;
    EXPECT_EQ(f.publish().error, QString("whatever the body says"));
    site.status = 500;
    site.failureBody = "<html>oops</html>";
    EXPECT_EQ(f.publish().error, QString("The site answered 500."));
    EXPECT_EQ(site.server.requests().size(), 3);
    EXPECT_FALSE(f.record().has_value());
    EXPECT_FALSE(QFile::exists(f.app->library().folder(f.project.id) + "/publish.json"));
}
