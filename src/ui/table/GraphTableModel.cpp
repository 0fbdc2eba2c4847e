#include "ui/table/GraphTableModel.h"

#include "app/graph/ProjectSession.h"

#include <QSet>
#include <algorithm>

namespace corvantis {

GraphTableModel::GraphTableModel(QObject* parent)
    : QAbstractTableModel(parent) {
}

void GraphTableModel::setSession(ProjectSession* session) {
    if (m_session == session)
        return;
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    if (m_session) {
        connect(m_session, &ProjectSession::graphChanged, this, &GraphTableModel::refresh);
        connect(m_session, &ProjectSession::projectChanged, this, &GraphTableModel::refresh);
    }
    beginResetModel();
    m_source.reset();
    m_ids.clear();
    m_columns.clear();
    endResetModel();
}

void GraphTableModel::setSource(const std::optional<Source>& source) {
    if (m_source == source)
        return;
    beginResetModel();
    m_source = source;
    m_ids.clear();
    m_columns.clear();
    endResetModel();
    refresh();
}

void GraphTableModel::refresh() {
    QStringList ids;
    QList<PropertyDef> columns;
    QString label;
    if (m_session && m_source) {
        const Project& project = m_session->project();
        // Rows carry the table the database holds; columns follow the shape as the person sees it.
        if (m_source->isNode) {
            const NodeType* type = project.schema.nodeType(m_source->type);
            if (type) {
                columns = type->properties;
                label = m_session->tableOf(m_source->type).value_or(QString());
                QList<std::pair<QString, QString>> titled;
                for (const NodeRecord& node : m_session->nodes())
                    if (node.label == label)
                        titled.append({node.title(type), node.id});
                std::sort(titled.begin(), titled.end(), [](const auto& a, const auto& b) {
                    int order = QString::localeAwareCompare(a.first, b.first);
                    return order != 0 ? order < 0 : a.second < b.second;
                });
                for (const auto& entry : titled)
                    ids << entry.second;
            }
        } else {
            const RelType* type = project.schema.relType(m_source->type);
            if (type) {
                columns = type->properties;
                label = m_session->tableOf(m_source->type).value_or(QString());
                QList<std::pair<QString, QString>> titled;
                for (const RelRecord& rel : m_session->rels())
                    if (rel.label == label)
                        titled.append({endTitle(rel.from) + QChar(0x1F) + endTitle(rel.to), rel.id});
                std::sort(titled.begin(), titled.end(), [](const auto& a, const auto& b) {
                    int order = QString::localeAwareCompare(a.first, b.first);
                    return order != 0 ? order < 0 : a.second < b.second;
                });
                for (const auto& entry : titled)
                    ids << entry.second;
            }
        }
    }
    // While the same records stand, rows keep their places, so that a row whose title is being edited
    // doesn't jump away; when records come or go, the rows are sorted again.
    if (columns == m_columns && label == m_label &&
        QSet<QString>(ids.begin(), ids.end()) == QSet<QString>(m_ids.begin(), m_ids.end()))
        ids = m_ids;
    if (ids == m_ids && columns == m_columns && label == m_label) {
        if (!m_ids.isEmpty())
            emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
        return;
    }
    beginResetModel();
    m_ids = ids;
    m_columns = columns;
    m_label = label;
    endResetModel();
}

QString GraphTableModel::endTitle(const QString& nodeId) const {
    if (!m_session)
        return QString();
    auto it = m_session->nodes().constFind(nodeId);
    if (it == m_session->nodes().constEnd())
        return QString();
    return it->title(m_session->project().schema.nodeTypeForTable(it->label));
}

QString GraphTableModel::recordId(int row) const {
    return row >= 0 && row < m_ids.size() ? m_ids[row] : QString();
}

int GraphTableModel::rowOf(const QString& id) const {
    return m_ids.indexOf(id);
}

const PropertyDef* GraphTableModel::property(int column) const {
    const int at = column - fixedColumns();
    return at >= 0 && at < m_columns.size() ? &m_columns[at] : nullptr;
}

int GraphTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_ids.size();
}

int GraphTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_source ? 0 : fixedColumns() + m_columns.size();
}

QVariant GraphTableModel::data(const QModelIndex& index, int role) const {
    if (!m_session || !index.isValid() || index.row() >= m_ids.size())
        return {};
    const QString& id = m_ids[index.row()];
    const PropertyMap* values = nullptr;
    if (m_source->isNode) {
        auto it = m_session->nodes().constFind(id);
        if (it == m_session->nodes().constEnd())
            return {};
        values = &it->properties;
    } else {
        auto it = m_session->rels().constFind(id);
        if (it == m_session->rels().constEnd())
            return {};
        if (index.column() < 2) {
            if (role == Qt::DisplayRole || role == Qt::ToolTipRole)
                return endTitle(index.column() == 0 ? it->from : it->to);
            return {};
        }
        values = &it->properties;
    }
    const PropertyDef* definition = property(index.column());
    if (!definition)
        return {};
    const GraphValue value = values->value(definition->column());
    if (definition->kind == PropertyKind::Boolean) {
        if (role == Qt::CheckStateRole) {
            const bool* flag = value.asBool();
            return flag && *flag ? Qt::Checked : Qt::Unchecked;
        }
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return value.isNull() ? QString() : value.displayText();
    case Qt::ToolTipRole:
        return definition->kind == PropertyKind::Link && !value.isNull() ? QVariant(value.displayText())
                                                                         : QVariant();
    case Qt::TextAlignmentRole:
        return definition->kind == PropertyKind::Number ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                                        : QVariant();
    default:
        return {};
    }
}

QVariant GraphTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (m_source && !m_source->isNode && section < 2)
        return section == 0 ? QStringLiteral("From") : QStringLiteral("To");
    const PropertyDef* definition = property(section);
    return definition ? QVariant(definition->name) : QVariant();
}

Qt::ItemFlags GraphTableModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    const PropertyDef* definition = property(index.column());
    if (!definition)
        return flags;
    if (definition->kind == PropertyKind::Boolean)
        return flags | Qt::ItemIsUserCheckable;
    return flags | Qt::ItemIsEditable;
}

bool GraphTableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!m_session || !index.isValid())
        return false;
    const PropertyDef* definition = property(index.column());
    if (!definition)
        return false;
    const QString id = recordId(index.row());
    const QUuid propertyId = definition->id;
    if (role == Qt::CheckStateRole && definition->kind == PropertyKind::Boolean) {
        const bool checked = value.toInt() == Qt::Checked;
        return m_session->setValueFromText(id, propertyId,
                                           checked ? QStringLiteral("true") : QStringLiteral("false"));
    }
    if (role != Qt::EditRole)
        return false;
    return m_session->setValueFromText(id, propertyId, value.toString());
}

} // namespace corvantis
