#pragma once

// The shared part of the stand-in tools. A test says what a run should do through STANDIN_SCENARIO and
// where to record what the run was given through STANDIN_LOG (one JSON object per line).
#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace standin {

struct Run {
    QString program; // the path we were started as
    QStringList arguments;
    QByteArray input; // all of standard input
    QString scenario;
};

// Reads arguments and standard input; `readInput` false leaves standard input open and unread.
Run begin(int argc, char** argv, bool readInput = true);

// Appends a record of the run to $STANDIN_LOG, with `extra` merged in.
void record(const Run& run, const QJsonObject& extra = {});

// Checks that the environment is the one our runner builds; returns the problems found.
QStringList environmentProblems(const Run& run, bool requireClaudeTemp);

// Writes a line to standard output (or error) and flushes it at once, so the reader sees it while we run.
void out(const QByteArray& line);
void err(const QByteArray& text);
void outJson(const QJsonObject& object);
// A file of tests/fixtures.
QByteArray fixture(const QString& relativePath);
// Ends the run with code 97 after telling what was wrong on standard error.
[[noreturn]] void refuse(const QStringList& problems);
void sleepSeconds(double seconds);

// The scripted scenario ("script"): $STANDIN_SCRIPT names a JSON file holding an array of answers, one
// per run in order (a counter file beside it remembers how many runs came before). An answer is the JSON
// object to give back, or {"standin": "hang"} to think once and then wait a minute, or {"standin": "fail"}
// to end with an error. Past the end of the array, the last answer is given again.
QJsonObject nextScripted();

// `{stand-in} --standin-hang {pid file} [ignore-term]` plays a long model run started by a wrapper
// script: it writes its process id to the file (whole, by renaming), optionally ignores SIGTERM, and
// sleeps for two minutes. Returns when the arguments ask for something else.
void hangIfAsked(int argc, char** argv);

} // namespace standin
