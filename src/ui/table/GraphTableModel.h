#pragma once

#include "kit/schema/PropertyDef.h"

#include <QAbstractTableModel>
#include <QPointer>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace corvantis {

class ProjectSession;

// The records of one node type or one relationship type as rows, their properties as columns (a
// relationship's two ends come first). Values typed into a cell go to the session as text, which parses
// them by the property's kind.
class GraphTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    struct Source {
        bool isNode = true;
        QUuid type;
        bool operator==(const Source& other) const = default;
    };

    explicit GraphTableModel(QObject* parent = nullptr);

    void setSession(ProjectSession* session);
    void setSource(const std::optional<Source>& source);
    const std::optional<Source>& source() const { return m_source; }

    // The record shown in a row, and the row of a record (-1 when it isn't shown).
    QString recordId(int row) const;
    int rowOf(const QString& id) const;
    // The property of a column; null for the two end columns of relationships.
    const PropertyDef* property(int column) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

private:
    void refresh();
    int fixedColumns() const { return m_source && !m_source->isNode ? 2 : 0; }
    QString endTitle(const QString& nodeId) const;

    QPointer<ProjectSession> m_session;
    std::optional<Source> m_source;
    QString m_label;
    QList<PropertyDef> m_columns;
    QStringList m_ids;
};

} // namespace corvantis
