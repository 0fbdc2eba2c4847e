#pragma once

#include <QObject>
#include <QPointer>
#include <optional>

class QWidget;

namespace corvantis {

class NoteEditor;
class NotesModel;
class TabletBridge;

// Opens drawings from the notes of a window: a new one where the slash command "Drawing" asks, an
// existing one by its id. It keeps the one tablet bridge of the window, shared by its drawings, and
// puts each drawing's embed into its note at the first save (and takes it out when it is emptied).
class DrawingOpener : public QObject {
    Q_OBJECT
public:
    explicit DrawingOpener(QWidget* window);
    ~DrawingOpener() override;

    // Follows the editor's requests for drawings in the notes of `model`.
    void attach(NoteEditor* editor, NotesModel* model);
    // Opens the drawing `id` of `note`; a new one when `inNote` is false, placed at `position`.
    void open(const QString& id, const QString& note, std::optional<int> position, bool inNote);

private:
    TabletBridge& bridge();

    QWidget* m_window;
    QPointer<NotesModel> m_model;
    TabletBridge* m_bridge = nullptr;
};

} // namespace corvantis
