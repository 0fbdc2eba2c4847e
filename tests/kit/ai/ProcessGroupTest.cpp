// A tool that is a wrapper script around the real program is ended with everything it started: a time
// limit or a cancel must not leave a model run going behind the wrapper.
#include "kit/ai/AIClient.h"
#include "kit/ai/AICommandError.h"
#include "kit/ai/AILogin.h"
#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QFile>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/types.h>

using namespace corvantis;
using corvantis::test::await;
using corvantis::test::ToolHome;
using corvantis::test::waitUntil;

namespace {

// Whether a process has ended: there is no such process, or only its exit status is left (a zombie
// whose new parent hasn't reaped it yet).
bool ended(pid_t pid) {
    if (::kill(pid, 0) != 0)
        return errno == ESRCH;
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    const QByteArray text = stat.readAll();
    const qsizetype close = text.lastIndexOf(')');
    return close >= 0 && text.mid(close + 2, 1) == "Z";
}

// Puts a shell script in place of a tool: it starts the stand-in in its hanging mode in the background,
// as a wrapper starts the real program, and waits for it. The stand-in writes its process id to a file.
class Wrapper {
public:
    Wrapper(ToolHome& home, const QString& tool, bool ignoreTerm = false)
        : m_pidFile(home.path() + "/" + tool + "-grandchild.pid") {
        const QString script = home.path() + "/" + tool + "-wrapper.sh";
        QFile file(script);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QStringLiteral("#!/bin/sh\n'%1' --standin-hang '%2'%3 &\nwait\n")
                       .arg(QStringLiteral(CORVANTIS_BIN_DIR "/standin-") + tool, m_pidFile,
                            ignoreTerm ? QStringLiteral(" ignore-term") : QString())
                       .toUtf8());
        file.close();
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
        QFile::remove(home.path() + "/.local/bin/" + tool);
        home.link(tool, script);
    }
    // Leaves nothing running behind a failed test.
    ~Wrapper() {
        if (m_pid > 0 && !ended(m_pid))
            ::kill(m_pid, SIGKILL);
    }

    // Waits until the stand-in behind the wrapper runs; its process id, or 0.
    pid_t grandchild() {
        if (m_pid == 0 && waitUntil([&] { return QFile::exists(m_pidFile); })) {
            QFile file(m_pidFile);
            if (file.open(QIODevice::ReadOnly))
                m_pid = pid_t(file.readAll().toLongLong());
        }
        return m_pid;
    }

private:
    QString m_pidFile;
    pid_t m_pid = 0;
};

QJsonObject body(const QString& model) {
    return AIClient::structuredRequest(model, "You translate.", "Which books?",
                                       AIClient::translationSchema());
}

} // namespace

TEST(ProcessGroup, CancelEndsWhatTheWrapperStarted) {
    ToolHome home;
    Wrapper wrapper(home, "claude");
    CancellationToken token;
    ClaudeCodeTransport transport;
    auto task = transport.send(body("claude-opus-5-5"), 60, token);
    const pid_t grandchild = wrapper.grandchild();
    ASSERT_GT(grandchild, 0);
    token.cancel();
    EXPECT_THROW(await(std::move(task)), Cancelled);
    EXPECT_TRUE(waitUntil([&] { return ended(grandchild); })) << "the program behind the wrapper still runs";
}

TEST(ProcessGroup, TimeLimitEndsWhatTheWrapperStarted) {
    ToolHome home;
    Wrapper wrapper(home, "codex");
    CodexTransport transport;
    auto task = transport.send(body("gpt-6-sol"), 2, CancellationToken());
    const pid_t grandchild = wrapper.grandchild();
    ASSERT_GT(grandchild, 0);
    try {
        await(std::move(task));
        ADD_FAILURE() << "no failure";
    } catch (const AICommandError& error) {
        EXPECT_EQ(error.message(), "The answer took too long. Try again, or a lower effort.");
    }
    EXPECT_TRUE(waitUntil([&] { return ended(grandchild); })) << "the program behind the wrapper still runs";
}

TEST(ProcessGroup, WhatIgnoresTheRequestToEndIsKilled) {
    ToolHome home;
    Wrapper wrapper(home, "claude", true);
    CancellationToken token;
    ClaudeCodeTransport transport;
    auto task = transport.send(body("claude-opus-5-5"), 60, token);
    const pid_t grandchild = wrapper.grandchild();
    ASSERT_GT(grandchild, 0);
    token.cancel();
    EXPECT_THROW(await(std::move(task)), Cancelled);
    // It outlives the polite request and is killed after the grace period.
    EXPECT_TRUE(waitUntil([&] { return ended(grandchild); }, 15000))
        << "the program behind the wrapper still runs";
}

TEST(ProcessGroup, CancelledSignInEndsWhatTheWrapperStarted) {
    ToolHome home;
    Wrapper wrapper(home, "claude");
    AILogin login(AIProvider::claude);
    auto task = login.run([](const QString&) {});
    const pid_t grandchild = wrapper.grandchild();
    ASSERT_GT(grandchild, 0);
    login.cancel();
    EXPECT_THROW(await(std::move(task)), Cancelled);
    EXPECT_TRUE(waitUntil([&] { return ended(grandchild); })) << "the program behind the wrapper still runs";
}
