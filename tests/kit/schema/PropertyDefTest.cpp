#include "kit/schema/PropertyDef.h"

#include "kit/support/Json.h"

#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <clocale>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

PropertyDef make(PropertyKind kind, const QString& name = QStringLiteral("Field"),
                 std::optional<QStringList> options = std::nullopt) {
    PropertyDef property;
    property.id = QUuid::createUuid();
    property.name = name;
    property.kind = kind;
    property.options = options;
    return property;
}

} // namespace

TEST(PropertyKinds, TableOfKinds) {
    QStringList titles, ids, columns;
    for (PropertyKind kind : PropertyKinds::all) {
        titles << PropertyKinds::title(kind);
        ids << PropertyKinds::id(kind);
        columns << PropertyKinds::columnType(kind);
        EXPECT_EQ(PropertyKinds::fromId(PropertyKinds::id(kind)), kind);
    }
    EXPECT_EQ(titles, (QStringList{"Text", "Number", "Link", "Boolean", "Enum"}));
    EXPECT_EQ(ids, (QStringList{"text", "number", "link", "boolean", "enum"}));
    EXPECT_EQ(columns, (QStringList{"STRING", "DOUBLE", "STRING", "BOOLEAN", "STRING"}));
    EXPECT_FALSE(PropertyKinds::fromId(QStringLiteral("choice")));
    EXPECT_TRUE(PropertyKinds::isWords(PropertyKind::Choice));
    EXPECT_FALSE(PropertyKinds::isWords(PropertyKind::Link));
    EXPECT_FALSE(PropertyKinds::canBeTitle(PropertyKind::Boolean));
    EXPECT_TRUE(PropertyKinds::canBeTitle(PropertyKind::Number));
}

TEST(PropertyDef, AcceptsOnlyWhatItsKindHolds) {
    auto text = make(PropertyKind::Text);
    EXPECT_TRUE(text.accepts(GraphValue::string("x")));
    EXPECT_FALSE(text.accepts(GraphValue::string("")));
    EXPECT_FALSE(text.accepts(GraphValue::integer(1)));

    auto number = make(PropertyKind::Number);
    EXPECT_TRUE(number.accepts(GraphValue::number(1.5)));
    EXPECT_TRUE(number.accepts(GraphValue::integer(2)));
    EXPECT_FALSE(number.accepts(GraphValue::string("2")));

    auto link = make(PropertyKind::Link);
    EXPECT_TRUE(link.accepts(GraphValue::string("example.org/page")));
    EXPECT_FALSE(link.accepts(GraphValue::string("not a link")));
    EXPECT_FALSE(link.accepts(GraphValue::string("ftp://example.org")));

    auto flag = make(PropertyKind::Boolean);
    EXPECT_TRUE(flag.accepts(GraphValue::boolean(false)));
    EXPECT_FALSE(flag.accepts(GraphValue::integer(0)));

    auto choice = make(PropertyKind::Choice, "Status", QStringList{"Open", "Done"});
    EXPECT_TRUE(choice.accepts(GraphValue::string("Done")));
    EXPECT_FALSE(choice.accepts(GraphValue::string("done")));
    EXPECT_FALSE(make(PropertyKind::Choice).accepts(GraphValue::string("Done")));

    for (const auto& property : {text, number, link, flag, choice}) {
        EXPECT_FALSE(property.accepts(GraphValue::null()));
        EXPECT_FALSE(property.accepts(GraphValue::list({GraphValue::string("Done")})));
    }

    EXPECT_EQ(choice.choices(), (QStringList{"Open", "Done"}));
    auto textWithOptions = make(PropertyKind::Text, "Notes", QStringList{"a"});
    EXPECT_FALSE(textWithOptions.choices());

    auto embedded = make(PropertyKind::Text);
    embedded.embedded = true;
    EXPECT_TRUE(embedded.isEmbedded());
    embedded.kind = PropertyKind::Choice;
    EXPECT_FALSE(embedded.isEmbedded());
}

