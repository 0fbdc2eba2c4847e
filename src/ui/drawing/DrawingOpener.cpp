#include "ui/drawing/DrawingOpener.h"

#include "app/notes/NotesModel.h"
#include "app/tablet/TabletBridge.h"
#include "ui/drawing/BoardScheme.h"
#include "ui/drawing/DrawingWindow.h"
#include "ui/notes/NoteEditor.h"

#include <QCryptographicHash>
#include <QSysInfo>
#include <QUuid>

namespace corvantis {

DrawingOpener::DrawingOpener(QWidget* window)
    : QObject(window)
    , m_window(window) {
}

DrawingOpener::~DrawingOpener() = default;

TabletBridge& DrawingOpener::bridge() {
    if (!m_bridge) {
        TabletBridge::Options options;
        options.engine = QString::fromLatin1(boardResources);
        // A short id of this machine for the names tried after "corvantis", the same at every start.
        options.machineId = QString::fromLatin1(
            QCryptographicHash::hash(QSysInfo::machineUniqueId(), QCryptographicHash::Sha1).toHex().left(4));
        m_bridge = new TabletBridge(options, this);
    }
    return *m_bridge;
}

void DrawingOpener::attach(NoteEditor* editor, NotesModel* model) {
    m_model = model;
    connect(editor, &NoteEditor::drawingRequested, this, [this](const QString& note, int position) {
        open(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(), note, position, false);
    });
}

void DrawingOpener::open(const QString& id, const QString& note, std::optional<int> position, bool inNote) {
    if (!m_model)
        return;
    auto* window =
        new DrawingWindow({id, note, position}, m_model->attachmentsFolder(), inNote, &bridge(), m_window);
    window->setAttribute(Qt::WA_DeleteOnClose);
    QPointer<NotesModel> model = m_model;
    connect(&window->document(), &DrawingDocument::firstSaved, this,
            [model, note, position](const NoteEmbed& embed) {
                if (model)
                    model->insertDrawing(embed, note, position);
            });
    connect(&window->document(), &DrawingDocument::emptied, this, [model, note](const NoteEmbed& embed) {
        if (model)
            model->removeEmbed(embed.file, note);
    });
    connect(&window->document(), &DrawingDocument::picturesChanged, this, [model] {
        if (model)
            emit model->attachmentsChanged();
    });
    window->show();
}

} // namespace corvantis
