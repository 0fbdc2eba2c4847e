#include "kit/mcp/MCPClientConfig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(MCPClientConfigClaude, AddsAndRemovesOursKeepingEverythingElse) {
    const QByteArray theirs =
        R"({"globalShortcut":"Ctrl+Space","mcpServers":{"files":{"command":"/usr/bin/fs",)"
        R"("args":["--root","/home/me"],"env":{"A":"1"}}}})";
    const QByteArray added = MCPClientConfig::claudeDesktop(theirs, QString("/opt/Corvantis/corvantis-mcp"));
    const QJsonObject root = QJsonDocument::fromJson(added).object();
    EXPECT_EQ(root.value("globalShortcut").toString(), "Ctrl+Space");
    EXPECT_EQ(root.value("mcpServers").toObject().value("files"),
              QJsonDocument::fromJson(theirs).object().value("mcpServers").toObject().value("files"));
    EXPECT_EQ(MCPClientConfig::claudeDesktopCommand(added), "/opt/Corvantis/corvantis-mcp");
    EXPECT_TRUE(added.contains("\"/opt/Corvantis/corvantis-mcp\"")); // slashes as they are
    EXPECT_TRUE(added.contains("\n    "));                           // pretty-printed for a person to read

    const QByteArray removed = MCPClientConfig::claudeDesktop(added, std::nullopt);
    EXPECT_EQ(QJsonDocument::fromJson(removed).object(), QJsonDocument::fromJson(theirs).object());
    EXPECT_FALSE(MCPClientConfig::claudeDesktopCommand(removed).has_value());
}

TEST(MCPClientConfigClaude, EmptyFilesAndLastServer) {
    const QByteArray fresh = MCPClientConfig::claudeDesktop(std::nullopt, QString("/a/corvantis-mcp"));
    EXPECT_EQ(
        QJsonDocument::fromJson(fresh).object(),
        (QJsonObject{{"mcpServers", QJsonObject{{"corvantis", QJsonObject{{"command", "/a/corvantis-mcp"},
                                                                          {"args", QJsonArray()}}}}}}));
    EXPECT_EQ(MCPClientConfig::claudeDesktop(QByteArray("  \n"), QString("/b")),
              MCPClientConfig::claudeDesktop(std::nullopt, QString("/b")));
    // Removing our only server removes "mcpServers" with it.
    EXPECT_EQ(QJsonDocument::fromJson(MCPClientConfig::claudeDesktop(fresh, std::nullopt)).object(),
              QJsonObject());
}

TEST(MCPClientConfigClaude, UnreadableFilesFailAndCommandsOfTheWrongShapeReadAsNone) {
    EXPECT_THROW(MCPClientConfig::claudeDesktop(QByteArray("{\"mcpServers\": "), QString("/x")),
                 MCPClientConfig::UnreadableConfig);
    EXPECT_THROW(MCPClientConfig::claudeDesktop(QByteArray("[1,2]"), QString("/x")),
                 MCPClientConfig::UnreadableConfig);
    EXPECT_FALSE(MCPClientConfig::claudeDesktopCommand(R"({"mcpServers":[]})").has_value());
    EXPECT_FALSE(
        MCPClientConfig::claudeDesktopCommand(R"({"mcpServers":{"corvantis":{"command":3}}})").has_value());
    EXPECT_FALSE(MCPClientConfig::claudeCodeCommand("garbage").has_value());
    EXPECT_EQ(
        MCPClientConfig::claudeCodeCommand(R"({"projects":{},"mcpServers":{"corvantis":{"command":"/c"}}})"),
        "/c");
}

TEST(MCPClientConfigCodex, KeepsCommentsAndOtherTablesAndNeverDuplicates) {
    const QString theirs =
        "# my settings\nmodel = \"o3\"\n\n# the corvantis connector\n[mcp_servers.corvantis]\n"
        "command = \"/old/corvantis-mcp\"\nargs = []\n[mcp_servers.corvantis.env]\nX = \"1\"\n\n"
        "[mcp_servers.other]\ncommand = \"other\"\n";
    EXPECT_EQ(MCPClientConfig::codexCommand(theirs), "/old/corvantis-mcp");
    const QString once = MCPClientConfig::codex(theirs, QString("/new/corvantis-mcp"));
    EXPECT_EQ(once,
              "# my settings\nmodel = \"o3\"\n\n# the corvantis connector\n[mcp_servers.other]\n"
              "command = \"other\"\n\n[mcp_servers.corvantis]\ncommand = \"/new/corvantis-mcp\"\nargs = []\n"
              "# Drafts are checked against the graph before they're handed back; that can take a moment.\n"
              "tool_timeout_sec = 300\n");
    EXPECT_EQ(MCPClientConfig::codex(once, QString("/new/corvantis-mcp")), once);
    EXPECT_EQ(MCPClientConfig::codexCommand(once), "/new/corvantis-mcp");

    const QString off = MCPClientConfig::codex(once, std::nullopt);
    EXPECT_EQ(off, "# my settings\nmodel = \"o3\"\n\n# the corvantis connector\n[mcp_servers.other]\n"
                   "command = \"other\"\n");
    EXPECT_FALSE(MCPClientConfig::codexCommand(off).has_value());
    EXPECT_EQ(MCPClientConfig::codex(QString(), std::nullopt), "");
}

TEST(MCPClientConfigCodex, QuotesAndUnquotesPaths) {
    const QString path = R"(/home/a "b"/c\d/corvantis-mcp)";
    const QString text = MCPClientConfig::codex(QString(), path);
    EXPECT_TRUE(
        text.startsWith("[mcp_servers.corvantis]\ncommand = \"/home/a \\\"b\\\"/c\\\\d/corvantis-mcp\"\n"));
    EXPECT_EQ(MCPClientConfig::codexCommand(text), path);
    EXPECT_EQ(MCPClientConfig::codexCommand("[mcp_servers.corvantis]\n  command='/lit\\eral'\n"),
              "/lit\\eral");
    EXPECT_FALSE(
        MCPClientConfig::codexCommand("[mcp_servers.corvantis]\n[x]\ncommand = \"/no\"\n").has_value());
}

TEST(MCPClientConfig, SnippetIsTheServerEntry) {
    const QJsonObject snippet =
        QJsonDocument::fromJson(MCPClientConfig::snippet("/p/corvantis-mcp").toUtf8()).object();
    EXPECT_EQ(
        snippet.value("mcpServers").toObject().value("corvantis").toObject().value("command").toString(),
        "/p/corvantis-mcp");
}
