#pragma once

#include "kit/notes/NoteTag.h"

#include <QFrame>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace corvantis {

// The live card of a tag: what the node or relationship is now, the property read, or the members a
// walk reached (a long list shut to a few rows, with "Show all" and "Show less").
class TagCard : public QFrame {
    Q_OBJECT
public:
    static constexpr int shortList = 5;

    explicit TagCard(QWidget* parent = nullptr);

    void setTag(const NoteTag& tag);
    const NoteTag& tag() const { return m_tag; }
    bool showsAll() const { return m_showAll; }
    void setShowsAll(bool all);
    QPushButton* openButton() const { return m_open; }

signals:
    // Follow the tag into the graph.
    void openRequested(const NoteTag& tag);
    // A member row was followed: the id of the node.
    void memberRequested(const QString& id);

private:
    void rebuild();

    NoteTag m_tag;
    bool m_showAll = false;
    QVBoxLayout* m_rows;
    QPushButton* m_open;
};

} // namespace corvantis