TEST(PropertyDef, DefaultsAreKeptOnlyWhenAcceptedAndFillEmptyCells) {
    auto year = make(PropertyKind::Number, "Year");
    year.setDefault(GraphValue::string("1999"));
    EXPECT_FALSE(year.defaultValue);
    year.setDefault(GraphValue::integer(2000));
    EXPECT_EQ(year.validDefault(), GraphValue::integer(2000));

    auto status = make(PropertyKind::Choice, "Status", QStringList{"Open", "Done"});
    status.setDefault(GraphValue::string("Open"));

    PropertyMap values{{"year", GraphValue::integer(1990)}, {"status", GraphValue::null()}};
    PropertyMap filled = PropertyDef::fillingDefaults({year, status}, values);
    EXPECT_EQ(filled.value("year"), GraphValue::integer(1990)); // a value is never overwritten
    EXPECT_EQ(filled.value("status"), GraphValue::string("Open"));
    filled = PropertyDef::fillingDefaults({year, status}, {});
    EXPECT_EQ(filled.value("year"), GraphValue::integer(2000));
    EXPECT_EQ(filled.size(), 2);

    // A stored default that the kind refuses fills nothing.
    auto broken = make(PropertyKind::Text, "Label");
    broken.defaultValue = GraphValue::integer(1);
    EXPECT_FALSE(broken.validDefault());
    EXPECT_TRUE(broken.filling({}).isEmpty());
}

TEST(PropertyDef, ChangeKindClearsEmbeddingAndRefusedDefaults) {
    auto summary = make(PropertyKind::Text, "Summary");
    summary.embedded = true;
    summary.setDefault(GraphValue::string("https://example.org"));
    summary.changeKind(PropertyKind::Link);
    EXPECT_FALSE(summary.embedded);
    EXPECT_EQ(summary.defaultValue, GraphValue::string("https://example.org"));
    summary.changeKind(PropertyKind::Number);
    EXPECT_EQ(summary.kind, PropertyKind::Number);
    EXPECT_FALSE(summary.defaultValue);

    auto text = make(PropertyKind::Text);
    text.embedded = true;
    text.changeKind(PropertyKind::Text);
    EXPECT_EQ(text.embedded, true);
}

TEST(PropertyDef, SetOptionsCleansTheListAndCarriesARenamedDefault) {
    auto status = make(PropertyKind::Choice, "Status");
    status.setOptions({" Open ", "", "Done", "Open", "  ", "Blocked"});
    EXPECT_EQ(status.options, (QStringList{"Open", "Done", "Blocked"}));

    status.setDefault(GraphValue::string("Done"));
    status.setOptions({"Open", "Finished", "Blocked"});
    EXPECT_EQ(status.defaultValue, GraphValue::string("Finished"));
    EXPECT_TRUE(status.validDefault());

    // A rename elsewhere leaves the default alone.
    status.setOptions({"Todo", "Finished", "Blocked"});
    EXPECT_EQ(status.defaultValue, GraphValue::string("Finished"));

    // Two positions changed at once: not a rename, so the default stays and is no longer valid.
    status.setOptions({"Backlog", "Closed", "Blocked"});
    EXPECT_EQ(status.defaultValue, GraphValue::string("Finished"));
    EXPECT_FALSE(status.validDefault());

    // A removed default stays in the definition but is not valid.
    auto size = make(PropertyKind::Choice, "Size", QStringList{"S", "M", "L"});
    size.setDefault(GraphValue::string("M"));
    size.setOptions({"S", "L"});
    EXPECT_EQ(size.defaultValue, GraphValue::string("M"));
    EXPECT_FALSE(size.validDefault());
    EXPECT_EQ(size.options, (QStringList{"S", "L"}));
}

