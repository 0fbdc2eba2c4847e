// Preview cards where a person reads links: under a link field of the inspector, and in a tag's card
// in the notes. Pages come from a server on 127.0.0.1.
#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "app/links/LinkPreviews.h"
#include "app/notes/NotesModel.h"
#include "kit/projects/ExampleProject.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"
#include "ui/graph/Inspector.h"
#include "ui/links/LinkPreviewCard.h"
#include "ui/notes/TagCard.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QByteArray pngOf(const QColor& color) {
    QImage image(64, 40, QImage::Format_RGB32);
    image.fill(color);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

// The example with its outside links replaced by pages of the local server, opened in an app.
struct Previews {
    test::LocalHttpServer server{[](const test::HttpRequest& request) {
        static const QByteArray picture = pngOf(QColor("#2FA886"));
        if (request.path == "/e.png")
            return test::HttpResponse{200, picture, {{"Content-Type", "image/png"}}};
        if (request.path == "/entropy")
            return test::HttpResponse{200,
                                      "<meta property='og:title' content='Entropy, explained'>"
                                      "<meta property='og:image' content='/e.png'>",
                                      {}};
        if (request.path == "/other")
            return test::HttpResponse{200, "<title>Another page</title>", {}};
        return test::HttpResponse{404, "", {}};
    }};
    QTemporaryDir dir;
    ProjectExport example = ExampleProject::make();
    std::unique_ptr<AppModel> app;
    QString information, entropy, freeEnergy;
    QUuid reference, summary;

    Previews() {
        information = example.nodes[0].id;
        entropy = example.nodes[1].id;
        freeEnergy = example.nodes[2].id;
        example.nodes[1].properties.insert("reference", GraphValue::string(url("/entropy")));
        example.nodes[2].properties.insert("reference", GraphValue::string(url("/other")));
        // A text property holding an address is no link: it gets no card.
        example.nodes[0].properties.insert("summary", GraphValue::string(url("/summary")));
        for (const PropertyDef& property : example.project.schema.nodeTypes[0].properties) {
            if (property.name == "reference")
                reference = property.id;
            if (property.name == "summary")
                summary = property.id;
        }
        ProjectLibrary(dir.filePath("Projects")).importProject(example);
        app = std::make_unique<AppModel>(std::make_unique<Settings>(dir.filePath("s.ini")),
                                         dir.filePath("Projects"));
        app->open(app->projects().first());
    }
    ~Previews() {
        if (app->session())
            app->session()->close();
    }
    QString url(const QString& path) const { return server.url(path).toString(); }
    ProjectSession& session() { return *app->session(); }
};

} // namespace

TEST(PreviewPlaces, InspectorShowsACardUnderALinkFieldThatFollowsItsValue) {
    Previews p;
    Inspector inspector;
    inspector.setSession(&p.session());
    inspector.setLinkPreviews(&p.app->linkPreviews());
    inspector.resize(320, 600);

    p.session().setSelection(GraphSelection::node(p.entropy));
    LinkPreviewCard* card = inspector.linkCard(p.reference);
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(card->url(), p.server.url("/entropy"));
    ASSERT_TRUE(test::waitUntil([&] { return card->preview().has_value(); }));
    EXPECT_EQ(card->preview()->title, QString("Entropy, explained"));
    EXPECT_FALSE(card->findChild<QLabel*>()->pixmap().isNull());
    EXPECT_EQ(p.server.requestCount("/entropy"), 1);
    EXPECT_EQ(inspector.findChildren<LinkPreviewCard*>().size(), 1);

    // Another value typed into the field: the card follows it.
    auto* field = qobject_cast<QLineEdit*>(inspector.editor(p.reference));
    ASSERT_NE(field, nullptr);
    field->setText(p.url("/other"));
    field->setModified(true);
    emit field->editingFinished();
    ASSERT_TRUE(test::waitUntil([&] {
        LinkPreviewCard* now = inspector.linkCard(p.reference);
        return now && now->url() == p.server.url("/other") && now->preview().has_value();
    }));
    EXPECT_EQ(inspector.linkCard(p.reference)->preview()->title, QString("Another page"));
    EXPECT_EQ(inspector.findChildren<LinkPreviewCard*>().size(), 1);

    // Text that is no link is refused: the value and its card stand.
    field->setText(QStringLiteral("not a link"));
    field->setModified(true);
    emit field->editingFinished();
    EXPECT_EQ(p.session().notice().value_or(QString()), "“not a link” isn't a link.");
    ASSERT_NE(inspector.linkCard(p.reference), nullptr);
    EXPECT_EQ(inspector.linkCard(p.reference)->url(), p.server.url("/other"));
    // The value emptied: the card goes.
    field->setText(QString());
    field->setModified(true);
    emit field->editingFinished();
    ASSERT_TRUE(test::waitUntil(
        [&] { return p.session().nodes().value(p.entropy).properties.value("reference").isNull(); }));
    EXPECT_EQ(inspector.linkCard(p.reference), nullptr);
    EXPECT_TRUE(inspector.findChildren<LinkPreviewCard*>().isEmpty());

    // A node whose only address is in a text property: no card at all.
    p.session().setSelection(GraphSelection::node(p.information));
    EXPECT_NE(inspector.editor(p.summary), nullptr);
    EXPECT_TRUE(inspector.findChildren<LinkPreviewCard*>().isEmpty());
    EXPECT_EQ(p.server.requestCount("/summary"), 0);

    // Without a source of previews the inspector shows no cards.
    Inspector plain;
    plain.setSession(&p.session());
    p.session().setSelection(GraphSelection::node(p.freeEnergy));
    EXPECT_NE(inspector.linkCard(p.reference), nullptr);
    EXPECT_EQ(plain.linkCard(p.reference), nullptr);
    EXPECT_TRUE(plain.findChildren<LinkPreviewCard*>().isEmpty());
}

