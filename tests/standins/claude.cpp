// A stand-in for the `claude` command: checks what our transport hands it and replays Claude Code's
// stream-json output for the scenario a test chose.
#include "tests/standins/StandIn.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

using namespace standin;

namespace {

const QStringList fixedArguments{"-p",
                                 "--input-format",
                                 "stream-json",
                                 "--output-format",
                                 "stream-json",
                                 "--verbose",
                                 "--include-partial-messages",
                                 "--thinking-display",
                                 "summarized",
                                 "--tools",
                                 "",
                                 "--strict-mcp-config",
                                 "--no-session-persistence"};

// The optional pairs after the fixed arguments, in the only order our transport writes them.
const QStringList optionalFlags{"--model", "--effort", "--system-prompt", "--json-schema"};

QJsonObject streamEvent(const QJsonObject& event, const QJsonValue& parent = QJsonValue::Null) {
    return QJsonObject{{"type", "stream_event"}, {"event", event}, {"parent_tool_use_id", parent}};
}

void thinkingBlock(const QStringList& deltas, const QJsonValue& parent = QJsonValue::Null) {
    outJson(streamEvent(QJsonObject{{"type", "content_block_start"},
                                    {"index", 0},
                                    {"content_block", QJsonObject{{"type", "thinking"}, {"thinking", ""}}}},
                        parent));
    for (const QString& delta : deltas)
        outJson(
            streamEvent(QJsonObject{{"type", "content_block_delta"},
                                    {"index", 0},
                                    {"delta", QJsonObject{{"type", "thinking_delta"}, {"thinking", delta}}}},
                        parent));
}

void assistant(const QString& model) {
    outJson(QJsonObject{
        {"type", "assistant"},
        {"message", QJsonObject{{"model", model}, {"role", "assistant"}, {"content", QJsonArray{}}}},
        {"parent_tool_use_id", QJsonValue::Null}});
}

void result(QJsonObject fields) {
    fields.insert("type", "result");
    if (!fields.contains("subtype"))
        fields.insert("subtype", "success");
    outJson(fields);
}

int print(const Run& run) {
    QStringList problems = environmentProblems(run, true);
    if (run.arguments.mid(0, fixedArguments.size()) != fixedArguments)
        problems.append("the arguments don't begin with the fixed thirteen: " + run.arguments.join(' '));
    QJsonObject options;
    int lastFlag = -1;
    for (qsizetype i = fixedArguments.size(); i < run.arguments.size(); i += 2) {
        const int flag = optionalFlags.indexOf(run.arguments[i]);
        if (flag <= lastFlag || i + 1 >= run.arguments.size()) {
            problems.append("unexpected argument " + run.arguments[i]);
            break;
        }
        lastFlag = flag;
        options.insert(run.arguments[i], run.arguments[i + 1]);
    }
    if (options.contains("--json-schema") &&
        !QJsonDocument::fromJson(options.value("--json-schema").toString().toUtf8()).isObject())
        problems.append("--json-schema isn't a JSON object");
    // Standard input is one JSON line: a user message.
    if (!run.input.endsWith('\n') || run.input.count('\n') != 1)
        problems.append("standard input isn't one line");
    const QJsonObject line = QJsonDocument::fromJson(run.input).object();
    if (line.value("type") != "user" || line.value("message").toObject().value("role") != "user" ||
        !line.value("message").toObject().contains("content") || line.size() != 2)
        problems.append("standard input isn't a user message: " + QString::fromUtf8(run.input));
    record(run, QJsonObject{{"options", options},
                            {"content", line.value("message").toObject().value("content")},
                            {"problems", QJsonArray::fromStringList(problems)}});
    if (!problems.isEmpty())
        refuse(problems);

    const QString model = options.value("--model").toString("claude-sonnet-5-5");
    const QString& scenario = run.scenario;
    outJson(
        QJsonObject{{"type", "system"}, {"subtype", "init"}, {"cwd", QDir::currentPath()}, {"model", model}});
    if (scenario.isEmpty() || scenario == "answer") {
        thinkingBlock({"Looking at ", "the shape."});
        out("this line is not JSON {");
        out("[\"an array, not an object\"]");
        thinkingBlock({"Books have titles."});
        assistant(model);
        result(QJsonObject{{"is_error", false},
                           {"result", "Here is the query."},
                           {"structured_output", QJsonObject{{"cypher", "MATCH (b:Book) RETURN b"},
                                                             {"explanation", "All the books."}}},
                           {"stop_reason", "end_turn"}});
        return 0;
    }
    if (scenario == "answers") {
        // The structured answers of $STANDIN_ANSWERS (a JSON array), one per run, in order; a counter file
        // beside it says how many were given.
        const QString path = qEnvironmentVariable("STANDIN_ANSWERS");
        QFile counter(path + ".count");
        int given = 0;
        if (counter.open(QIODevice::ReadOnly))
            given = counter.readAll().toInt();
        counter.close();
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        const QJsonArray answers = QJsonDocument::fromJson(file.readAll()).array();
        if (given >= answers.size())
            refuse({"no answer left for run " + QString::number(given + 1)});
        if (counter.open(QIODevice::WriteOnly | QIODevice::Truncate))
            counter.write(QByteArray::number(given + 1));
        counter.close();
        thinkingBlock({"Reading ", "the text."});
        assistant(model);
        result(QJsonObject{{"is_error", false},
                           {"result", "Done."},
                           {"structured_output", answers.at(given).toObject()},
                           {"stop_reason", "end_turn"}});
        return 0;
    }
    if (scenario == "sub-agent") {
        thinkingBlock({"sub-agent thoughts"}, "toolu_01");
        thinkingBlock({"main thoughts"});
        assistant(model);
        result(
            QJsonObject{{"is_error", false}, {"result", R"({"cypher": "RETURN 1", "explanation": "One."})"}});
        return 0;
    }
    if (scenario == "many-deltas") {
        for (int i = 0; i < 200; ++i)
            thinkingBlock({QString("step %1. ").arg(i)});
        assistant(model);
        result(
            QJsonObject{{"is_error", false}, {"result", R"({"cypher": "RETURN 1", "explanation": "One."})"}});
        return 0;
    }
    if (scenario == "error-list") {
        result(QJsonObject{{"is_error", true}, {"result", ""}, {"errors", QJsonArray{"a", "b"}}});
        return 1;
    }
    if (scenario == "error-empty") {
        result(QJsonObject{{"is_error", true}});
        return 1;
    }
    if (scenario == "refusal") {
        assistant(model);
        result(QJsonObject{{"is_error", false}, {"result", ""}, {"stop_reason", "refusal"}});
        return 0;
    }
    if (scenario == "signed-out") {
        // Recorded from the real tool, run signed out.
        for (const QByteArray& recorded : fixture("cli/claude-print-signed-out.jsonl").split('\n'))
            if (!recorded.isEmpty())
                out(recorded);
        return 1;
    }
    if (scenario == "outdated") {
        err("API Error: 400 claude-opus-5-5 does not support this model on Claude Code 2.0.14. "
            "This model needs version 2.1.0 or later; run 'claude update'.\n");
        return 1;
    }
    if (scenario == "exit1")
        return 1;
    if (scenario == "slow") {
        thinkingBlock({"thinking slowly"});
        sleepSeconds(60);
        return 0;
    }
    if (scenario == "stderr9000") {
        const QByteArray chunk = QByteArray(999, 'x') + '\n';
        for (int i = 0; i < 8; ++i) {
            err(chunk);
            sleepSeconds(0.02);
        }
        err(QByteArray(990, 'y') + "\nLAST LINE\n"); // 1,000 bytes, the last
        return 1;
    }
    refuse({"unknown scenario " + scenario});
}

int authStatus(const Run& run) {
    record(run);
    if (qEnvironmentVariable("STANDIN_ACCOUNT") == "signed-in") {
        out(R"({"loggedIn": true, "authMethod": "claude.ai", "apiProvider": "firstParty", "email": "ann@example.com"})");
        return 0;
    }
    out(fixture("cli/claude-auth-status-signed-out.json").trimmed());
    return 1;
}

int login(const Run& run) {
    record(run);
    out("\x1b[1mOpening your browser to sign in.\x1b[0m");
    out("If it didn't open, visit: "
        "\x1b[4m\x1b[36mhttps://claude.ai/oauth/authorize?code=true&state=abc\x1b[0m now");
    err("or this one: https://example.com/second\n");
    if (run.scenario == "login-fail")
        return 1;
    QFile input;
    input.open(stdin, QIODevice::ReadOnly);
    const QByteArray code = input.readLine().trimmed();
    out("Paste code here if prompted > ");
    return code == "CODE123" ? 0 : 1;
}

int update(const Run& run) {
    record(run);
    out("\x1b[32mCurrent version: 2.1.197\x1b[0m");
    out("Checking for updates...");
    if (run.scenario == "update-fail") {
        err("Error: could not reach the update server\n");
        return 1;
    }
    if (run.scenario == "update-hang") {
        // An update whose download never ends.
        out("Downloading 2.1.200...");
        sleepSeconds(120);
        return 0;
    }
    out("\x1b[1mSuccessfully updated from 2.1.197 to 2.1.200\x1b[0m");
    return 0;
}

} // namespace

