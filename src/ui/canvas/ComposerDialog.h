#pragma once

#include <QDialog>
#include <QPointF>
#include <QPointer>
#include <optional>

class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;

namespace corvantis {

class ProjectSession;

// What opens when a person adds by hand: a node (its type and name, put where it was asked for), or a
// connection between two nodes (its relationship type among those the shape allows between them). A
// node added at the end of a connection drawn from another is connected to it as well. Each addition is
// the session's, and Undo takes it back.
class ComposerDialog : public QDialog {
    Q_OBJECT
public:
    // A node at a world point; with `from`, also a relationship from that node to the new one.
    ComposerDialog(ProjectSession& session, QPointF world, const std::optional<QString>& from,
                   QWidget* parent = nullptr);
    // A relationship between two nodes on the canvas.
    ComposerDialog(ProjectSession& session, const QString& from, const QString& to,
                   QWidget* parent = nullptr);

    QComboBox* typePicker() const { return m_type; }
    QLineEdit* nameField() const { return m_name; }
    QComboBox* relPicker() const { return m_rel; }
    // What the last accepted composer added.
    std::optional<QString> addedNode() const { return m_addedNode; }

    void accept() override;

private:
    void build(const QString& title);
    void fillRelTypes();

    QPointer<ProjectSession> m_session;
    QPointF m_world;
    std::optional<QString> m_from;
    std::optional<QString> m_to;
    QComboBox* m_type = nullptr;
    QLineEdit* m_name = nullptr;
    QComboBox* m_rel = nullptr;
    QLabel* m_note = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
    std::optional<QString> m_addedNode;
};

} // namespace corvantis
