// One running copy per user, the command line it accepts, and its desktop entry.
#include "app/app/SingleInstance.h"

#include "app/app/DesktopEntry.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/TestSupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUuid>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(SingleInstance, CommandLineTakesNothingOrOneLinkOfItsScheme) {
    auto none = linkArgument({});
    ASSERT_TRUE(none.has_value());
    EXPECT_FALSE(none->has_value());
    auto one = linkArgument({"corvantis://import?url=https%3A%2F%2Fexample.org%2Fg.json"});
    ASSERT_TRUE(one && *one);
    EXPECT_EQ((*one)->host(), "import");
    EXPECT_FALSE(linkArgument({"--help"}));
    EXPECT_FALSE(linkArgument({"/home/me/graph.json"}));
    EXPECT_FALSE(linkArgument({"https://example.org/g.json"}));
    EXPECT_FALSE(linkArgument({"corvantis://import?url=a", "corvantis://import?url=b"}));
}

TEST(SingleInstance, LaterStartHandsItsLinkToTheRunningCopy) {
    const QString name = "corvantis-test-" + QUuid::createUuid().toString(QUuid::Id128);
    SingleInstance running(name);
    SingleInstance later(name);
    // Nobody listens yet: the later start would run as the first copy.
    EXPECT_FALSE(later.handOver(QUrl("corvantis://import?url=x")));
    ASSERT_TRUE(running.listen());

    QList<std::optional<QUrl>> received;
    QObject::connect(&running, &SingleInstance::activated,
                     [&](const std::optional<QUrl>& link) { received.append(link); });
    const QUrl link("corvantis://import?url=https%3A%2F%2Fexample.org%2Fa%20b.json");
    // handOver blocks until the running copy has read the line, so run it beside the event loop.
    bool handed = false;
    QMetaObject::invokeMethod(
        &later, [&] { handed = later.handOver(link); }, Qt::QueuedConnection);
    ASSERT_TRUE(test::waitUntil([&] { return received.size() == 1; }));
    EXPECT_EQ(received.first(), std::optional<QUrl>(link));
    EXPECT_TRUE(handed);

    // A third copy that could not hand over does not take the name from the copy that answers.
    SingleInstance third(name);
    EXPECT_FALSE(third.listen());
    bool handedAgain = false;
    QMetaObject::invokeMethod(
        &later, [&] { handedAgain = later.handOver(std::nullopt); }, Qt::QueuedConnection);
    ASSERT_TRUE(test::waitUntil([&] { return received.size() == 2; }));
    EXPECT_EQ(received.last(), std::nullopt);
    EXPECT_TRUE(handedAgain);
}

TEST(DesktopEntry, WrittenWhenMissingOrPointingElsewhereAndRegistered) {
    QTemporaryDir dir;
    const QByteArray oldData = qgetenv("XDG_DATA_HOME");
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("XDG_DATA_HOME", dir.filePath("share").toUtf8());
    // A stand-in for xdg-mime that records its arguments.
    const QString log = dir.filePath("xdg-mime.log");
    writeFileAtomically(dir.filePath("bin/xdg-mime"),
                        QStringLiteral("#!/bin/sh\necho \"$@\" >> '%1'\n").arg(log).toUtf8());
    QFile::setPermissions(dir.filePath("bin/xdg-mime"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PATH", dir.filePath("bin").toUtf8() + ':' + oldPath);

    const QString entry = dir.filePath("share/applications/corvantis.desktop");
    EXPECT_EQ(DesktopEntry::path(), entry);
    EXPECT_TRUE(DesktopEntry::ensure("/opt/corvantis/bin/corvantis"));
    const QString written = QString::fromUtf8(readFile(entry));
    EXPECT_TRUE(written.contains("\nExec=/opt/corvantis/bin/corvantis %u\n"));
    EXPECT_TRUE(written.contains("\nMimeType=x-scheme-handler/corvantis;\n"));
    ASSERT_TRUE(test::waitUntil([&] { return QFile::exists(log); }));
    ASSERT_TRUE(test::waitUntil([&] { return readFile(log).contains('\n'); }));
    EXPECT_EQ(readFile(log), "default corvantis.desktop x-scheme-handler/corvantis\n");

    // The same executable: left alone, even with the owner's own changes in it; not registered again.
    writeFileAtomically(entry, (written + "NoDisplay=false\n").toUtf8());
    EXPECT_FALSE(DesktopEntry::ensure("/opt/corvantis/bin/corvantis"));
    EXPECT_TRUE(readFile(entry).endsWith("NoDisplay=false\n"));

    // Another executable, with a space in its path: written again, quoted.
    EXPECT_TRUE(DesktopEntry::ensure("/home/me/My Apps/corvantis"));
    EXPECT_TRUE(QString::fromUtf8(readFile(entry)).contains("\nExec=\"/home/me/My Apps/corvantis\" %u\n"));

    qputenv("XDG_DATA_HOME", oldData);
    qputenv("PATH", oldPath);
}
