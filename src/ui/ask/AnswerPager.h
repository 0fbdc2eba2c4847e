#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QPushButton;
class QToolButton;

namespace corvantis {

class AppModel;
class ProjectSession;

// Over the answer view: how much of the answer stands on the canvas, the next page, all of it (asked
// first for a large answer), narrowing with the model, and the filter with its facets (types, choices,
// the neighbourhood of the hub). Filtering asks nothing again.
class AnswerPager : public QWidget {
    Q_OBJECT
public:
    explicit AnswerPager(AppModel& app, QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    QLabel* counter() const { return m_counter; }
    QPushButton* moreButton() const { return m_more; }
    QPushButton* allButton() const { return m_all; }
    QPushButton* narrowButton() const { return m_narrow; }
    QToolButton* filterButton() const { return m_filter; }

    // The confirmation's title for putting `count` records on the canvas.
    static QString showAllTitle(int count);
    static QString showAllMessage();

private:
    void sync();
    void showAll();
    void fillFilterMenu();

    AppModel& m_app;
    QPointer<ProjectSession> m_session;
    QLabel* m_counter;
    QLabel* m_stopped;
    QPushButton* m_more;
    QPushButton* m_all;
    QPushButton* m_narrow;
    QToolButton* m_filter;
};

} // namespace corvantis
