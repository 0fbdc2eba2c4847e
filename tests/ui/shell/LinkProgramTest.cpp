// The real program and its links: the command line it refuses, one copy per user that takes a later
// start's link, and the desktop entry it writes; all in temporary folders.
#include "kit/projects/ExampleProject.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

const QString program = QStringLiteral(CORVANTIS_BIN_DIR "/corvantis");

struct Sandbox {
    QTemporaryDir dir;
    QProcessEnvironment env() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("CORVANTIS_HOME", dir.filePath("corvantis"));
        env.insert("XDG_CONFIG_HOME", dir.filePath("config"));
        env.insert("HOME", dir.filePath("home"));
        env.insert("XDG_DATA_HOME", dir.filePath("home/.local/share"));
        env.insert("XDG_RUNTIME_DIR", dir.path());
        env.insert("PATH", dir.filePath("bin") + ':' + env.value("PATH"));
        env.insert("XDG_MIME_LOG", dir.filePath("xdg-mime.log"));
        return env;
    }
    int run(const QStringList& arguments) const {
        QProcess process;
        process.setProcessEnvironment(env());
        process.start(program, arguments);
        if (!process.waitForFinished(30000))
            return -1;
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    }
};

} // namespace

TEST(LinkProgram, RefusesAnyOtherCommandLine) {
    Sandbox sandbox;
    EXPECT_EQ(sandbox.run({"--help"}), 2);
    EXPECT_EQ(sandbox.run({"https://example.org/graph.json"}), 2);
    EXPECT_EQ(sandbox.run({"corvantis://import?url=a", "corvantis://import?url=b"}), 2);
    // Refused before anything started: no data folder, no entry.
    EXPECT_FALSE(QDir(sandbox.dir.filePath("corvantis")).exists());
    EXPECT_FALSE(QDir(sandbox.dir.filePath("home")).exists());
}

TEST(LinkProgram, SecondStartHandsItsLinkToTheRunningCopy) {
    Sandbox sandbox;
    writeFileAtomically(sandbox.dir.filePath("bin/xdg-mime"),
                        "#!/bin/sh\necho \"$@\" >> \"$XDG_MIME_LOG\"\n");
    QFile::setPermissions(sandbox.dir.filePath("bin/xdg-mime"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray exported = ExampleProject::make().encode();
    test::LocalHttpServer server([&](const test::HttpRequest&) {
        return test::HttpResponse{200, exported, {}};
    });

    QProcess first;
    first.setProcessEnvironment(sandbox.env());
    first.setProcessChannelMode(QProcess::ForwardedChannels);
    first.start(program, {});
    ASSERT_TRUE(first.waitForStarted(10000));

    // The entry is written at start, and the scheme registered.
    const QString entry = sandbox.dir.filePath("home/.local/share/applications/corvantis.desktop");
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(entry); }, 30000));
    const QString text = QString::fromUtf8(readFile(entry));
    EXPECT_TRUE(text.contains("\nExec=" + QFileInfo(program).canonicalFilePath() + " %u\n"))
        << text.toStdString();
    EXPECT_TRUE(text.contains("\nMimeType=x-scheme-handler/corvantis;\n"));
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(sandbox.dir.filePath("xdg-mime.log")); }, 30000));
    ASSERT_TRUE(
        test::waitUntil([&] { return readFile(sandbox.dir.filePath("xdg-mime.log")).contains('\n'); }));
    EXPECT_EQ(readFile(sandbox.dir.filePath("xdg-mime.log")),
              "default corvantis.desktop x-scheme-handler/corvantis\n");

    // A later start with a link: it hands the link over and ends; the running copy fetches and imports.
    const QString link =
        "corvantis://import?url=" +
        QString::fromLatin1(QUrl::toPercentEncoding(server.url("/shared/ideas.json").toString()));
    QProcess second;
    second.setProcessEnvironment(sandbox.env());
    second.start(program, {link});
    ASSERT_TRUE(test::waitUntil([&] { return second.state() == QProcess::NotRunning; }, 30000));
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0);
    ASSERT_TRUE(test::waitUntil([&] { return server.requestCount("/shared/ideas.json") == 1; }, 30000));
    const QString projects = sandbox.dir.filePath("corvantis/Projects");
    ASSERT_TRUE(test::waitUntil(
        [&] {
            const QStringList folders = QDir(projects).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return folders.size() == 1 && QFile::exists(projects + '/' + folders.first() + "/graph.lbug");
        },
        30000));
    EXPECT_EQ(first.state(), QProcess::Running);

    ::kill(static_cast<pid_t>(first.processId()), SIGTERM);
    ASSERT_TRUE(first.waitForFinished(30000));
    EXPECT_EQ(first.exitCode(), 0);
}
