#include "app/undo/UndoStack.h"

#include <QObject>
#include <gtest/gtest.h>
#include <memory>

using namespace corvantis;

namespace {

// A counter whose every change registers its inverse, as the session's edits do.
struct Counter : QObject {
    UndoStack& stack;
    int value = 0;
    explicit Counter(UndoStack& s)
        : stack(s) {}
    void add(int amount, const QString& name) {
        value += amount;
        stack.registerUndo(this, [this, amount, name] { add(-amount, name); });
        stack.setActionName(name);
    }
};

} // namespace

TEST(UndoStack, AnActionRegistersItsInverseWhichIsHowRedoWorks) {
    UndoStack stack;
    Counter counter(stack);
    EXPECT_FALSE(stack.canUndo());
    counter.add(1, "One");
    counter.add(10, "Ten");
    EXPECT_EQ(stack.undoActionName(), "Ten");
    stack.undo();
    EXPECT_EQ(counter.value, 1);
    EXPECT_EQ(stack.redoActionName(), "Ten");
    EXPECT_EQ(stack.undoActionName(), "One");
    stack.undo();
    EXPECT_EQ(counter.value, 0);
    EXPECT_FALSE(stack.canUndo());
    stack.redo();
    stack.redo();
    EXPECT_EQ(counter.value, 11);
    EXPECT_FALSE(stack.canRedo());
    // A new action after an undo drops what could have been redone.
    stack.undo();
    counter.add(100, "Hundred");
    EXPECT_FALSE(stack.canRedo());
    stack.undo();
    stack.undo();
    EXPECT_EQ(counter.value, 0);
}

TEST(UndoStack, AGroupIsOneStepUndoneNewestFirst) {
    UndoStack stack;
    std::vector<int> order;
    QObject target;
    stack.beginGroup();
    stack.registerUndo(&target, [&] { order.push_back(1); });
    stack.beginGroup(); // nested groups belong to the outer one
    stack.registerUndo(&target, [&] { order.push_back(2); });
    stack.endGroup();
    stack.registerUndo(&target, [&] { order.push_back(3); });
    stack.setActionName("Build Graph with AI");
    stack.endGroup();
    EXPECT_EQ(stack.undoActionName(), "Build Graph with AI");
    stack.undo();
    EXPECT_EQ(order, (std::vector<int>{3, 2, 1}));
    EXPECT_FALSE(stack.canUndo());
    // The handlers registered no inverse, so there is nothing to redo.
    EXPECT_FALSE(stack.canRedo());

    // An empty group leaves no step, and the name goes nowhere.
    Counter counter(stack);
    counter.add(5, "Five");
    stack.beginGroup();
    stack.endGroup();
    EXPECT_EQ(stack.undoActionName(), "Five");
}

TEST(UndoStack, TheRedoOfAGroupKeepsItsName) {
    UndoStack stack;
    Counter counter(stack);
    stack.beginGroup();
    counter.add(1, "Add Node");
    counter.add(2, "Edit Node");
    stack.setActionName("Change Graph with AI");
    stack.endGroup();
    stack.undo();
    EXPECT_EQ(counter.value, 0);
    EXPECT_EQ(stack.redoActionName(), "Change Graph with AI");
    stack.redo();
    EXPECT_EQ(counter.value, 3);
    EXPECT_EQ(stack.undoActionName(), "Change Graph with AI");
    stack.undo();
    EXPECT_EQ(counter.value, 0);
}

TEST(UndoStack, TargetsThatCloseOrVanishTakeTheirActionsAlong) {
    UndoStack stack;
    Counter kept(stack);
    auto closing = std::make_unique<Counter>(stack);
    kept.add(1, "Kept");
    closing->add(1, "Closing");
    stack.beginGroup();
    kept.add(2, "Mixed");
    closing->add(2, "Mixed");
    stack.endGroup();
    stack.removeAllActions(closing.get());
    EXPECT_EQ(stack.undoActionName(), "Mixed");
    stack.undo();
    EXPECT_EQ(kept.value, 1);
    EXPECT_EQ(closing->value, 3); // untouched
    EXPECT_EQ(stack.undoActionName(), "Kept");

    auto vanishing = std::make_unique<Counter>(stack);
    vanishing->add(7, "Vanishing");
    EXPECT_EQ(stack.undoActionName(), "Vanishing");
    vanishing.reset();
    EXPECT_EQ(stack.undoActionName(), "Kept");
    stack.undo();
    EXPECT_EQ(kept.value, 0);
    EXPECT_FALSE(stack.canUndo());
}

TEST(UndoStack, ARefusedStepStaysWhereItWas) {
    UndoStack stack;
    Counter counter(stack);
    counter.add(1, "One");
    bool allow = false;
    QObject target;
    stack.registerUndo(&target, [&] {
        if (!allow) {
            stack.refuse();
            return;
        }
        stack.registerUndo(&target, [] {});
    });
    stack.setActionName("Guarded");
    stack.undo();
    EXPECT_EQ(stack.undoActionName(), "Guarded");
    EXPECT_FALSE(stack.canRedo());
    stack.undo();
    EXPECT_EQ(stack.undoActionName(), "Guarded");
    EXPECT_EQ(counter.value, 1);
    allow = true;
    stack.undo();
    EXPECT_EQ(stack.undoActionName(), "One");
    EXPECT_EQ(stack.redoActionName(), "Guarded");
    // refuse() outside an undo means nothing.
    stack.refuse();
    stack.undo();
    EXPECT_EQ(counter.value, 0);
}

TEST(UndoStack, AGroupThatFailsPartwayIsTakenBackWholeAndStaysToBeTriedAgain) {
    UndoStack stack;
    Counter counter(stack);
    bool allow = false;
    QObject target;
    // Undone newest first: 100 is taken back, then the guarded action refuses, and 1 must not run.
    stack.beginGroup();
    counter.add(1, "Group");
    stack.registerUndo(&target, [&] {
        if (!allow) {
            stack.refuse();
            return;
        }
        stack.registerUndo(&target, [] {});
    });
    counter.add(100, "Group");
    stack.setActionName("Group");
    stack.endGroup();
    ASSERT_EQ(counter.value, 101);

    stack.undo();
    EXPECT_EQ(counter.value, 101);
    EXPECT_EQ(stack.undoActionName(), "Group");
    EXPECT_FALSE(stack.canRedo());

    allow = true;
    stack.undo();
    EXPECT_EQ(counter.value, 0);
    EXPECT_FALSE(stack.canUndo());
    stack.redo();
    EXPECT_EQ(counter.value, 101);
}
