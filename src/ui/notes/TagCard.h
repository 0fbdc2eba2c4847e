#pragma once

#include "kit/notes/NoteTag.h"

#include <QFrame>
#include <QPointer>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace corvantis {

class LinkPreviews;

// The live card of a tag: what the node or relationship is now, the property read, or the members a
// walk reached (a long list shut to a few rows, with "Show all" and "Show less"). With a source of
// previews, the links among the values shown come as preview cards under them.
class TagCard : public QFrame {
    Q_OBJECT
public:
    static constexpr int shortList = 5;

    explicit TagCard(QWidget* parent = nullptr);

    void setTag(const NoteTag& tag);
    // Shows the card just under `at` (global), or above it when the screen has no room below; it keeps
    // its place on the screen when its previews load and it grows.
    void popUp(const QPoint& at);
    // Where the link cards get their previews; without one no cards are shown.
    void setLinkPreviews(LinkPreviews* previews);
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
    void place();

    NoteTag m_tag;
    QPointer<LinkPreviews> m_previews;
    bool m_showAll = false;
    QPoint m_anchor;
    QVBoxLayout* m_rows;
    QPushButton* m_open;
};

} // namespace corvantis