TEST(PropertyDef, ChoiceMatchesExactlyFirstThenLoosely) {
    auto place = make(PropertyKind::Choice, "Place", QStringList{"Cafe", "Café", "Bar"});
    EXPECT_EQ(place.choice(" Café "), QStringLiteral("Café"));
    EXPECT_EQ(place.choice("CAFÉ"), QStringLiteral("Cafe")); // loose: the first equal one
    EXPECT_EQ(place.choice("bar"), QStringLiteral("Bar"));
    EXPECT_FALSE(place.choice("Pub"));
    EXPECT_FALSE(make(PropertyKind::Choice).choice("Bar"));
}

TEST(PropertyDef, ValueFromTypedTextPerKind) {
    // Blank text is null for every kind.
    for (PropertyKind kind : PropertyKinds::all) {
        auto property = make(kind, "Field", QStringList{"A"});
        EXPECT_EQ(property.value(" "), GraphValue::null()) << PropertyKinds::id(kind).toStdString();
        EXPECT_EQ(property.value("\n\t"), GraphValue::null());
    }

    auto text = make(PropertyKind::Text);
    EXPECT_EQ(text.value("  Ada \n"), GraphValue::string("Ada"));

    auto number = make(PropertyKind::Number);
    EXPECT_EQ(number.value("1,000"), GraphValue::number(1000));
    EXPECT_EQ(number.value(" -2.5e3 "), GraphValue::number(-2500));
    EXPECT_EQ(number.value("+.5"), GraphValue::number(0.5));
    EXPECT_EQ(number.value("12").value().kind(), GraphValue::Kind::Number);
    EXPECT_FALSE(number.value("inf"));
    EXPECT_FALSE(number.value("-infinity"));
    EXPECT_FALSE(number.value("nan"));
    EXPECT_FALSE(number.value("1e999"));
    EXPECT_FALSE(number.value("12abc"));
    EXPECT_FALSE(number.value("1.5.2"));
    EXPECT_FALSE(number.value("1 000"));
    EXPECT_FALSE(number.value(", 5")); // white space at the start once the comma is gone
    EXPECT_FALSE(number.value("3,5 kg"));
    EXPECT_FALSE(number.value("٣"));

    auto flag = make(PropertyKind::Boolean);
    for (const char* yes : {"true", "YES", "y", "1", "✓", "✔", "On", "checked"})
        EXPECT_EQ(flag.value(QString::fromUtf8(yes)), GraphValue::boolean(true)) << yes;
    for (const char* no : {"false", "No", "n", "0", "✗", "✕", "×", "OFF", "Unchecked"})
        EXPECT_EQ(flag.value(QString::fromUtf8(no)), GraphValue::boolean(false)) << no;
    EXPECT_FALSE(flag.value("maybe"));
    EXPECT_FALSE(flag.value("2"));

    auto link = make(PropertyKind::Link);
    EXPECT_EQ(link.value(" example.org/a?b=c "), GraphValue::string("https://example.org/a?b=c"));
    EXPECT_EQ(link.value("http://Example.org"), GraphValue::string("http://example.org"));
    EXPECT_FALSE(link.value("example"));
    EXPECT_FALSE(link.value("mailto:ada@example.org"));

    auto choice = make(PropertyKind::Choice, "Status", QStringList{"Open", "Résolu"});
    EXPECT_EQ(choice.value("resolu"), GraphValue::string("Résolu"));
    EXPECT_EQ(choice.value("Open"), GraphValue::string("Open"));
    EXPECT_FALSE(choice.value("Closed"));
}

