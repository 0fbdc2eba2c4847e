#include "kit/support/Json.h"

#include "kit/support/AtomicFile.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(Json, WritesSortedKeysWithoutEscapedSlashesAndReadsLenientDates) {
    QJsonObject object{{"b", 1}, {"a", "x/y"}};
    QByteArray text = json::encode(object);
    EXPECT_LT(text.indexOf("\"a\""), text.indexOf("\"b\""));
    EXPECT_TRUE(text.contains("x/y"));

    auto date = json::parseDate("2024-03-01T10:20:30.123Z");
    ASSERT_TRUE(date);
    EXPECT_EQ(json::dateText(*date), "2024-03-01T10:20:30Z");
    auto offset = json::parseDate("2024-03-01T12:20:30+02:00");
    ASSERT_TRUE(offset);
    EXPECT_EQ(json::dateText(*offset), "2024-03-01T10:20:30Z");
    EXPECT_FALSE(json::parseDate("yesterday"));
}

TEST(Json, RequiredAndOptionalKeysFailOnlyWhereTheyShould) {
    QJsonObject object{{"name", "x"}, {"count", 3}, {"empty", QJsonValue::Null}};
    EXPECT_EQ(json::requireString(object, "name"), "x");
    EXPECT_THROW(json::requireString(object, "missing"), json::DecodeError);
    EXPECT_THROW(json::requireString(object, "count"), json::DecodeError);
    EXPECT_FALSE(json::optionalString(object, "missing"));
    EXPECT_FALSE(json::optionalString(object, "empty"));
    EXPECT_THROW(json::optionalBool(object, "name"), json::DecodeError);
    EXPECT_THROW(json::decodeObject("[1]"), json::DecodeError);
    EXPECT_THROW(json::decodeObject("{"), json::DecodeError);
}

TEST(AtomicFile, ReplacesWholeFilesAndCreatesFolders) {
    QTemporaryDir dir;
    QString path = dir.filePath("a/b/file.json");
    writeFileAtomically(path, "first");
    writeFileAtomically(path, "second");
    EXPECT_EQ(readFile(path), "second");
    // No temporary files are left beside it.
    EXPECT_EQ(QDir(dir.filePath("a/b")).entryList(QDir::Files | QDir::Hidden).size(), 1);
    EXPECT_THROW(readFile(dir.filePath("nope")), FileError);

    // A folder that cannot be created (a file stands in its way) fails with the file error and
    // leaves the existing file alone.
    writeFileAtomically(dir.filePath("blocker"), "keep");
    EXPECT_THROW(writeFileAtomically(dir.filePath("blocker/inner.json"), "x"), FileError);
    EXPECT_EQ(readFile(dir.filePath("blocker")), "keep");
}
