#include "ui/ask/AskViews.h"

#include "app/app/AppModel.h"
#include "app/ask/AskEngine.h"
#include "app/ask/SemanticSearcher.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectPreferences.h"
#include "app/graph/ProjectSession.h"
#include "kit/query/CypherTokenizer.h"
#include "kit/support/Json.h"
#include "tests/support/ShapeBuilders.h"
#include "ui/ask/AnswerPager.h"
#include "ui/ask/AskBar.h"
#include "ui/ask/AskHistoryList.h"
#include "ui/ask/AskStepsView.h"
#include "ui/ask/SearchInList.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

struct World {
    QTemporaryDir dir;
    std::unique_ptr<AppModel> app;
    QWidget window;
    AskViews* views = nullptr;

    World() {
        app = std::make_unique<AppModel>(std::make_unique<Settings>(dir.filePath("s.ini")),
                                         dir.filePath("Projects"));
        ProjectLibrary library(dir.filePath("Projects"));
        Project project = library.create("Reading");
        PropertyDef summary = property("summary");
        summary.embedded = true;
        project.schema.nodeTypes = {nodeType("Book", {property("title"), summary})};
        library.save(project);
        app->open(project);
        views = new AskViews(*app, &window);
        views->setSession(app->session());
        for (int i = 0; i < 120; ++i)
            app->session()->createNode(project.schema.nodeTypes[0],
                                       QString("Book %1").arg(i, 3, 10, QChar('0')));
    }
    ProjectSession& session() { return *app->session(); }
    void waitIdle() {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !session().askEngine().state().isWorking; }, 60000));
    }
};

QStringList labelsOf(QWidget* widget) {
    QStringList texts;
    for (QLabel* label : widget->findChildren<QLabel*>())
        if (!label->isHidden())
            texts.append(label->text());
    return texts;
}

} // namespace

TEST(AskViews, TheBarSaysWhatLeavesTheComputerAndPutsTheQuestion) {
    World w;
    AskBar* bar = w.views->bar();
    w.app->setQueryMode(QueryMode::Cypher);
    EXPECT_EQ(bar->privacyLine()->text(),
              "Only your question and the shape of your graph are sent. What's in the "
              "graph stays on this computer.");
    EXPECT_FALSE(bar->privacyLine()->isHidden());
    EXPECT_EQ(bar->modePicker()->currentData().toString(), "cypher");
    // Raw and simple modes send nothing: no such line.
    w.app->setQueryMode(QueryMode::Raw);
    EXPECT_TRUE(bar->privacyLine()->isHidden());
    EXPECT_EQ(bar->modePicker()->currentData().toString(), "raw");

    // Problems of the search syntax show under the field as it is typed.
    w.app->setQueryMode(QueryMode::Simple);
    bar->field()->setText("::Nope:: dune");
    EXPECT_FALSE(bar->problemsLine()->isHidden());
    EXPECT_EQ(bar->problemsLine()->text(), "No type called “Nope”");
    bar->field()->setText("::Book:: dune");
    EXPECT_TRUE(bar->problemsLine()->isHidden());

    // Return puts the question; the steps panel shows it with its steps.
    w.app->setQueryMode(QueryMode::Raw);
    bar->field()->setText("MATCH (b:Book) RETURN b ORDER BY b.title");
    QTest::keyClick(bar->field(), Qt::Key_Return);
    w.waitIdle();
    const QStringList texts = labelsOf(w.views->steps());
    EXPECT_TRUE(texts.contains("Your query"));
    EXPECT_TRUE(texts.contains("Ran on your graph"));
    EXPECT_TRUE(texts.contains("no AI step"));
    EXPECT_EQ(w.views->history()->count(), 1);
    EXPECT_EQ(w.views->history()->item(0)->text(), "MATCH (b:Book) RETURN b ORDER BY b.title");

    // The pager: a page on the canvas, the next page, and all of it.
    AnswerPager* pager = w.views->pager();
    EXPECT_FALSE(pager->isHidden());
    EXPECT_EQ(pager->counter()->text(), "Showing 30 of 120 on the canvas");
    EXPECT_EQ(pager->moreButton()->text(), "Show 30 more");
    pager->moreButton()->click();
    EXPECT_EQ(pager->counter()->text(), "Showing 60 of 120 on the canvas");
    EXPECT_TRUE(pager->narrowButton()->isHidden()); // a typed query isn't narrowed by a model
    EXPECT_EQ(pager->filterButton()->text(), "Filter");
    AnswerFilter filter;
    filter.hiddenTypes.insert("Book");
    w.session().askEngine().setAnswerFilter(filter);
    EXPECT_EQ(pager->filterButton()->text(), "1 filter hidden");

    // Removing a saved question from the list removes it from the history.
    w.views->history()->setCurrentRow(0);
    QTest::keyClick(w.views->history(), Qt::Key_Delete);
    EXPECT_TRUE(w.session().history().isEmpty());
    EXPECT_EQ(w.views->history()->count(), 0);
}