TEST(PreviewPlaces, TagCardShowsTheTaggedNodesLinks) {
    Previews p;
    const NotesModel& notes = p.session().notes();
    TagCard card;
    card.setLinkPreviews(&p.app->linkPreviews());

    // The node itself: its link among its values, as a card that loads.
    card.setTag(notes.noteTag(TagToken{p.entropy, {}, std::nullopt}));
    QList<LinkPreviewCard*> cards = card.findChildren<LinkPreviewCard*>();
    ASSERT_EQ(cards.size(), 1);
    EXPECT_EQ(cards[0]->url(), p.server.url("/entropy"));
    ASSERT_TRUE(test::waitUntil([&] { return cards[0]->preview().has_value(); }));
    EXPECT_EQ(cards[0]->preview()->title, QString("Entropy, explained"));

    // The link property read alone: that link; another property read: none.
    card.setTag(notes.noteTag(TagToken{p.freeEnergy, {}, QStringLiteral("reference")}));
    cards = card.findChildren<LinkPreviewCard*>();
    ASSERT_EQ(cards.size(), 1);
    EXPECT_EQ(cards[0]->url(), p.server.url("/other"));
    card.setTag(notes.noteTag(TagToken{p.freeEnergy, {}, QStringLiteral("summary")}));
    EXPECT_TRUE(card.findChildren<LinkPreviewCard*>().isEmpty());

    // A node with an address only in text, and a walk to linked nodes: no cards on the card.
    card.setTag(notes.noteTag(TagToken{p.information, {}, std::nullopt}));
    EXPECT_TRUE(card.findChildren<LinkPreviewCard*>().isEmpty());
    card.setTag(notes.noteTag(TagToken{p.information, {TagToken::Hop{true, QString()}}, std::nullopt}));
    ASSERT_TRUE(card.tag().members.has_value());
    EXPECT_TRUE(card.findChildren<LinkPreviewCard*>().isEmpty());

    // One fetch of each page, however many cards asked.
    ASSERT_TRUE(test::waitUntil([&] { return p.server.requestCount("/other") == 1; }));
    card.setTag(notes.noteTag(TagToken{p.entropy, {}, std::nullopt}));
    ASSERT_EQ(card.findChildren<LinkPreviewCard*>().size(), 1);
    EXPECT_TRUE(card.findChild<LinkPreviewCard*>()->preview().has_value()); // from the cache at once
    EXPECT_EQ(p.server.requestCount("/entropy"), 1);
    EXPECT_EQ(p.server.requestCount("/summary"), 0);

    // A tag near the foot of the screen: the card, grown by its preview, opens above it, on the screen.
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint low(room.left() + 20, room.bottom() - 10);
    card.popUp(low);
    EXPECT_TRUE(card.isVisible());
    EXPECT_LT(card.geometry().bottom(), low.y());
    EXPECT_TRUE(room.contains(card.geometry())) << card.geometry().height();
    const QPoint high(room.left() + 20, room.top() + 10);
    card.popUp(high);
    EXPECT_GT(card.geometry().top(), high.y());
    card.hide();
}
