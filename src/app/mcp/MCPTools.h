#pragma once

#include "kit/mcp/MCPClient.h"
#include "kit/mcp/MCPTool.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <qcoro/qcorotask.h>

namespace corvantis {

class AppModel;
class ProjectSession;

// Carries out the connector's tools on the main thread, against the application model. Connected apps
// read anything in the open project and switch projects; nothing here writes a node or a relationship:
// a proposed draft waits in the Build panel for the person, and only additions to the shape apply at once.
class MCPTools : public QObject {
    Q_OBJECT
public:
    explicit MCPTools(AppModel* app, QObject* parent = nullptr);

    // Always a result: a failure is a sentence with isError true, never a protocol error.
    QCoro::Task<MCPToolResult> call(QString name, QJsonObject arguments, MCPClient client);

    // The open session with its graph open; fails with MCPToolError otherwise.
    ProjectSession* session() const;

signals:
    // A tool showed the person something: the window comes to the front.
    void frontRequested();

private:
    MCPToolResult listProjects() const;
    MCPToolResult openProject(const QJsonObject& arguments);
    MCPToolResult createProject(const QJsonObject& arguments);
    MCPToolResult getShape() const;
    MCPToolResult search(const QJsonObject& arguments) const;
    QCoro::Task<MCPToolResult> runCypher(QJsonObject arguments);
    MCPToolResult getNode(const QJsonObject& arguments) const;
    QCoro::Task<MCPToolResult> proposeChanges(QJsonObject arguments, QString from);
    MCPToolResult designShape(const QJsonObject& arguments, const QString& from);
    MCPToolResult checkProposal(const QJsonObject& arguments) const;
    MCPToolResult showNodes(const QJsonObject& arguments);

    QPointer<AppModel> m_app;
};

} // namespace corvantis
