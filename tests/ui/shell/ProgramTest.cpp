#include "kit/support/Json.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// Starts the real program offscreen against its own data and settings folders.
struct Program {
    QTemporaryDir home;
    QTemporaryDir config;
    QTemporaryDir user; // HOME and the XDG data folder, where the desktop entry goes
    QProcess process;

    void start() {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("CORVANTIS_HOME", home.path());
        env.insert("XDG_CONFIG_HOME", config.path());
        env.insert("HOME", user.path());
        env.insert("XDG_DATA_HOME", user.filePath("share"));
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral(CORVANTIS_BIN_DIR "/corvantis"), {});
        ASSERT_TRUE(process.waitForStarted(10000));
    }
    QString settingsFile() const { return config.filePath("Corvantis/Corvantis.conf"); }
};

// Whether the process has a handler of its own for the signal, by its caught-signals mask in /proc.
bool catches(qint64 pid, int signal) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("SigCgt:"))
            return (line.mid(7).trimmed().toULongLong(nullptr, 16) >> (signal - 1)) & 1;
    return false;
}

} // namespace

TEST(Program, QuitsInOrderOnSigtermAndSigint) {
    for (int signal : {SIGTERM, SIGINT}) {
        Program program;
        // A project to reopen, named as the last one in the user's settings.
        QString root = program.home.filePath("Projects");
        QDir().mkpath(root);
        {
            QSettings settings(program.settingsFile(), QSettings::NativeFormat);
            settings.setValue("apiKey", "old");
            settings.setValue("queryMode", "vector");
        }
        program.start();
        // The data root follows CORVANTIS_HOME: the program creates it at start.
        ASSERT_TRUE(test::waitUntil([&] { return QDir(root).exists(); }, 10000));
        // The signal goes as soon as the program catches it: however early, it must quit in order.
        ASSERT_TRUE(test::waitUntil([&] { return catches(program.process.processId(), signal); }, 10000));
        ::kill(static_cast<pid_t>(program.process.processId()), signal);
        ASSERT_TRUE(program.process.waitForFinished(15000))
            << "the program did not quit on signal " << signal;
        // Killed by the signal's default action, it would end with a crash exit.
        EXPECT_EQ(program.process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(program.process.exitCode(), 0);

        // The start-up sequence ran: the old key is gone, and the stored mode was kept.
        QSettings settings(program.settingsFile(), QSettings::NativeFormat);
        EXPECT_FALSE(settings.contains("apiKey"));
        EXPECT_EQ(settings.value("queryMode").toString(), "vector");
    }
}