TEST(AskViews, ScalarAnswersReadAsATableAndSearchInUnticks) {
    World w;
    w.app->setQueryMode(QueryMode::Raw);
    QSignalSpy wanted(w.views, &AskViews::stepsWanted);
    w.session().ask("MATCH (b:Book) RETURN count(b) AS books", AskBar::settingsOf(*w.app));
    w.waitIdle();
    EXPECT_EQ(wanted.count(), 1); // once, when the question started
    QTableWidget* table = w.views->steps()->findChild<QTableWidget*>();
    ASSERT_TRUE(table);
    EXPECT_FALSE(table->isHidden());
    EXPECT_EQ(table->horizontalHeaderItem(0)->text(), "books");
    EXPECT_EQ(table->item(0, 0)->text(), "120");

    SearchInList* list = w.views->searchIn();
    // Both lists open from the bar's "Search in" menu.
    QToolButton* searchIn = w.views->searchInButton();
    ASSERT_TRUE(searchIn->menu());
    EXPECT_TRUE(w.views->bar()->isAncestorOf(searchIn));
    EXPECT_TRUE(searchIn->menu()->isAncestorOf(list));
    EXPECT_TRUE(searchIn->menu()->isAncestorOf(w.views->textSearchIn()));
    ASSERT_EQ(list->topLevelItemCount(), 1);
    EXPECT_EQ(list->topLevelItem(0)->text(0), "Book › summary");
    list->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
    EXPECT_EQ(w.session().preferences().excludedFromSearch().size(), 1);
    EXPECT_TRUE(w.session().askEngine().searchScope().isEmpty());
}

namespace {

// Whether any pixel of the widget's picture is near the colour.
bool paints(QWidget* widget, const QColor& colour) {
    const QImage image = widget->grab().toImage();
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (std::abs(pixel.red() - colour.red()) + std::abs(pixel.green() - colour.green()) +
                    std::abs(pixel.blue() - colour.blue()) <
                24)
                return true;
        }
    return false;
}

} // namespace

TEST(AskViews, RawCypherIsColouredAndCompletesNamesAtTheCaret) {
    World w;
    w.window.resize(900, 200);
    w.window.show();
    AskBar* bar = w.views->bar();
    QLineEdit* field = bar->field();
    const QColor keyword = AskBar::tokenColour(static_cast<int>(CypherTokenizer::Kind::keyword));
    const QColor label = AskBar::tokenColour(static_cast<int>(CypherTokenizer::Kind::label));
    ASSERT_TRUE(keyword.isValid());

    // Plain text in simple mode; coloured tokens in raw mode, for the same words.
    w.app->setQueryMode(QueryMode::Simple);
    field->setText("MATCH (b:Book) RETURN b");
    EXPECT_FALSE(paints(field, keyword));
    w.app->setQueryMode(QueryMode::Raw);
    EXPECT_TRUE(paints(field, keyword));
    EXPECT_TRUE(paints(field, label));
    field->setText("b");
    EXPECT_FALSE(paints(field, keyword)); // a plain word

    // Typing a label: the names that fit at the caret, and the chosen one replaces the typed part.
    field->clear();
    field->setFocus();
    QTest::keyClicks(field, "MATCH (b:Bo");
    QAbstractItemView* popup = bar->cypherCompleter()->popup();
    ASSERT_TRUE(QTest::qWaitFor([&] { return popup->isVisible(); }, 5000));
    ASSERT_EQ(popup->model()->rowCount(), 1);
    EXPECT_EQ(popup->model()->index(0, 0).data().toString(), "Book");
    popup->setCurrentIndex(popup->model()->index(0, 0));
    QTest::keyClick(popup, Qt::Key_Return);
    EXPECT_EQ(field->text(), "MATCH (b:Book");
    EXPECT_EQ(field->cursorPosition(), 13);

    // A property of the bound variable, typed in the middle of the query.
    field->setText("MATCH (b:Book) RETURN b");
    field->setCursorPosition(field->text().size());
    QTest::keyClicks(field, ".ti");
    ASSERT_TRUE(QTest::qWaitFor([&] { return popup->isVisible(); }, 5000));
    EXPECT_EQ(popup->model()->index(0, 0).data().toString(), "title");
    popup->setCurrentIndex(popup->model()->index(0, 0));
    QTest::keyClick(popup, Qt::Key_Return);
    EXPECT_EQ(field->text(), "MATCH (b:Book) RETURN b.title");
}

