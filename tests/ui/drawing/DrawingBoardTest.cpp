#include "tests/support/TestSupport.h"
#include "ui/drawing/DrawingWindow.h"
#include "ui/drawing/WebDrawingPage.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

// The real board page in the embedded browser, offscreen: it comes up, takes a drawing, and saves it
// through the document; emptying it takes the files and the embed away again.
TEST(DrawingBoard, TheBoardPageDrawsSavesAndEmpties) {
    QTemporaryDir dir;
    const QString attachments = dir.filePath("attachments");
    const QString id = QStringLiteral("5E1F7A2B-0000-4000-8000-000000000001");
    DrawingWindow window({id, "note", std::nullopt}, attachments, false, nullptr);
    window.show();
    DrawingDocument& document = window.document();
    ASSERT_TRUE(test::waitUntil([&] { return document.ready(); }, 90000)) << "the board page never came up";

    QSignalSpy first(&document, &DrawingDocument::firstSaved);
    QSignalSpy emptied(&document, &DrawingDocument::emptied);
    // An untouched board saves nothing.
    document.save();
    ASSERT_TRUE(test::waitUntil([&] { return !document.saving(); }, 30000));
    EXPECT_TRUE(QDir(attachments).entryList(QDir::Files).isEmpty());

    // A stroke made as the pen makes it: the page reports the change, and the save follows by itself.
    window.page().run(QStringLiteral(
        "(() => { const c = document.querySelector('canvas'); const r = c.getBoundingClientRect();"
        "  const at = (x, y) => ({ pointerId: 1, pointerType: 'mouse', button: 0, bubbles: true,"
        "    clientX: r.left + x, clientY: r.top + y });"
        "  c.dispatchEvent(new PointerEvent('pointerdown', at(40, 40)));"
        "  for (let i = 1; i <= 10; i++) c.dispatchEvent(new PointerEvent('pointermove', at(40 + 12 * i, 40 "
        "+ 5 * i)));"
        "  c.dispatchEvent(new PointerEvent('pointerup', at(160, 90))); })()"));
    ASSERT_TRUE(test::waitUntil([&] { return first.size() == 1 && !document.pending(); }, 30000));
    const QString light = QDir(attachments).filePath(id + ".drawing.png");
    const QImage picture(light);
    ASSERT_FALSE(picture.isNull()) << "no picture at " << light.toStdString();
    EXPECT_GT(picture.width(), 100);
    EXPECT_FALSE(QImage(QDir(attachments).filePath(id + ".drawing-dark.png")).isNull());
    QFile source(QDir(attachments).filePath(id + ".drawing.json"));
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    EXPECT_TRUE(source.readAll().contains("\"kind\":\"stroke\""));

    // Undo on the board empties it again: the embed and the three files go.
    window.page().run(QStringLiteral("document.querySelector('[data-action=undo]').click()"));
    ASSERT_TRUE(test::waitUntil([&] { return emptied.size() == 1 && !document.pending(); }, 30000));
    EXPECT_TRUE(QDir(attachments).entryList(QDir::Files).isEmpty());
    window.close();
    ASSERT_TRUE(test::waitUntil([&] { return document.finished(); }, 30000));
}

// Under AddressSanitizer: the embedded browser's own Chromium code frees objects through base types of
// another size, which the sanitizer reports as a type mismatch on delete. That one check is off in this
// test program only; the environment's options still apply on top.
extern "C" const char* __asan_default_options() {
    return "new_delete_type_mismatch=0";
}
