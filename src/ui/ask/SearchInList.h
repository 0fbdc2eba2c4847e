#pragma once

#include <QPointer>
#include <QTreeWidget>

namespace corvantis {

class ProjectSession;

// "Search in": the properties that search by meaning (embedded text) or word search (all text) looks
// at, by type, each with a tick; unticking one leaves it out of this project's searches.
class SearchInList : public QTreeWidget {
    Q_OBJECT
public:
    // `vector`: the embedded properties; otherwise every text property.
    explicit SearchInList(bool vector, QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

private:
    void rebuild();
    void toggled(QTreeWidgetItem* item);

    bool m_vector;
    bool m_building = false;
    QPointer<ProjectSession> m_session;
};

} // namespace corvantis
