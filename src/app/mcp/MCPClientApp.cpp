#include "app/mcp/MCPClientApp.h"

#include <QDir>

namespace corvantis::MCPClientApps {

QList<MCPClientApp> all() {
    return {MCPClientApp::claudeDesktop, MCPClientApp::claudeCode, MCPClientApp::codex};
}

QString id(MCPClientApp app) {
    switch (app) {
    case MCPClientApp::claudeDesktop:
        return QStringLiteral("claudeDesktop");
    case MCPClientApp::claudeCode:
        return QStringLiteral("claudeCode");
    case MCPClientApp::codex:
        return QStringLiteral("codex");
    }
    return {};
}

QString title(MCPClientApp app) {
    switch (app) {
    case MCPClientApp::claudeDesktop:
        return QStringLiteral("Claude");
    case MCPClientApp::claudeCode:
        return QStringLiteral("Claude Code");
    case MCPClientApp::codex:
        return QStringLiteral("ChatGPT and Codex");
    }
    return {};
}

QString configPath(MCPClientApp app, const QString& home) {
    switch (app) {
    case MCPClientApp::claudeDesktop:
        return home + QStringLiteral("/.config/Claude/claude_desktop_config.json");
    case MCPClientApp::claudeCode:
        return home + QStringLiteral("/.claude.json");
    case MCPClientApp::codex: {
        const QString codexHome = qEnvironmentVariable("CODEX_HOME");
        return QDir(codexHome.isEmpty() ? home + QStringLiteral("/.codex") : codexHome)
            .filePath(QStringLiteral("config.toml"));
    }
    }
    return {};
}

QStringList desktopEntries(MCPClientApp app) {
    switch (app) {
    case MCPClientApp::claudeDesktop:
        return {QStringLiteral("com.anthropic.claudefordesktop.desktop"),
                QStringLiteral("claude-desktop.desktop"), QStringLiteral("Claude.desktop"),
                QStringLiteral("claude.desktop")};
    case MCPClientApp::claudeCode:
        return {};
    case MCPClientApp::codex:
        return {QStringLiteral("com.openai.codex.desktop"), QStringLiteral("codex.desktop"),
                QStringLiteral("chatgpt.desktop")};
    }
    return {};
}

QStringList processNames(MCPClientApp app) {
    switch (app) {
    case MCPClientApp::claudeDesktop:
        return {QStringLiteral("claude-desktop"), QStringLiteral("Claude")};
    case MCPClientApp::claudeCode:
        return {};
    case MCPClientApp::codex:
        return {QStringLiteral("codex"), QStringLiteral("chatgpt")};
    }
    return {};
}

} // namespace corvantis::MCPClientApps
