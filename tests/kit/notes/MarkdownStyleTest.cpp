#include "kit/notes/MarkdownStyle.h"

#include <gtest/gtest.h>

using namespace corvantis;
using Role = StyleSpan::Role;

namespace {

// The texts a role covers in a line, in order.
QStringList covered(const QString& line, Role role, bool reading = false, bool inFence = false) {
    QStringList out;
    for (const StyleSpan& span : MarkdownStyle::line(line, inFence, reading).spans)
        if (span.role == role)
            out << line.mid(span.start, span.length);
    return out;
}

// The line with its hidden ranges taken out, as reading mode shows it.
QString shown(const QString& line) {
    QString out = line;
    QList<StyleSpan> spans = MarkdownStyle::line(line, false, true).spans;
    std::sort(spans.begin(), spans.end(),
              [](const StyleSpan& a, const StyleSpan& b) { return a.start > b.start; });
    for (const StyleSpan& span : spans)
        if (span.flags & StyleSpan::Hidden)
            out.remove(span.start, span.length);
    return out;
}

} // namespace

TEST(MarkdownStyle, InlinePatternsAndTheirRefusals) {
    EXPECT_EQ(covered("a **bold** and *it* and _it2_", Role::Bold), QStringList{"bold"});
    EXPECT_EQ(covered("a **bold** and *it* and _it2_", Role::Italic), (QStringList{"it", "it2"}));
    EXPECT_TRUE(covered("2*3*4", Role::Italic).isEmpty());
    EXPECT_TRUE(covered("** bold**", Role::Bold).isEmpty());
    EXPECT_EQ(covered("~~gone~~ ==lit==", Role::Strike), QStringList{"gone"});
    EXPECT_EQ(covered("~~gone~~ ==lit==", Role::Highlight), QStringList{"lit"});
    EXPECT_EQ(covered("see [site](https://a.example/x) now", Role::Link), QStringList{"site"});
    EXPECT_EQ(covered("[[Note]]", Role::Wiki), QStringList{"Note"});
    EXPECT_TRUE(covered("[[Note]]", Role::Link).isEmpty());
    // A URL that is a link's target, or in angle brackets, is not a bare URL again.
    EXPECT_TRUE(covered("[site](https://a.example/x)", Role::BareURL).isEmpty());
    EXPECT_TRUE(covered("<https://a.example/x>", Role::BareURL).isEmpty());
    EXPECT_EQ(covered("go https://a.example/x.", Role::BareURL), QStringList{"https://a.example/x."});
    // Code takes its range: no bold inside.
    EXPECT_EQ(covered("`**not bold**` **bold**", Role::Bold), QStringList{"bold"});
    EXPECT_EQ(covered("`**not bold**` **bold**", Role::Code), QStringList{"**not bold**"});
}

TEST(MarkdownStyle, BlocksRulesAndFences) {
    EXPECT_EQ(covered("## Title", Role::Heading), QStringList{"## Title"});
    EXPECT_EQ(MarkdownStyle::line("## Title", false, false).spans[0].level, 2);
    EXPECT_TRUE(covered("#tag", Role::Heading).isEmpty());
    EXPECT_EQ(covered("---", Role::Rule).size(), 1);
    EXPECT_EQ(covered("- - -", Role::Rule).size(), 1);
    EXPECT_TRUE(covered("--", Role::Rule).isEmpty());
    EXPECT_EQ(covered("> said", Role::Quote), QStringList{"said"});
    EXPECT_EQ(covered("- [x] done it", Role::Done), QStringList{"done it"});
    EXPECT_EQ(covered("- [ ] to do", Role::CheckBox), QStringList{"[ ]"});
    EXPECT_EQ(covered("  * item", Role::ListMarker), QStringList{"*"});
    EXPECT_EQ(covered("3. item", Role::ListMarker), QStringList{"3."});

    const QList<LineStyle> lines = MarkdownStyle::lines("```\n**x** `y`\n```\n**z**", false);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_TRUE(lines[0].inFenceAfter);
    ASSERT_EQ(lines[1].spans.size(), 1); // inside the fence: code and nothing else
    EXPECT_EQ(lines[1].spans[0].role, Role::Code);
    EXPECT_FALSE(lines[2].inFenceAfter);
    EXPECT_EQ(lines[3].spans[0].role, Role::Bold);
}

TEST(MarkdownStyle, ReadingModeHidesMarksAndDrawsGlyphs) {
    EXPECT_EQ(shown("# Heading with **bold** and [a link](https://x.example)"),
              "Heading with bold and a link");
    EXPECT_EQ(shown("> quoted `code`"), "quoted code");
    EXPECT_EQ(shown("[[Other note]]"), "Other note");
    // Editing mode hides nothing.
    for (const StyleSpan& span : MarkdownStyle::line("# **x**", false, false).spans)
        EXPECT_FALSE(span.flags & StyleSpan::Hidden);
    const QList<StyleSpan> box = MarkdownStyle::line("- [x] done", false, true).spans;
    const auto checkbox =
        std::find_if(box.begin(), box.end(), [](const StyleSpan& s) { return s.role == Role::CheckBox; });
    ASSERT_NE(checkbox, box.end());
    EXPECT_EQ(checkbox->data, "checked");
    EXPECT_TRUE(checkbox->flags & StyleSpan::Glyph);
    // An escape's backslash hides, except the one at the caret.
    EXPECT_EQ(shown("\\@not a tag"), "@not a tag");
    const QList<StyleSpan> atCaret = MarkdownStyle::line("\\@x", false, true, 0).spans;
    ASSERT_EQ(atCaret.size(), 1);
    EXPECT_FALSE(atCaret[0].flags & StyleSpan::Hidden);
}

TEST(MarkdownStyle, TagsAreAtomsWithTheirHops) {
    const QString id = "0F8FAD5B-D9CB-469F-A165-70867728950E";
    const QString line = "met @" + id + "->knows<-:name today, mail me@" + id;
    EXPECT_EQ(covered(line, Role::Tag), QStringList{"@" + id + "->knows<-:name"});
    EXPECT_EQ(covered(line, Role::HopMark), QStringList{"->knows"});
    const QList<StyleSpan> spans = MarkdownStyle::line(line, false, false).spans;
    for (const StyleSpan& span : spans) {
        if (span.role == Role::Tag) {
            EXPECT_TRUE(span.flags & StyleSpan::Atom);
        }
    }
    // In code a tag is text.
    EXPECT_TRUE(covered("`@" + id + "`", Role::Tag).isEmpty());
}