namespace {

// Search by meaning that finds the same passages whatever is asked.
class FixedPassages : public SemanticSearcher {
public:
    QList<Hit> hits;
    bool modelInstalled() const override { return true; }
    bool modelDownloading() const override { return false; }
    QString modelName() const override { return "Tiny Embedder"; }
    QString modelSize() const override { return "12 MB"; }
    int pendingPassages() const override { return 0; }
    QCoro::Task<QList<Hit>> search(QString, QSet<QUuid>, std::optional<QSet<QString>>, int) override {
        co_return hits;
    }
};

QStringList buttonsOf(QWidget* widget) {
    QStringList texts;
    for (QPushButton* button : widget->findChildren<QPushButton*>())
        if (!button->isHidden())
            texts.append(button->text());
    return texts;
}

} // namespace

TEST(AskViews, MatchCardsShowMoreOrFewerPassagesAndSayWhenTheFilterHidesThem) {
    World w;
    const NodeType book = w.session().project().schema.nodeTypes[0];
    const QUuid summary = book.properties[1].id;
    const QString first = w.session().nodes().keys().first();
    FixedPassages index;
    for (int i = 0; i < 3; ++i)
        index.hits.append({QString("e%1").arg(i), first, summary, QString("Passage %1 of the desert").arg(i),
                           0.9 - i * 0.1});
    w.session().askEngine().setSemanticSearcher(&index);
    w.app->setQueryMode(QueryMode::Vector);
    w.session().ask("desert", AskBar::settingsOf(*w.app));
    w.waitIdle();
    AskStepsView* steps = w.views->steps();
    // The cards of a rebuild replace the old ones once deferred deletions have run.
    auto settle = [] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    auto passages = [&] {
        settle();
        return labelsOf(steps).filter(QRegularExpression("^Passage \\d of the desert$")).size();
    };
    EXPECT_EQ(passages(), 2);
    settle();
    EXPECT_TRUE(labelsOf(steps).contains(" more 1"));
    EXPECT_TRUE(buttonsOf(steps).contains("Expand"));
    EXPECT_FALSE(labelsOf(steps).contains("None of them passes the canvas's filter."));

    auto click = [&](const QString& text) {
        settle();
        for (QPushButton* button : steps->findChildren<QPushButton*>())
            if (button->text() == text && !button->isHidden()) {
                button->click();
                return true;
            }
        return false;
    };
    ASSERT_TRUE(click("Expand"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return passages() == 3; }, 5000));
    EXPECT_TRUE(buttonsOf(steps).contains("Fewer passages"));
    EXPECT_FALSE(labelsOf(steps).contains(" more 1"));
    ASSERT_TRUE(click("Fewer passages"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return passages() == 2; }, 5000));
    ASSERT_TRUE(click("Collapse"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return passages() == 0; }, 5000));
    EXPECT_TRUE(buttonsOf(steps).contains("Expand"));

    // A filter on the canvas in use that keeps only another node's neighbours hides the match.
    const QString other = w.session().nodes().keys().last();
    w.session().canvases().current().updateLens([&](CanvasLens& lens) { lens.filter.near = other; });
    settle();
    EXPECT_TRUE(labelsOf(steps).contains("None of them passes the canvas's filter."));
    w.session().askEngine().setSemanticSearcher(nullptr);
}
