#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

namespace corvantis {

// One tool a connected app may call, as "tools/list" shows it.
struct MCPTool {
    QString name;
    QString title;
    QString description;
    QJsonObject inputSchema;
    bool readOnly = false;

    // The entry for "tools/list", with the annotations that tell a client what the tool may touch.
    QJsonObject json() const;
    bool operator==(const MCPTool& other) const = default;
};

// What a tool call answers: one text, and whether it is a failure the model should read and act on.
struct MCPToolResult {
    QString text;
    bool isError = false;

    MCPToolResult() = default;
    explicit MCPToolResult(QString text, bool isError = false)
        : text(std::move(text))
        , isError(isError) {}

    // A result whose text is the value as one line of JSON with sorted keys; "{}" when it can't be
    // written.
    static MCPToolResult json(const QJsonValue& value);
    bool operator==(const MCPToolResult& other) const = default;
};

} // namespace corvantis
