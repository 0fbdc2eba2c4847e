#include "kit/mcp/MCPSession.h"

#include "kit/mcp/JsonText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QMutexLocker>
#include <algorithm>

namespace corvantis {

namespace {

// The id's text as the client wrote it: a string or a number exactly as it came (so 1 stays 1 and
// never turns into 1.0), anything else as JSON of its value. The parser lets raw control characters
// through inside strings; such an id is written anew, escaped, since a raw line feed would split the
// answer in two.
QByteArray idText(const QByteArray& line, const QJsonValue& id) {
    if (id.isString() || id.isDouble() || id.isNull()) {
        auto raw = JsonText::rawMember(line, u"id");
        if (raw && std::any_of(raw->cbegin(), raw->cend(), [](char c) { return uchar(c) < 0x20; }))
            raw.reset();
        if (raw) {
            // The raw text must say what the parser read; a scanner that disagreed would be wrong.
            const QJsonDocument check = QJsonDocument::fromJson("[" + *raw + "]");
            if (check.isArray() && check.array().size() == 1 && check.array().first() == id)
                return *raw;
        }
    }
    return JsonText::compact(id);
}

} // namespace

MCPSession::MCPSession(QList<MCPTool> tools, QString instructions, QString version)
    : m_tools(std::move(tools))
    , m_instructions(std::move(instructions))
    , m_version(std::move(version)) {
}

std::optional<MCPClient> MCPSession::client() const {
    QMutexLocker locker(&m_lock);
    return m_client;
}

QByteArray MCPSession::encode(const QJsonObject& object) {
    return JsonText::compact(object);
}

QByteArray MCPSession::result(const QByteArray& id, const QJsonValue& result) {
    return "{\"id\":" + id + ",\"jsonrpc\":\"2.0\",\"result\":" + JsonText::compact(result) + "}";
}

QByteArray MCPSession::error(const QByteArray& id, int code, const QString& message) {
    const QJsonObject error{{QStringLiteral("code"), code}, {QStringLiteral("message"), message}};
    return "{\"error\":" + JsonText::compact(error) + ",\"id\":" + id + ",\"jsonrpc\":\"2.0\"}";
}

QJsonObject MCPSession::initialize(const QJsonObject& params) {
    const QJsonValue asked = params.value(QStringLiteral("protocolVersion"));
    const QString version = asked.isString() ? asked.toString() : defaultProtocolVersion();
    const QJsonValue info = params.value(QStringLiteral("clientInfo"));
    MCPClient client(info.isObject() ? std::optional<QJsonObject>(info.toObject()) : std::nullopt);
    {
        QMutexLocker locker(&m_lock);
        m_client = client;
    }
    return QJsonObject{
        {QStringLiteral("protocolVersion"), version},
        {QStringLiteral("capabilities"), QJsonObject{{QStringLiteral("tools"), QJsonObject()}}},
        {QStringLiteral("serverInfo"), QJsonObject{{QStringLiteral("name"), QStringLiteral("corvantis")},
                                                   {QStringLiteral("title"), QStringLiteral("Corvantis")},
                                                   {QStringLiteral("version"), m_version}}},
        {QStringLiteral("instructions"), m_instructions},
    };
}

QCoro::Task<std::optional<QByteArray>> MCPSession::handle(QByteArray line, MCPToolCall call) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(line, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        co_return error(QByteArrayLiteral("null"), -32700, QStringLiteral("Parse error"));
    const QJsonObject message = document.object();

    const QJsonValue method = message.value(QStringLiteral("method"));
    if (!method.isString())
        co_return std::nullopt;
    // A message without an id is a notification, whatever its method: nothing is done or answered.
    if (!message.contains(QStringLiteral("id")))
        co_return std::nullopt;
    const QByteArray id = idText(line, message.value(QStringLiteral("id")));
    const QJsonValue paramsValue = message.value(QStringLiteral("params"));
    const QJsonObject params = paramsValue.isObject() ? paramsValue.toObject() : QJsonObject();
    const QString name = method.toString();

    if (name == QLatin1String("initialize"))
        co_return result(id, initialize(params));
    if (name == QLatin1String("ping"))
        co_return result(id, QJsonObject());
    if (name == QLatin1String("tools/list")) {
        QJsonArray tools;
        for (const MCPTool& tool : m_tools)
            tools.append(tool.json());
        co_return result(id, QJsonObject{{QStringLiteral("tools"), tools}});
    }
    if (name == QLatin1String("resources/list"))
        co_return result(id, QJsonObject{{QStringLiteral("resources"), QJsonArray()}});
    if (name == QLatin1String("resources/templates/list"))
        co_return result(id, QJsonObject{{QStringLiteral("resourceTemplates"), QJsonArray()}});
    if (name == QLatin1String("prompts/list"))
        co_return result(id, QJsonObject{{QStringLiteral("prompts"), QJsonArray()}});
    if (name != QLatin1String("tools/call"))
        co_return error(id, -32601, QStringLiteral("Method not found: ") + name);

    const QJsonValue toolValue = params.value(QStringLiteral("name"));
    const std::optional<QString> tool =
        toolValue.isString() ? std::optional<QString>(toolValue.toString()) : std::nullopt;
    const QJsonValue argumentsValue = params.value(QStringLiteral("arguments"));
    const QJsonObject arguments = argumentsValue.isObject() ? argumentsValue.toObject() : QJsonObject();
    const bool known = tool && std::any_of(m_tools.begin(), m_tools.end(),
                                           [&](const MCPTool& t) { return t.name == *tool; });
    if (!known)
        co_return error(id, -32602, QStringLiteral("Unknown tool: ") + tool.value_or(QStringLiteral("none")));

    const MCPClient client = this->client().value_or(MCPClient(std::nullopt));
    const MCPToolResult answer = co_await call(*tool, arguments, client);
    const QJsonObject content{{QStringLiteral("type"), QStringLiteral("text")},
                              {QStringLiteral("text"), answer.text}};
    co_return result(id, QJsonObject{{QStringLiteral("content"), QJsonArray{content}},
                                     {QStringLiteral("isError"), answer.isError}});
}

} // namespace corvantis
