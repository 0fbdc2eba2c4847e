#include "kit/mcp/MCPTool.h"

#include "kit/mcp/JsonText.h"

namespace corvantis {

QJsonObject MCPTool::json() const {
    return QJsonObject{
        {QStringLiteral("name"), name},
        {QStringLiteral("title"), title},
        {QStringLiteral("description"), description},
        {QStringLiteral("inputSchema"), inputSchema},
        {QStringLiteral("annotations"), QJsonObject{{QStringLiteral("title"), title},
                                                    {QStringLiteral("readOnlyHint"), readOnly},
                                                    {QStringLiteral("destructiveHint"), false},
                                                    {QStringLiteral("idempotentHint"), readOnly},
                                                    {QStringLiteral("openWorldHint"), false}}},
    };
}

MCPToolResult MCPToolResult::json(const QJsonValue& value) {
    QByteArray text = JsonText::compact(value);
    if (text.isEmpty())
        text = QByteArrayLiteral("{}");
    return MCPToolResult(QString::fromUtf8(text));
}

} // namespace corvantis
