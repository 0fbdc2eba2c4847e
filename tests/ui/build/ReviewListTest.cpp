#include "ui/build/ReviewList.h"

#include "app/build/SessionBuilds.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/TestSupport.h"

#include <QPushButton>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// The first row under the section whose title starts with `section`.
QTreeWidgetItem* row(QTreeWidget* tree, const QString& section, int index) {
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        if (tree->topLevelItem(i)->text(0).startsWith(section))
            return tree->topLevelItem(i)->child(index);
    return nullptr;
}

} // namespace

TEST(ReviewListView, ShowsTheDraftAndSendsTicksAndEditsBackToTheChat) {
    Reading reading;
    const QString ann = reading.add(reading.person, "Ann");
    BuildChat& chat = reading.session->builds().graph();
    GraphDraft draft;
    draft.nodes = {{"n1", "Person", {{"name", "ann"}}}, {"n2", "Book", {{"title", "Dune"}}}};
    draft.relationships = {{"wrote", "n1", "n2", {}}};
    draft.summary = "Ann wrote Dune.";
    chat.setReview(GraphBuilder::review(draft, reading.session->project().schema, reading.session->nodes()));

    ReviewList list;
    list.setChat(&chat, reading.session.get());
    EXPECT_EQ(list.applyButton()->text(), "Apply 3");
    QTreeWidgetItem* annRow = row(list.tree(), "Nodes", 0);
    ASSERT_TRUE(annRow);
    EXPECT_EQ(annRow->text(1), "Already in your graph");
    QTreeWidgetItem* dune = row(list.tree(), "Nodes", 1);
    EXPECT_EQ(dune->text(1), "New");

    // Unticking the book: the chat's review follows, the relationship is blocked, the count drops.
    dune->setCheckState(0, Qt::Unchecked);
    ASSERT_TRUE(waitUntil([&] { return !chat.review()->nodes[1].include; }));
    EXPECT_EQ(list.applyButton()->text(), "Apply 2");
    EXPECT_EQ(row(list.tree(), "Relationships", 0)->text(1), "a node is left out");

    // Clearing the book's title while ticked: untitled, and Apply waits for a name.
    row(list.tree(), "Nodes", 1)->setCheckState(0, Qt::Checked);
    ASSERT_TRUE(waitUntil([&] { return chat.review()->nodes[1].include; }));
    row(list.tree(), "Nodes", 1)->child(0)->setText(1, "");
    ASSERT_TRUE(waitUntil([&] { return chat.review()->hasUntitled(reading.session->project().schema); }));
    EXPECT_FALSE(list.applyButton()->isEnabled());
    EXPECT_EQ(row(list.tree(), "Nodes", 1)->text(1), "Needs a name");

    row(list.tree(), "Nodes", 1)->child(0)->setText(1, "Dune Messiah");
    ASSERT_TRUE(waitUntil([&] { return list.applyButton()->isEnabled(); }));
    list.applyButton()->click();
    EXPECT_TRUE(nodeNamed(*reading.session, "Book", "Dune Messiah", "title"));
    EXPECT_EQ(countRelsIn(*reading.session, "WROTE"), 1);
    EXPECT_FALSE(chat.review());
    EXPECT_TRUE(list.isHidden());
    (void)ann;
}
