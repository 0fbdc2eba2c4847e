#include "kit/ai/AICommandError.h"
#include "kit/ai/AICommandLine.h"
#include "kit/ai/AILogin.h"
#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QDir>
#include <QJsonArray>
#include <gtest/gtest.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;

namespace {

QString failureOf(QCoro::Task<void> task) {
    try {
        await(std::move(task));
    } catch (const AICommandError& error) {
        return error.message();
    }
    return "no failure";
}

// A JSON web token whose payload holds the given claims; the signature is never checked.
QString token(const QJsonObject& claims) {
    const auto part = [](const QByteArray& bytes) {
        return QString::fromLatin1(
            bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    };
    return part(R"({"alg":"RS256"})") + "." + part(QJsonDocument(claims).toJson(QJsonDocument::Compact)) +
           ".c2ln";
}

} // namespace

TEST(AICommandLine, SearchListsAndEnvironment) {
    ToolHome home;
    EXPECT_EQ(AICommandLine::home(), home.path());
    EXPECT_EQ(ClaudeCodeTransport::candidates().first(), home.path() + "/.local/bin/claude");
    EXPECT_EQ(ClaudeCodeTransport::candidates()[1], home.path() + "/.claude/local/claude");
    EXPECT_EQ(CodexTransport::candidates()[3], home.path() + "/.npm-global/bin/codex");
    EXPECT_EQ(ClaudeCodeTransport::locate(), home.path() + "/.local/bin/claude");
    EXPECT_TRUE(AICommandLine::isInstalled(AIProvider::chatGPT));

    const QProcessEnvironment environment = AICommandLine::environment("/opt/tools/bin/claude");
    EXPECT_EQ(environment.value("PATH"),
              "/opt/tools/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin");
    EXPECT_EQ(environment.value("HOME"), home.path());
    EXPECT_EQ(environment.value("TMPDIR"), QDir::tempPath());
    EXPECT_EQ(environment.value("CLAUDE_CODE_TMPDIR"), QDir::tempPath());

    // Only executable files count.
    QFile plain(home.path() + "/plain");
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.close();
    EXPECT_EQ(AICommandLine::first({home.path() + "/missing", home.path() + "/plain", home.path(),
                                    home.path() + "/.local/bin/codex"}),
              home.path() + "/.local/bin/codex");
    EXPECT_FALSE(AICommandLine::first({home.path() + "/plain"}));
}

TEST(AICommandLine, AccountsAndVersions) {
    ToolHome home;
    // Versions, from what the real tools print (recorded).
    EXPECT_EQ(await(AICommandLine::version(AIProvider::claude)), QString("2.1.197"));
    EXPECT_EQ(await(AICommandLine::version(AIProvider::chatGPT)), QString("0.169.0"));
    EXPECT_EQ(AICommandLine::versionIn("codex-cli 0.169.0"), QString("0.169.0"));
    EXPECT_FALSE(AICommandLine::versionIn("version 7"));

    EXPECT_EQ(await(AICommandLine::account(AIProvider::claude)), AIAccount::signedOut());
    EXPECT_EQ(await(AICommandLine::account(AIProvider::chatGPT)), AIAccount::signedOut());
    ToolHome::account("signed-in");
    EXPECT_EQ(await(AICommandLine::account(AIProvider::claude)),
              (AIAccount{true, QString("ann@example.com")}));
    // Codex names the account by the address in its sign-in token; without a readable one, no name.
    EXPECT_EQ(await(AICommandLine::account(AIProvider::chatGPT)), (AIAccount{true, std::nullopt}));
    QDir().mkpath(home.path() + "/.codex");
    QFile auth(home.path() + "/.codex/auth.json");
    ASSERT_TRUE(auth.open(QIODevice::WriteOnly));
    auth.write(QJsonDocument(
                   QJsonObject{{"tokens", QJsonObject{{"id_token", token({{"email", "bo@example.com"}})}}}})
                   .toJson());
    auth.close();
    EXPECT_EQ(await(AICommandLine::account(AIProvider::chatGPT)),
              (AIAccount{true, QString("bo@example.com")}));
    ToolHome::account("api-key");
    EXPECT_EQ(await(AICommandLine::account(AIProvider::chatGPT)), (AIAccount{true, QString("an API key")}));

    ASSERT_TRUE(auth.open(QIODevice::WriteOnly | QIODevice::Truncate));
    auth.write(R"({"tokens": {"id_token": "not-a-token"}})");
    auth.close();
    EXPECT_FALSE(CodexTransport::signedInEmail());

    ToolHome empty(false);
    EXPECT_FALSE(await(AICommandLine::account(AIProvider::claude)));
    EXPECT_FALSE(await(AICommandLine::version(AIProvider::chatGPT)));
    EXPECT_FALSE(AICommandLine::isInstalled(AIProvider::claude));
}

TEST(AILogin, HandsOverTheFirstCleanLink) {
    ToolHome home;
    EXPECT_EQ(AICommandLine::cleanLine("\x1b[1m\x1b[36m  https://a.example/x?y=1 \x1b[0m\r"),
              "https://a.example/x?y=1");
    EXPECT_EQ(AILogin::linkIn("visit https://a.example/p then"), QString("https://a.example/p"));
    EXPECT_FALSE(AILogin::linkIn("visit http://a.example"));

    AILogin login(AIProvider::claude);
    QStringList links;
    auto task = login.run([&](const QString& link) {
        links.append(link);
        // The tool waits for a code on its standard input.
        login.send("CODE123");
    });
    await(std::move(task));
    EXPECT_EQ(links, QStringList{"https://claude.ai/oauth/authorize?code=true&state=abc"});
    EXPECT_EQ(home.runs().last()["arguments"].toArray(), (QJsonArray{"auth", "login"}));

    ToolHome::scenario("login-fail");
    AILogin failing(AIProvider::chatGPT);
    links.clear();
    EXPECT_EQ(failureOf(failing.run([&](const QString& link) { links.append(link); })),
              "Signing in didn't finish.");
    EXPECT_EQ(links,
              QStringList{"https://auth.openai.com/oauth/authorize?response_type=code&client_id=app_X"});

    // Cancelling ends a sign-in that waits for a code, and isn't a failure.
    ToolHome::scenario("");
    AILogin waiting(AIProvider::claude);
    bool linked = false;
    auto waitingTask = waiting.run([&](const QString&) { linked = true; });
    ASSERT_TRUE(test::waitUntil([&] { return linked; }));
    EXPECT_TRUE(waiting.isRunning());
    waiting.cancel();
    EXPECT_THROW(await(std::move(waitingTask)), Cancelled);
    EXPECT_FALSE(waiting.isRunning());

    ToolHome empty(false);
    AILogin missing(AIProvider::claude);
    EXPECT_EQ(failureOf(missing.run([](const QString&) {})), "Claude Code isn't installed.");
}

namespace {

// The error an update fails with.
std::optional<AICommandError> updateFailure(double timeout = AICommandLine::updateTimeLimit) {
    try {
        await(AICommandLine::update(
                  AIProvider::claude, [](const QString&) {}, CancellationToken(), timeout),
              30000);
    } catch (const AICommandError& error) {
        return error;
    }
    return std::nullopt;
}

} // namespace

TEST(AICommandLine, Updates) {
    ToolHome home;
    QStringList lines;
    await(AICommandLine::update(AIProvider::claude, [&](const QString& line) { lines.append(line); }));
    EXPECT_EQ(lines, (QStringList{"Current version: 2.1.197", "Checking for updates...",
                                  "Successfully updated from 2.1.197 to 2.1.200"}));
    EXPECT_GE(AICommandLine::updateTimeLimit, 60);

    // A failed update keeps its last line, to show beside the sentence.
    ToolHome::scenario("update-fail");
    auto failed = updateFailure();
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->message(), "Claude Code couldn't update.");
    EXPECT_EQ(failed->detail(), QString("Error: could not reach the update server"));

    // An update that hangs is stopped at its time limit.
    ToolHome::scenario("update-hang");
    auto hung = updateFailure(1);
    ASSERT_TRUE(hung);
    EXPECT_EQ(hung->message(), "Claude Code's update took too long and was stopped.");
    EXPECT_EQ(hung->detail(), QString("Downloading 2.1.200..."));

    // And it can be cancelled, which isn't a failure.
    CancellationToken token;
    lines.clear();
    auto cancelled = AICommandLine::update(
        AIProvider::claude,
        [&](const QString& line) {
            lines.append(line);
            if (line.startsWith("Downloading"))
                token.cancel();
        },
        token);
    EXPECT_THROW(await(std::move(cancelled), 30000), Cancelled);
    EXPECT_EQ(lines.last(), "Downloading 2.1.200...");

    ToolHome::scenario("update-fail");
    EXPECT_EQ(failureOf(AICommandLine::update(AIProvider::chatGPT, [](const QString&) {})),
              "Update Codex in a terminal.");
    ToolHome empty(false);
    EXPECT_EQ(failureOf(AICommandLine::update(AIProvider::claude, [](const QString&) {})),
              "Claude Code isn't installed.");
}
