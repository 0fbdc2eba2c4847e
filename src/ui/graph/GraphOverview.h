#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace corvantis {

class ProjectSession;

// The Graph mode's face while the canvas isn't drawn: how many nodes and relationships of each type the
// graph holds, and the way to the table.
class GraphOverview : public QWidget {
    Q_OBJECT
public:
    explicit GraphOverview(QWidget* parent = nullptr);
    // Lets go of the session first: the controls that close with the view may still send it edits.
    ~GraphOverview() override;

    void setSession(ProjectSession* session);
    QLabel* summary() const { return m_summary; }
    QPushButton* tableButton() const { return m_showTable; }

signals:
    void showTableRequested();

protected:
    void changeEvent(QEvent* event) override;

private:
    void refresh();

    QPointer<ProjectSession> m_session;
    QLabel* m_summary;
    QWidget* m_types;
    QVBoxLayout* m_typesLayout;
    QPushButton* m_showTable;
};

} // namespace corvantis
