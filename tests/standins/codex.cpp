// A stand-in for the `codex` command: checks what our transport hands it (arguments, the prompt on
// standard input, the schema and pictures in its folder) and replays `codex exec --json` events.
#include "tests/standins/StandIn.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <sys/stat.h>

using namespace standin;

namespace {

QStringList fixedArguments(const QString& folder) {
    QStringList arguments{"exec",
                          "--json",
                          "--ephemeral",
                          "--skip-git-repo-check",
                          "--ignore-user-config",
                          "--ignore-rules",
                          "--sandbox",
                          "read-only",
                          "--cd",
                          folder,
                          "-c",
                          "approval_policy=\"never\"",
                          "-c",
                          "web_search=\"disabled\"",
                          "-c",
                          "model_reasoning_summary=\"auto\""};
    for (const char* feature : {"shell_tool", "unified_exec", "view_image", "apps", "plugins", "multi_agent"})
        arguments << "-c" << QString("features.%1=false").arg(feature);
    return arguments;
}

// A -c value written as `key=` and a TOML basic string; returns the decoded text.
std::optional<QString> tomlValue(const QString& argument, const QString& key) {
    if (!argument.startsWith(key + "="))
        return std::nullopt;
    const QJsonArray array =
        QJsonDocument::fromJson(("[" + argument.mid(key.size() + 1) + "]").toUtf8()).array();
    if (array.size() != 1 || !array[0].isString())
        return std::nullopt;
    return array[0].toString();
}

void item(const QString& event, const QString& type, const QString& text) {
    outJson(QJsonObject{{"type", event},
                        {"item", QJsonObject{{"id", "item_1"}, {"type", type}, {"text", text}}}});
}

int exec(const Run& run) {
    QStringList problems = environmentProblems(run, false);
    const QString folder = run.arguments.value(9);
    const QString temporary = QDir::tempPath();
    if (!folder.startsWith(QDir(temporary).filePath("codex-")) || !QFileInfo(folder).isDir())
        problems.append("--cd isn't a codex- folder in the temporary folder: " + folder);
    if (run.arguments.mid(0, fixedArguments(folder).size()) != fixedArguments(folder))
        problems.append("the arguments don't begin with the fixed list: " + run.arguments.join(' '));
    QJsonObject options;
    for (qsizetype i = fixedArguments(folder).size(); i < run.arguments.size(); i += 2) {
        const QString flag = run.arguments[i];
        const QString value = run.arguments.value(i + 1);
        if (flag == "--model" || flag == "--output-schema" || flag == "--image") {
            options.insert(flag, value);
        } else if (flag == "-c" && tomlValue(value, "model_reasoning_effort")) {
            options.insert("effort", *tomlValue(value, "model_reasoning_effort"));
        } else if (flag == "-c" && tomlValue(value, "developer_instructions")) {
            options.insert("developer_instructions", *tomlValue(value, "developer_instructions"));
        } else {
            problems.append("unexpected argument " + flag + " " + value);
            break;
        }
    }
    QJsonObject files;
    for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files)) {
        QFile contents(file.filePath());
        contents.open(QIODevice::ReadOnly);
        files.insert(file.fileName(), QString::fromLatin1(contents.readAll().toBase64()));
    }
    if (options.contains("--output-schema")) {
        QFile schema(options.value("--output-schema").toString());
        if (!schema.open(QIODevice::ReadOnly) || !QJsonDocument::fromJson(schema.readAll()).isObject())
            problems.append("--output-schema isn't a JSON file");
    }
    for (const QString& picture : options.value("--image").toString().split(',', Qt::SkipEmptyParts))
        if (!QFileInfo(picture).isFile() || QFileInfo(picture).absolutePath() != folder)
            problems.append("missing picture " + picture);
    // The folder holds the person's pictures: its permission bits, as octal text.
    struct stat status {};
    const QString folderMode = stat(QFile::encodeName(folder).constData(), &status) == 0
                                   ? QString::number(status.st_mode & 07777, 8)
                                   : QString();
    record(run, QJsonObject{{"options", options},
                            {"folder", folder},
                            {"folderMode", folderMode},
                            {"files", files},
                            {"problems", QJsonArray::fromStringList(problems)}});
    if (!problems.isEmpty())
        refuse(problems);

    const QString& scenario = run.scenario;
    outJson(QJsonObject{{"type", "thread.started"}, {"thread_id", "0199"}});
    outJson(QJsonObject{{"type", "turn.started"}});
    if (scenario.isEmpty() || scenario == "answer") {
        item("item.updated", "reasoning", "half a thought");
        item("item.completed", "reasoning", "**Reading the shape**");
        out("not json at all");
        item("item.completed", "reasoning", "Books have titles.");
        item("item.completed", "agent_message", "draft");
        item("item.completed", "agent_message",
             R"({"cypher":"MATCH (b:Book) RETURN b","explanation":"All the books."})");
        outJson(QJsonObject{{"type", "turn.completed"}, {"usage", QJsonObject{{"input_tokens", 10}}}});
        return 0;
    }
    if (scenario == "script") {
        const QJsonObject answer = nextScripted();
        item("item.completed", "reasoning", "Reading the question.");
        if (answer.value("standin") == "hang") {
            sleepSeconds(60);
            return 0;
        }
        if (answer.value("standin") == "fail") {
            outJson(QJsonObject{{"type", "turn.failed"},
                                {"error", QJsonObject{{"message", "The scripted answer failed."}}}});
            return 1;
        }
        item("item.completed", "agent_message",
             QString::fromUtf8(QJsonDocument(answer).toJson(QJsonDocument::Compact)));
        outJson(QJsonObject{{"type", "turn.completed"}, {"usage", QJsonObject{{"input_tokens", 10}}}});
        return 0;
    }
    if (scenario == "agent-nonzero") {
        item("item.completed", "agent_message", R"({"cypher":"RETURN 1","explanation":"One."})");
        return 1;
    }
    if (scenario == "turn-failed-empty") {
        outJson(QJsonObject{{"type", "turn.failed"}});
        return 1;
    }
    if (scenario == "unavailable") {
        outJson(QJsonObject{
            {"type", "error"},
            {"message", "The 'gpt-6-sol' model is not supported when using Codex with a ChatGPT account."}});
        outJson(
            QJsonObject{{"type", "turn.failed"},
                        {"error", QJsonObject{{"message", "The 'gpt-6-sol' model is not supported when using "
                                                          "Codex with a ChatGPT account."}}}});
        return 1;
    }
    if (scenario == "signed-out") {
        err("Error: unexpected status 401 Unauthorized: Your authentication token is not valid. Please run "
            "codex login.\n");
        return 1;
    }
    if (scenario == "failure-after-warnings") {
        // Log lines that mention signing in and upgrading, then the failure itself, told last.
        err("2026-11-23T10:00:00Z WARN codex_core::auth: the refresh token expires soon; run codex login "
            "to renew it\n"
            "2026-11-23T10:00:00Z WARN codex_core::update: a newer version is out; upgrade codex when you "
            "can\n"
            "Error: stream disconnected before completion: connection reset by peer\n");
        return 1;
    }
    if (scenario == "signed-out-after-noise") {
        err("2026-11-23T10:00:00Z INFO codex_core: starting\n"
            "Error: unexpected status 401 Unauthorized: Your authentication token is not valid.\n");
        return 1;
    }
    if (scenario == "outdated") {
        // Recorded from the real tool, given an argument it doesn't know.
        err(fixture("cli/codex-exec-unknown-argument.stderr.txt"));
        return 2;
    }
    if (scenario == "slow") {
        item("item.completed", "reasoning", "thinking slowly");
        sleepSeconds(60);
        return 0;
    }
    refuse({"unknown scenario " + scenario});
}

} // namespace

