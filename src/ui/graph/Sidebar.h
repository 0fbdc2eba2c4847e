#pragma once

#include <QPointer>
#include <QUuid>
#include <QWidget>

class QListWidget;
class QVBoxLayout;

namespace corvantis {

class ProjectSession;

// The sidebar: the node types of the shape with their colour and how many nodes each holds (a click shows
// that type on the canvas), then the sections other areas add (saved questions, the notes tree).
class Sidebar : public QWidget {
    Q_OBJECT
public:
    explicit Sidebar(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);
    void addSection(QWidget* section);

    QListWidget* typeList() const { return m_types; }

signals:
    void typeActivated(const QUuid& type);

protected:
    void changeEvent(QEvent* event) override;

private:
    void refresh();

    QPointer<ProjectSession> m_session;
    QListWidget* m_types;
    QVBoxLayout* m_sections;
};

} // namespace corvantis
