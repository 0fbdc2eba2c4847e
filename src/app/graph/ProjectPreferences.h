#pragma once

#include <QObject>
#include <QSet>
#include <QUuid>

namespace corvantis {

class Settings;

// What the person chose for this project and for Build, kept in the per-user settings: the properties
// left out of search by meaning and of word search (per project), and whether Build adds by hand.
// Without settings the choices live only as long as the session.
class ProjectPreferences : public QObject {
    Q_OBJECT
public:
    ProjectPreferences(Settings* settings, const QUuid& project, QObject* parent = nullptr);

    const QSet<QUuid>& excludedFromSearch() const { return m_excludedFromSearch; }
    void setExcludedFromSearch(const QSet<QUuid>& ids);
    const QSet<QUuid>& excludedFromTextSearch() const { return m_excludedFromTextSearch; }
    void setExcludedFromTextSearch(const QSet<QUuid>& ids);
    // The default way of adding in Build.
    bool addsByHand() const { return m_addsByHand; }
    void setAddsByHand(bool byHand);

signals:
    void searchScopeChanged();
    void addsByHandChanged();

private:
    Settings* m_settings;
    QUuid m_project;
    QSet<QUuid> m_excludedFromSearch;
    QSet<QUuid> m_excludedFromTextSearch;
    bool m_addsByHand = false;
};

} // namespace corvantis
