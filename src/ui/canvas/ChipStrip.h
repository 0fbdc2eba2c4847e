#pragma once

#include <QPointer>
#include <QWidget>

class QHBoxLayout;
class QLabel;
class QPushButton;
class QToolButton;

namespace corvantis {

class CanvasState;
class ProjectSession;

// The strip above the canvas: the filters in force as chips (each with its ✕), the nodes the brush
// marked for removal (delete them, or keep them), the arrange panel's button, and the explore pager
// ("Showing 25 of 60", "Show 25 more", "Show all").
class ChipStrip : public QWidget {
    Q_OBJECT
public:
    explicit ChipStrip(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    QToolButton* arrangeButton() const { return m_arrange; }
    QWidget* removalChip() const { return m_removal; }
    QPushButton* removeMarkedButton() const { return m_removeMarked; }
    QLabel* pagerText() const { return m_pagerText; }
    QPushButton* showMoreButton() const { return m_more; }
    QPushButton* showAllButton() const { return m_all; }
    // The filter chips now shown.
    QList<QToolButton*> filterChips() const;

private:
    CanvasState* state() const;
    void bindState();
    void refresh();
    void fillArrangeMenu();

    QPointer<ProjectSession> m_session;
    QPointer<CanvasState> m_state;
    QHBoxLayout* m_chips;
    QWidget* m_removal;
    QLabel* m_removalText;
    QPushButton* m_removeMarked;
    QToolButton* m_arrange;
    QWidget* m_pager;
    QLabel* m_pagerText;
    QPushButton* m_more;
    QPushButton* m_all;
};

} // namespace corvantis
