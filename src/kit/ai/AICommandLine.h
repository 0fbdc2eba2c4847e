#pragma once

#include "kit/ai/AICommandError.h"
#include "kit/ai/AIProvider.h"
#include "kit/support/Cancellation.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>
#include <qcoro/qcorotask.h>

// What stands between the transports and the operating system: finding a tool, giving it a sound
// environment, and the things a user does to a tool from inside the program.
namespace corvantis::AICommandLine {

// The first path that is an executable file.
std::optional<QString> first(const QStringList& paths);

// The user's home folder from the user database, else the platform's; tests may replace it, which also
// moves every searched tool folder and the HOME that the tools see.
QString home();
void setHomeOverride(const std::optional<QString>& folder);

// The environment of every child process: ours, with HOME, TMPDIR, CLAUDE_CODE_TMPDIR and a PATH that
// begins with the tool's own folder.
QProcessEnvironment environment(const QString& cli);

bool isInstalled(AIProvider provider);

struct Captured {
    int exitCode = 0;
    QByteArray standardOutput;
    QByteArray standardError;
};

// Runs a program to its end (within `timeout` seconds) in the tools' environment and folder. Fails with
// AICommandError::failed when it can't start or doesn't end in time.
QCoro::Task<Captured> capture(QString program, QStringList arguments, double timeout = 30);

// The account as the tool reports it; absent when the tool isn't there or can't say.
QCoro::Task<std::optional<AIAccount>> account(AIProvider provider);
// The tool's version number from "--version"; absent when it can't be read.
QCoro::Task<std::optional<QString>> version(AIProvider provider);
// The first dotted version number in a text: "2.1.4 (Claude Code)" -> "2.1.4".
std::optional<QString> versionIn(const QString& text);

// A line of a tool's terminal output without colour codes and surrounding blanks.
QString cleanLine(const QByteArray& line);

// Seconds an update may run before it is stopped: long enough for a slow download, short enough that a
// hung one doesn't hold the Update button for good.
constexpr double updateTimeLimit = 300;

// Updates Claude Code in place, handing each line of its output to `onLine`, within `timeout` seconds
// and under `cancellation`. Codex isn't updated from here. Fails with AICommandError, whose detail is
// the last line the update printed; with Cancelled when cancelled.
QCoro::Task<void> update(AIProvider provider, std::function<void(const QString&)> onLine,
                         CancellationToken cancellation = CancellationToken(),
                         double timeout = updateTimeLimit);

} // namespace corvantis::AICommandLine
