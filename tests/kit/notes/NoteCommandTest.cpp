#include "kit/notes/NoteCommand.h"

#include <gtest/gtest.h>

using namespace corvantis;

TEST(NoteCommand, TheMenuAndItsMatching) {
    ASSERT_EQ(NoteCommands::all().size(), 14);
    EXPECT_EQ(NoteCommands::rawValue(NoteCommand::noteLink), "noteLink");
    EXPECT_EQ(NoteCommands::fromRawValue("divider"), NoteCommand::divider);
    EXPECT_EQ(NoteCommands::title(NoteCommand::media), "Add Picture or Video…");
    EXPECT_EQ(NoteCommands::prefix(NoteCommand::text), QString());
    EXPECT_FALSE(NoteCommands::prefix(NoteCommand::code).has_value());
    EXPECT_EQ(NoteCommands::matching("").size(), 14);
    // Beginnings first ("Heading …" and the "h1".."h3" aliases), then containing ("To-do list" has no "h").
    const QList<NoteCommand> h = NoteCommands::matching("HEAD");
    EXPECT_EQ(h, (QList<NoteCommand>{NoteCommand::heading1, NoteCommand::heading2, NoteCommand::heading3}));
    const QList<NoteCommand> list = NoteCommands::matching("list");
    EXPECT_EQ(list, (QList<NoteCommand>{NoteCommand::bullets, NoteCommand::numbers, NoteCommand::todo}));
    // A beginning ranks before a containing, whatever the menu's order: "to" begins "To-do list" and is
    // inside "photo" (media), "Link to note" and "separator" (divider), which follow in the menu's order.
    EXPECT_EQ(NoteCommands::matching("to"),
              (QList<NoteCommand>{NoteCommand::todo, NoteCommand::media, NoteCommand::noteLink,
                                  NoteCommand::divider}));
    EXPECT_TRUE(NoteCommands::matching("zzz").isEmpty());
}

TEST(NoteCommand, RunningReplacesTheSlashAndTheBlockPrefix) {
    // "/h1" typed at the end of "Title": the range goes, the prefix comes at the line's start.
    EXPECT_EQ(NoteCommands::run(NoteCommand::heading1, "Title/h1", 5, 8), (TextEdit{"# Title", 7}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::todo, "a\n- item/todo\nb", 8, 13),
              (TextEdit{"a\n- [ ] item\nb", 12}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::heading2, "# Big/", 5, 6), (TextEdit{"## Big", 6}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::text, "> quoted/", 8, 9), (TextEdit{"quoted", 6}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::divider, "x/", 1, 2), (TextEdit{"x\n---\n", 6}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::code, "a\nlet x/co\nb", 7, 10),
              (TextEdit{"a\n```\nlet x\n```\nb", 11}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::tag, "see /tag", 4, 8), (TextEdit{"see @", 5}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::noteLink, "/", 0, 1), (TextEdit{"[[", 2}));
    EXPECT_EQ(NoteCommands::run(NoteCommand::media, "x /med", 2, 6), (TextEdit{"x ", 2}));
}

TEST(NoteTyping, BracketsReturnAndPickerKeys) {
    EXPECT_EQ(NoteTyping::closingBracket('['), QChar(']'));
    EXPECT_EQ(NoteTyping::closingBracket('('), QChar(')'));
    EXPECT_TRUE(NoteTyping::closingBracket('x').isNull());

    EXPECT_EQ(NoteTyping::continueBlock("- one", 5), (TextEdit{"- one\n- ", 8}));
    EXPECT_EQ(NoteTyping::continueBlock("9. nine", 7), (TextEdit{"9. nine\n10. ", 12}));
    EXPECT_EQ(NoteTyping::continueBlock("- [x] done", 10), (TextEdit{"- [x] done\n- [ ] ", 17}));
    EXPECT_EQ(NoteTyping::continueBlock("> said", 6), (TextEdit{"> said\n> ", 9}));
    EXPECT_EQ(NoteTyping::continueBlock("a\n- ", 4), (TextEdit{"a\n", 2})); // an empty item ends the list
    EXPECT_FALSE(NoteTyping::continueBlock("plain", 5));

    EXPECT_EQ(NoteTyping::pickerKey(Qt::Key_Tab), NoteTyping::PickerKey::Accept);
    EXPECT_EQ(NoteTyping::pickerKey(Qt::Key_Enter), NoteTyping::PickerKey::Accept);
    EXPECT_EQ(NoteTyping::pickerKey(Qt::Key_Escape), NoteTyping::PickerKey::Close);
    EXPECT_EQ(NoteTyping::pickerKey(Qt::Key_Down), NoteTyping::PickerKey::Down);
    EXPECT_EQ(NoteTyping::pickerKey(Qt::Key_A), NoteTyping::PickerKey::None);
}
