#include "tests/standins/StandIn.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace standin {

Run begin(int argc, char** argv, bool readInput) {
    Run run;
    run.program = QString::fromLocal8Bit(argv[0]);
    for (int i = 1; i < argc; ++i)
        run.arguments.append(QString::fromLocal8Bit(argv[i]));
    if (readInput) {
        QFile input;
        if (input.open(stdin, QIODevice::ReadOnly))
            run.input = input.readAll();
    }
    run.scenario = qEnvironmentVariable("STANDIN_SCENARIO");
    return run;
}

void record(const Run& run, const QJsonObject& extra) {
    const QString path = qEnvironmentVariable("STANDIN_LOG");
    if (path.isEmpty())
        return;
    QJsonObject entry{{"program", run.program},
                      {"arguments", QJsonArray::fromStringList(run.arguments)},
                      {"input", QString::fromUtf8(run.input)},
                      {"cwd", QDir::currentPath()},
                      {"scenario", run.scenario},
                      {"env", QJsonObject{{"HOME", qEnvironmentVariable("HOME")},
                                          {"TMPDIR", qEnvironmentVariable("TMPDIR")},
                                          {"CLAUDE_CODE_TMPDIR", qEnvironmentVariable("CLAUDE_CODE_TMPDIR")},
                                          {"CODEX_HOME", qEnvironmentVariable("CODEX_HOME")},
                                          {"PATH", qEnvironmentVariable("PATH")}}}};
    for (auto it = extra.begin(); it != extra.end(); ++it)
        entry.insert(it.key(), it.value());
    QFile log(path);
    if (log.open(QIODevice::Append))
        log.write(QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n');
}

QStringList environmentProblems(const Run& run, bool requireClaudeTemp) {
    QStringList problems;
    const QString temporary = QDir::tempPath();
    const QString folder = QFileInfo(run.program).absolutePath();
    const QStringList path = qEnvironmentVariable("PATH").split(':');
    const QStringList expected{folder, "/opt/homebrew/bin", "/usr/local/bin", "/usr/bin",
                               "/bin", "/usr/sbin",         "/sbin"};
    if (path != expected)
        problems.append("PATH is " + path.join(':'));
    if (qEnvironmentVariable("TMPDIR") != temporary)
        problems.append("TMPDIR is " + qEnvironmentVariable("TMPDIR"));
    if (requireClaudeTemp && qEnvironmentVariable("CLAUDE_CODE_TMPDIR") != temporary)
        problems.append("CLAUDE_CODE_TMPDIR is " + qEnvironmentVariable("CLAUDE_CODE_TMPDIR"));
    if (!run.program.startsWith(qEnvironmentVariable("HOME") + "/"))
        problems.append("HOME isn't the folder we were found in: " + qEnvironmentVariable("HOME"));
    if (QDir::currentPath() != QDir(temporary).canonicalPath() && QDir::currentPath() != temporary)
        problems.append("the working folder is " + QDir::currentPath());
    return problems;
}

void out(const QByteArray& line) {
    std::fwrite(line.constData(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void err(const QByteArray& text) {
    std::fwrite(text.constData(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void outJson(const QJsonObject& object) {
    out(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QByteArray fixture(const QString& relativePath) {
    QFile file(QStringLiteral(CORVANTIS_FIXTURES_DIR "/") + relativePath);
    if (!file.open(QIODevice::ReadOnly))
        refuse({"missing fixture " + relativePath});
    return file.readAll();
}

void refuse(const QStringList& problems) {
    err(("standin: " + problems.join("; ") + "\n").toUtf8());
    std::exit(97);
}

QJsonObject nextScripted() {
    const QString path = qEnvironmentVariable("STANDIN_SCRIPT");
    QFile script(path);
    if (!script.open(QIODevice::ReadOnly))
        refuse({"no script at " + path});
    const QJsonArray answers = QJsonDocument::fromJson(script.readAll()).array();
    if (answers.isEmpty())
        refuse({"the script holds no answers"});
    QFile counter(path + ".count");
    int index = 0;
    if (counter.open(QIODevice::ReadOnly)) {
        index = counter.readAll().trimmed().toInt();
        counter.close();
    }
    if (counter.open(QIODevice::WriteOnly | QIODevice::Truncate))
        counter.write(QByteArray::number(index + 1));
    return answers.at(std::min<qsizetype>(index, answers.size() - 1)).toObject();
}

void sleepSeconds(double seconds) {
    QThread::msleep(static_cast<unsigned long>(seconds * 1000));
}

void hangIfAsked(int argc, char** argv) {
    if (argc < 3 || QByteArray(argv[1]) != "--standin-hang")
        return;
    if (argc > 3 && QByteArray(argv[3]) == "ignore-term")
        std::signal(SIGTERM, SIG_IGN);
    const QString path = QString::fromLocal8Bit(argv[2]);
    QFile file(path + ".part");
    if (!file.open(QIODevice::WriteOnly))
        refuse({"can't write " + path});
    file.write(QByteArray::number(qint64(getpid())));
    file.close();
    if (!QFile::rename(path + ".part", path))
        refuse({"can't write " + path});
    sleepSeconds(120);
    std::exit(0);
}

} // namespace standin
