#pragma once

#include <QProcess>
#include <QtGlobal>

// A command-line tool is often a wrapper (a shell script, a Node launcher) around the program that does
// the work. Each tool therefore runs as the leader of a process group of its own, and ending it ends the
// whole group, so that a time limit or a cancel never leaves a model run going behind the wrapper.
namespace corvantis::ProcessGroup {

// Milliseconds between asking a group to end and killing whatever is left of it.
constexpr int graceMs = 3000;

// Makes `process` start its program in a session and process group of its own, led by the program.
// Call before QProcess::start().
void isolate(QProcess& process);

// Asks every process of the group led by `leader` to end (SIGTERM) and kills what is left of it after
// the grace period (SIGKILL). Safe from any thread; the second step runs on the application's thread.
void end(qint64 leader);

// Kills every process of the group led by `leader` at once.
void kill(qint64 leader);

} // namespace corvantis::ProcessGroup
