// Typing in a long note: the time from a key press to the styled text and the model's body, for a note
// of 5,000 lines with lists, bold, code and tags, in editing and in reading mode; and opening such a note.
// Prints a table of medians over several runs (offscreen, no display needed).
#include "app/graph/ProjectSession.h"
#include "app/notes/NotesModel.h"
#include "kit/support/Json.h"
#include "ui/notes/NoteEditor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <QTextBlock>
#include <algorithm>
#include <cstdio>

using namespace corvantis;

namespace {

double median(QList<double> values) {
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

QString longNote(int lines, const QString& tagId) {
    QStringList text;
    for (int i = 0; i < lines; ++i) {
        switch (i % 4) {
        case 0:
            text << QStringLiteral("## Section %1").arg(i);
            break;
        case 1:
            text << QStringLiteral("- item %1 with **bold**, `code` and a [link](https://example.org/%1)").arg(i);
            break;
        case 2:
            text << QStringLiteral("- [ ] to do %1 about @%2").arg(i).arg(tagId);
            break;
        default:
            text << QStringLiteral("Plain words of line %1, some *italic* and ==marked== text.").arg(i);
        }
    }
    return text.join('\n');
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    ProjectLibrary library(dir.filePath("Projects"));
    Project project = library.create("Bench");
    NodeType person;
    person.id = QUuid::createUuid();
    person.name = "Person";
    person.color = "iris";
    PropertyDef name;
    name.id = QUuid::createUuid();
    name.name = "name";
    person.properties = {name};
    person.titleProperty = name.id;
    project.schema.nodeTypes = {person};
    library.save(project);
    ProjectSession session(project, library, nullptr);
    const QString ada = *session.createNode(session.project().schema.nodeTypes[0], "Ada");
    NotesModel& notes = session.notes();
    const QString note = notes.newNote(std::nullopt, "Long");
    constexpr int lines = 5000;
    notes.setBody(note, longNote(lines, ada));

    NoteEditor editor(notes);
    editor.resize(1000, 700);
    editor.show();

    std::printf("%-34s %12s\n", "measure (5,000-line note)", "median ms");
    for (const bool reading : {false, true}) {
        QList<double> opening;
        for (int run = 0; run < 5; ++run) {
            QElapsedTimer clock;
            clock.start();
            editor.setNote(std::nullopt);
            editor.setReading(reading);
            editor.setNote(note);
            QApplication::processEvents();
            opening << clock.nsecsElapsed() / 1e6;
        }
        std::printf("%-34s %12.2f\n", reading ? "open note, reading" : "open note, editing", median(opening));

        QList<double> keys;
        QTextCursor cursor(editor.document()->findBlockByNumber(lines / 2));
        cursor.movePosition(QTextCursor::EndOfBlock);
        editor.setTextCursor(cursor);
        editor.setFocus();
        for (int i = 0; i < 300; ++i) {
            const QChar c = QChar('a' + i % 26);
            QKeyEvent press(QEvent::KeyPress, Qt::Key_A + i % 26, Qt::NoModifier, QString(c));
            QKeyEvent release(QEvent::KeyRelease, Qt::Key_A + i % 26, Qt::NoModifier, QString(c));
            QElapsedTimer clock;
            clock.start();
            QApplication::sendEvent(&editor, &press);
            QApplication::sendEvent(&editor, &release);
            // Paint what changed, as the screen would.
            editor.viewport()->repaint();
            keys << clock.nsecsElapsed() / 1e6;
        }
        std::printf("%-34s %12.3f\n", reading ? "one key, reading" : "one key, editing", median(keys));
        std::printf("%-34s %12.3f\n", reading ? "slowest key, reading" : "slowest key, editing",
                    *std::max_element(keys.begin(), keys.end()));
    }
    notes.close();
    return 0;
}
