#pragma once

// A home folder of our own for the command-line tools: the stand-in `claude` and `codex` linked into
// ~/.local/bin, a log of everything the stand-ins were handed, and the scenario they are to play.
#include "kit/ai/AICommandLine.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

namespace corvantis::test {

class ToolHome {
public:
    explicit ToolHome(bool withTools = true) {
        AICommandLine::setHomeOverride(m_dir.path());
        qputenv("STANDIN_LOG", logPath().toUtf8());
        qunsetenv("STANDIN_SCENARIO");
        qunsetenv("STANDIN_ACCOUNT");
        qputenv("CODEX_HOME", (m_dir.path() + "/.codex").toUtf8());
        if (withTools) {
            link("claude", QStringLiteral(CORVANTIS_BIN_DIR "/standin-claude"));
            link("codex", QStringLiteral(CORVANTIS_BIN_DIR "/standin-codex"));
        }
    }
    ~ToolHome() {
        AICommandLine::setHomeOverride(std::nullopt);
        qunsetenv("STANDIN_LOG");
        qunsetenv("STANDIN_SCENARIO");
        qunsetenv("STANDIN_ACCOUNT");
        qunsetenv("CODEX_HOME");
    }

    QString path() const { return m_dir.path(); }
    QString logPath() const { return m_dir.filePath("standin-log.jsonl"); }

    // Puts `target` at ~/.local/bin/{name}.
    void link(const QString& name, const QString& target) const {
        QDir().mkpath(m_dir.filePath(".local/bin"));
        QFile::link(target, m_dir.filePath(".local/bin/" + name));
    }

    static void scenario(const QByteArray& name) { qputenv("STANDIN_SCENARIO", name); }
    static void account(const QByteArray& state) { qputenv("STANDIN_ACCOUNT", state); }

    // Every run the stand-ins recorded, oldest first.
    QList<QJsonObject> runs() const {
        QFile log(logPath());
        QList<QJsonObject> entries;
        if (!log.open(QIODevice::ReadOnly))
            return entries;
        for (const QByteArray& line : log.readAll().split('\n'))
            if (!line.isEmpty())
                entries.append(QJsonDocument::fromJson(line).object());
        return entries;
    }

private:
    QTemporaryDir m_dir;
};

} // namespace corvantis::test
