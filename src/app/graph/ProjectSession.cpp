#include "graph/ProjectSession.h"

namespace corvantis {

ProjectSession::ProjectSession(const Project& project, const ProjectLibrary& library, QObject* parent)
    : QObject(parent)
    , m_project(project)
    , m_library(library) {
}

ProjectSession::~ProjectSession() = default;

void ProjectSession::setProjectName(const QString& name) {
    if (m_project.name == name)
        return;
    m_project.name = name;
    emit projectChanged();
}

void ProjectSession::setNotice(const std::optional<QString>& notice) {
    if (m_notice == notice)
        return;
    m_notice = notice;
    emit noticeChanged();
}

QCoro::Task<> ProjectSession::close() {
    if (!m_closed) {
        m_closed = true;
        emit closed();
    }
    co_return;
}

} // namespace corvantis
