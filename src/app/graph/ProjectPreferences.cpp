#include "app/graph/ProjectPreferences.h"

#include "app/app/Settings.h"

namespace corvantis {

ProjectPreferences::ProjectPreferences(Settings* settings, const QUuid& project, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_project(project) {
    if (!m_settings)
        return;
    m_addsByHand = m_settings->addsByHand();
    m_excludedFromSearch = m_settings->searchScope(m_project);
    m_excludedFromTextSearch = m_settings->textScope(m_project);
}

void ProjectPreferences::setExcludedFromSearch(const QSet<QUuid>& ids) {
    if (m_excludedFromSearch == ids)
        return;
    m_excludedFromSearch = ids;
    if (m_settings)
        m_settings->setSearchScope(m_project, ids);
    emit searchScopeChanged();
}

void ProjectPreferences::setExcludedFromTextSearch(const QSet<QUuid>& ids) {
    if (m_excludedFromTextSearch == ids)
        return;
    m_excludedFromTextSearch = ids;
    if (m_settings)
        m_settings->setTextScope(m_project, ids);
    emit searchScopeChanged();
}

void ProjectPreferences::setAddsByHand(bool byHand) {
    if (m_addsByHand == byHand)
        return;
    m_addsByHand = byHand;
    if (m_settings)
        m_settings->setAddsByHand(byHand);
    emit addsByHandChanged();
}

} // namespace corvantis
