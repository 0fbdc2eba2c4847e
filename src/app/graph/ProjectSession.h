#pragma once

#include "projects/Project.h"
#include "projects/ProjectLibrary.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <optional>

namespace corvantis {

// The open project. For now it holds the project as the library gave it; the database, the records,
// editing and undo are attached here as they are built.
class ProjectSession : public QObject {
    Q_OBJECT
public:
    ProjectSession(const Project& project, const ProjectLibrary& library, QObject* parent = nullptr);
    ~ProjectSession() override;

    const Project& project() const { return m_project; }
    const ProjectLibrary& library() const { return m_library; }

    // Takes a new name into the project in memory (the app model saves it).
    void setProjectName(const QString& name);

    std::optional<QString> notice() const { return m_notice; }
    void setNotice(const std::optional<QString>& notice);

    // Saves what is pending and closes the database. Starts at once; the returned task may be awaited
    // later, or dropped.
    QCoro::Task<> close();
    bool isClosed() const { return m_closed; }

signals:
    void projectChanged();
    void noticeChanged();
    void closed();

private:
    Project m_project;
    ProjectLibrary m_library;
    std::optional<QString> m_notice;
    bool m_closed = false;
};

} // namespace corvantis
