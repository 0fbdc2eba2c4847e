#pragma once

#include "kit/support/UserFacingError.h"

#include <QByteArray>
#include <QString>
#include <optional>

// The connector's entry in the configuration of each client app, as pure functions over the file's
// contents: nothing here touches the disk.
namespace corvantis::MCPClientConfig {

// A configuration file that can't be understood; it is never overwritten.
class UnreadableConfig : public UserFacingError {
public:
    using UserFacingError::UserFacingError;
};

// Claude's JSON with our server set to `command` (no arguments), or removed when there is no command
// ("mcpServers" goes too when that empties it). Every other key stays as it was. Absent or empty data
// counts as an empty object; data that isn't a JSON object fails with UnreadableConfig.
QByteArray claudeDesktop(const std::optional<QByteArray>& data, const std::optional<QString>& command);
// The command of our entry, or absent when any step is missing or of the wrong type.
std::optional<QString> claudeDesktopCommand(const QByteArray& data);
// Claude Code's file has the same form.
std::optional<QString> claudeCodeCommand(const QByteArray& data);

// Codex's TOML with our table (and its sub-tables) removed line by line, and appended again with a
// command. Comments and other tables stay; the text ends with one line feed.
QString codex(const QString& text, const std::optional<QString>& command);
// The command of our table, unquoted, or absent.
std::optional<QString> codexCommand(const QString& text);

// The JSON a person copies to set up another app by hand.
QString snippet(const QString& command);

} // namespace corvantis::MCPClientConfig
