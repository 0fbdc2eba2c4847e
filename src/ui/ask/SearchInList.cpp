#include "ui/ask/SearchInList.h"

#include "app/graph/ProjectPreferences.h"
#include "app/graph/ProjectSession.h"

#include <QHeaderView>

namespace corvantis {

SearchInList::SearchInList(bool vector, QWidget* parent)
    : QTreeWidget(parent)
    , m_vector(vector) {
    setHeaderLabel("Search in");
    setRootIsDecorated(false);
    connect(this, &QTreeWidget::itemChanged, this, &SearchInList::toggled);
}

void SearchInList::setSession(ProjectSession* session) {
    if (m_session) {
        disconnect(&m_session->preferences(), nullptr, this, nullptr);
        disconnect(m_session, nullptr, this, nullptr);
    }
    m_session = session;
    if (session) {
        connect(&session->preferences(), &ProjectPreferences::searchScopeChanged, this,
                &SearchInList::rebuild);
        connect(session, &ProjectSession::projectChanged, this, &SearchInList::rebuild);
    }
    rebuild();
}

void SearchInList::rebuild() {
    m_building = true;
    clear();
    if (m_session) {
        const GraphSchema& schema = m_session->project().schema;
        const QSet<QUuid>& excluded = m_vector ? m_session->preferences().excludedFromSearch()
                                               : m_session->preferences().excludedFromTextSearch();
        const QList<EmbeddedProperty> properties =
            m_vector ? schema.embeddedProperties() : schema.textProperties();
        for (const EmbeddedProperty& property : properties) {
            auto* item = new QTreeWidgetItem(
                this, {property.ownerName + QStringLiteral(" \u203a ") + property.property.name});
            item->setData(0, Qt::UserRole, property.id());
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(0, excluded.contains(property.id()) ? Qt::Unchecked : Qt::Checked);
        }
        if (properties.isEmpty())
            new QTreeWidgetItem(this, {m_vector ? QStringLiteral("No text property is set to Embed yet.")
                                                : QStringLiteral("No text property yet.")});
    }
    m_building = false;
}

void SearchInList::toggled(QTreeWidgetItem* item) {
    if (m_building || !m_session || !item->data(0, Qt::UserRole).isValid())
        return;
    ProjectPreferences& preferences = m_session->preferences();
    QSet<QUuid> excluded = m_vector ? preferences.excludedFromSearch() : preferences.excludedFromTextSearch();
    const QUuid id = item->data(0, Qt::UserRole).toUuid();
    if (item->checkState(0) == Qt::Checked)
        excluded.remove(id);
    else
        excluded.insert(id);
    if (m_vector)
        preferences.setExcludedFromSearch(excluded);
    else
        preferences.setExcludedFromTextSearch(excluded);
}

} // namespace corvantis
