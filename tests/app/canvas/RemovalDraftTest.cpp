#include "tests/app/canvas/CanvasTestSupport.h"

using namespace corvantis;
using namespace corvantis::test;

TEST(RemovalDraft, TitlesLeaveOutAZeroPart) {
    EXPECT_EQ(RemovalDraft::confirmationTitle(2, 1), "Delete 2 nodes and 1 relationship?");
    EXPECT_EQ(RemovalDraft::confirmationTitle(1, 0), "Delete 1 node?");
    EXPECT_EQ(RemovalDraft::confirmationTitle(0, 3), "Delete 3 relationships?");
}

TEST(RemovalDraft, TheDraftGoesInOneTransactionAndOneUndoBringsTheSameIdsBack) {
    Reading r(true);
    const QString ada = r.add(r.person, "Ada");
    const QString grace = r.add(r.person, "Grace");
    const QString alan = r.add(r.person, "Alan");
    const QString notes = r.add(r.book, "Notes");
    const QString knows = r.link("KNOWS", ada, grace);
    const QString wrote = r.link("WROTE", ada, notes);
    const QString other = r.link("KNOWS", grace, alan);
    const auto nodesBefore = r.session->nodes();
    const auto relsBefore = r.session->rels();
    RemovalDraft& draft = r.session->canvases().removalDraft();

    // Confirming an empty draft asks nothing.
    draft.confirmRemovalDraft();
    EXPECT_FALSE(r.session->confirmation());

    // A relationship and one of its ends: the relationship counts once.
    r.session->setSelection(GraphSelection::relationship(knows));
    EXPECT_EQ(draft.selectionToStage(), QStringList{knows});
    draft.stageForRemoval({knows, ada, "NOT-THERE", knows});
    draft.stageForRemoval({other});
    EXPECT_EQ(draft.removalDraft(), (QStringList{knows, ada, other}));
    EXPECT_TRUE(draft.selectionToStage().isEmpty());
    const RemovalDraft::Cut cut = draft.removalCut();
    EXPECT_EQ(cut.nodes, QStringList{ada});
    EXPECT_EQ(cut.rels, (QSet<QString>{knows, wrote, other}));
    draft.unstageRemoval(other);
    EXPECT_EQ(draft.removalCut().rels, (QSet<QString>{knows, wrote}));

    draft.confirmRemovalDraft();
    ASSERT_TRUE(r.session->confirmation());
    EXPECT_EQ(r.session->confirmation()->title, "Delete 1 node and 2 relationships?");
    EXPECT_EQ(r.session->confirmation()->message,
              "They're deleted from your graph, not just hidden. Undo brings them back.");
    r.world.store->writes = 0;
    r.session->confirm();
    EXPECT_EQ(r.world.store->writes, 1); // one transaction
    EXPECT_TRUE(draft.removalDraft().isEmpty());
    EXPECT_FALSE(r.session->nodes().contains(ada));
    EXPECT_EQ(r.session->rels().keys(), QStringList{other});
    EXPECT_EQ(countIn(*r.session, "Person"), 2);

    // One Undo brings back exactly the same records.
    r.world.undo.undo();
    EXPECT_EQ(r.session->nodes(), nodesBefore);
    EXPECT_EQ(r.session->rels(), relsBefore);
    EXPECT_EQ(countIn(*r.session, "Person"), 3);
    EXPECT_EQ(countRelsIn(*r.session, "KNOWS"), 2);
    EXPECT_EQ(countRelsIn(*r.session, "WROTE"), 1);
}

TEST(RemovalDraft, AStagedNodeDeletedElsewhereDropsOutAndTheComposerKnowsItsTargets) {
    Reading r;
    const QString ada = r.add(r.person, "Ada");
    const QString notes = r.add(r.book, "Notes");
    RemovalDraft& draft = r.session->canvases().removalDraft();
    draft.stageForRemoval({ada, notes});
    r.session->deleteNode(notes);
    EXPECT_EQ(draft.stagedForRemoval(), QStringList{ada});
    EXPECT_EQ(draft.removalCut().nodes, QStringList{ada});

    // A Person reaches Books ("wrote") and People ("knows"); a Book reaches nothing.
    EXPECT_EQ(draft.targetTables(ada), (QStringList{"Book", "Person"}));
    const QString another = r.add(r.book, "More");
    EXPECT_TRUE(draft.targetTables(another).isEmpty());
}
