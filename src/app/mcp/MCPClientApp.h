#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace corvantis {

// The AI apps whose configuration the connector writes, in the order the Connector pane lists them.
enum class MCPClientApp { claudeDesktop, claudeCode, codex };

namespace MCPClientApps {

QList<MCPClientApp> all();
// "claudeDesktop", "claudeCode", "codex".
QString id(MCPClientApp app);
// "Claude", "Claude Code", "ChatGPT and Codex".
QString title(MCPClientApp app);
// The app's configuration file under `home`: Claude's JSON, Claude Code's ".claude.json", and Codex's
// "config.toml" in $CODEX_HOME or "~/.codex".
QString configPath(MCPClientApp app, const QString& home);
// The desktop entries that open the app, and the names its processes run under; Claude Code has no
// window of its own, so nothing to find running or to restart.
QStringList desktopEntries(MCPClientApp app);
QStringList processNames(MCPClientApp app);

} // namespace MCPClientApps

} // namespace corvantis