int main(int argc, char** argv) {
    hangIfAsked(argc, argv);
    const bool isLogin = argc == 2 && QByteArray(argv[1]) == "login";
    const Run run = begin(argc, argv, !isLogin);
    if (run.arguments == QStringList{"--version"}) {
        record(run);
        out(fixture("cli/codex-version.txt").trimmed());
        return 0;
    }
    if (run.arguments == QStringList{"login", "status"}) {
        record(run);
        const QString account = qEnvironmentVariable("STANDIN_ACCOUNT");
        if (account == "signed-in") {
            err("Logged in using ChatGPT\n");
            return 0;
        }
        if (account == "api-key") {
            err("Logged in using an API key - sk-proj-***ABCD\n");
            return 0;
        }
        err(fixture("cli/codex-login-status-signed-out.stderr.txt"));
        return 1;
    }
    if (isLogin) {
        record(run);
        out("Starting local login server on http://localhost:1455.");
        out("If your browser did not open, navigate to this URL to authenticate:");
        out("");
        out("https://auth.openai.com/oauth/authorize?response_type=code&client_id=app_X");
        return run.scenario == "login-fail" ? 1 : 0;
    }
    if (run.arguments.value(0) == "exec")
        return exec(run);
    record(run);
    refuse({"unexpected arguments " + run.arguments.join(' ')});
}