TEST(PropertyDef, NumberParsingIgnoresTheProcessLocale) {
    // Build a German locale (decimal comma) into a temporary folder and switch the process's numbers to it:
    // "2.5" must still read as two and a half.
    QTemporaryDir locales;
    ASSERT_TRUE(locales.isValid());
    QProcess localedef;
    localedef.start(QStringLiteral("localedef"),
                    {"-i", "de_DE", "-f", "UTF-8", locales.filePath(QStringLiteral("de_DE.UTF-8"))});
    if (!localedef.waitForFinished(60000) || localedef.exitCode() != 0)
        GTEST_SKIP() << "localedef could not build a German locale here";
    const QByteArray previousPath = qgetenv("LOCPATH");
    qputenv("LOCPATH", locales.path().toLocal8Bit());
    const std::string previous = std::setlocale(LC_NUMERIC, nullptr);
    ASSERT_NE(std::setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr);
    const std::string decimalPoint = std::localeconv()->decimal_point;

    auto number = make(PropertyKind::Number);
    auto parsed = number.value("2.5");
    auto grouped = number.value("1,234.5");

    std::setlocale(LC_NUMERIC, previous.c_str());
    if (previousPath.isNull())
        qunsetenv("LOCPATH");
    else
        qputenv("LOCPATH", previousPath);
    EXPECT_EQ(decimalPoint, ",");
    EXPECT_EQ(parsed, GraphValue::number(2.5));
    EXPECT_EQ(grouped, GraphValue::number(1234.5));
}

TEST(PropertyDef, TitleLookupAndLikelyTitle) {
    auto year = make(PropertyKind::Number, "Name");
    auto summary = make(PropertyKind::Text, "Summary");
    auto heading = make(PropertyKind::Text, "Title");
    QList<PropertyDef> properties{year, summary, heading};
    ASSERT_NE(PropertyDef::title(heading.id, properties), nullptr);
    EXPECT_EQ(PropertyDef::title(heading.id, properties)->name, "Title");
    EXPECT_EQ(PropertyDef::title(QUuid::createUuid(), properties), nullptr);

    // "Name" is a number here, so it doesn't count; "Title" is the first text titled by column.
    EXPECT_EQ(PropertyDef::likelyTitle(properties)->id, heading.id);
    EXPECT_EQ(PropertyDef::likelyTitle({year, summary})->id, summary.id);
    EXPECT_FALSE(PropertyDef::likelyTitle({year}));
    EXPECT_FALSE(PropertyDef::likelyTitle({}));
    EXPECT_EQ(PropertyDef::likelyTitle({summary, make(PropertyKind::Text, "LABEL")})->name, "LABEL");
}

TEST(PropertyDef, JsonRoundTripLeavesAbsentKeysOutAndRefusesMissingOnes) {
    auto status = make(PropertyKind::Choice, "Status", QStringList{"Open", "Done"});
    status.setDefault(GraphValue::string("Open"));
    QJsonObject object = status.toJson();
    EXPECT_EQ(object.value("kind").toString(), "enum");
    EXPECT_EQ(object.value("id").toString(), json::uuidText(status.id));
    EXPECT_FALSE(object.contains("embedded"));
    EXPECT_EQ(PropertyDef::fromJson(json::decodeObject(json::encode(object))), status);

    auto bare = make(PropertyKind::Number, "Year");
    QJsonObject bareObject = bare.toJson();
    EXPECT_EQ(bareObject.keys(), (QStringList{"id", "kind", "name"}));
    EXPECT_EQ(PropertyDef::fromJson(bareObject), bare);

    auto withDefault = make(PropertyKind::Number, "Year");
    withDefault.embedded = false;
    withDefault.setDefault(GraphValue::integer(3)); // stored as a number once written
    PropertyDef back = PropertyDef::fromJson(withDefault.toJson());
    EXPECT_EQ(back.defaultValue, GraphValue::number(3));
    EXPECT_EQ(back.embedded, false);

    for (const char* key : {"id", "name", "kind"}) {
        QJsonObject missing = status.toJson();
        missing.remove(QString::fromLatin1(key));
        EXPECT_THROW(PropertyDef::fromJson(missing), json::DecodeError) << key;
    }
    QJsonObject unknownKind = status.toJson();
    unknownKind["kind"] = "choice";
    EXPECT_THROW(PropertyDef::fromJson(unknownKind), json::DecodeError);
    QJsonObject badOption = status.toJson();
    badOption["options"] = QJsonArray{"a", 2};
    EXPECT_THROW(PropertyDef::fromJson(badOption), json::DecodeError);
}