// `claude mcp remove|add --scope user {name} [-- {command} {args}]` as the real tool does it: user-scoped
// servers under "mcpServers" of ~/.claude.json; removing a server that isn't there, or adding one that
// is, fails.
int mcp(const Run& run) {
    record(run);
    const QStringList& a = run.arguments;
    if (a.size() < 5 || a[2] != "--scope" || a[3] != "user")
        refuse({"unexpected mcp arguments " + a.join(' ')});
    const QString path = QDir(qEnvironmentVariable("HOME")).filePath(".claude.json");
    QFile file(path);
    QJsonObject root;
    if (file.open(QIODevice::ReadOnly))
        root = QJsonDocument::fromJson(file.readAll()).object();
    file.close();
    QJsonObject servers = root.value("mcpServers").toObject();
    const QString name = a[4];
    if (a[1] == "remove" && a.size() == 5) {
        if (!servers.contains(name)) {
            err(("No user-scoped MCP server found with name: " + name + "\n").toUtf8());
            return 1;
        }
        servers.remove(name);
    } else if (a[1] == "add" && a.size() >= 7 && a[5] == "--") {
        if (servers.contains(name)) {
            err(("MCP server " + name + " already exists in user config\n").toUtf8());
            return 1;
        }
        servers.insert(name, QJsonObject{{"type", "stdio"},
                                         {"command", a[6]},
                                         {"args", QJsonArray::fromStringList(a.mid(7))},
                                         {"env", QJsonObject()}});
    } else {
        refuse({"unexpected mcp arguments " + a.join(' ')});
    }
    root.insert("mcpServers", servers);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        refuse({"can't write " + path});
    file.write(QJsonDocument(root).toJson());
    return 0;
}

int main(int argc, char** argv) {
    hangIfAsked(argc, argv);
    const bool isLogin = argc >= 3 && QByteArray(argv[1]) == "auth" && QByteArray(argv[2]) == "login";
    const Run run = begin(argc, argv, !isLogin);
    if (run.arguments == QStringList{"--version"}) {
        record(run);
        std::fwrite(fixture("cli/claude-version.txt").constData(), 1,
                    fixture("cli/claude-version.txt").size(), stdout);
        return 0;
    }
    if (run.arguments == QStringList{"auth", "status", "--json"})
        return authStatus(run);
    if (isLogin && run.arguments.size() == 2)
        return login(run);
    if (run.arguments == QStringList{"update"})
        return update(run);
    if (run.arguments.value(0) == "-p")
        return print(run);
    if (run.arguments.value(0) == "mcp")
        return mcp(run);
    record(run);
    refuse({"unexpected arguments " + run.arguments.join(' ')});
}
