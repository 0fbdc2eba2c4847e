#include "ui/library/ProjectListModel.h"

#include "app/app/AppModel.h"

#include <QLocale>

namespace corvantis {

namespace {

// "Edited today, 14:05", "Edited yesterday", "Edited 3 March 2024".
QString editedText(const QDateTime& modified) {
    QDateTime local = modified.toLocalTime();
    QDate today = QDate::currentDate();
    QLocale locale;
    if (local.date() == today)
        return QStringLiteral("Edited today, %1").arg(locale.toString(local.time(), QLocale::ShortFormat));
    if (local.date() == today.addDays(-1))
        return QStringLiteral("Edited yesterday");
    return QStringLiteral("Edited %1").arg(locale.toString(local.date(), QLocale::LongFormat));
}

QString shapeSummary(const Project& project) {
    qsizetype types = project.schema.nodeTypes.size();
    qsizetype rels = project.schema.relTypes.size();
    if (types == 0)
        return QStringLiteral("No shape yet");
    return QStringLiteral("%1 node %2 · %3 relationship %4")
        .arg(types)
        .arg(types == 1 ? "type" : "types")
        .arg(rels)
        .arg(rels == 1 ? "type" : "types");
}

} // namespace

ProjectListModel::ProjectListModel(AppModel& app, QObject* parent)
    : QAbstractListModel(parent)
    , m_app(app) {
    connect(&app, &AppModel::projectsChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
}

int ProjectListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_app.projects().size()) + 1;
}

const Project* ProjectListModel::project(const QModelIndex& index) const {
    if (!index.isValid() || index.row() == 0 || index.row() > m_app.projects().size())
        return nullptr;
    return &m_app.projects()[index.row() - 1];
}

QModelIndex ProjectListModel::indexOf(const QUuid& id) const {
    const auto& projects = m_app.projects();
    for (int i = 0; i < projects.size(); ++i)
        if (projects[i].id == id)
            return index(i + 1);
    return {};
}

QVariant ProjectListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const Project* project = this->project(index);
    if (role == IsNewCardRole)
        return project == nullptr;
    if (!project) {
        if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole)
            return QStringLiteral("New Project");
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
    case Qt::AccessibleTextRole:
        return project->name;
    case ProjectIdRole:
        return project->id;
    case ModifiedRole:
        return editedText(project->modifiedAt);
    case SummaryRole:
        return shapeSummary(*project);
    case Qt::ToolTipRole:
        return QStringLiteral("%1\n%2").arg(project->name, editedText(project->modifiedAt));
    default:
        return {};
    }
}

bool ProjectListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    const Project* project = this->project(index);
    if (!project || role != Qt::EditRole)
        return false;
    // The rename reloads the list, which must not happen while the view is still committing its editor.
    Project target = *project;
    QString name = value.toString();
    QMetaObject::invokeMethod(
        this,
        [this, target, name] {
            m_app.rename(target, name);
            m_app.setRenaming(std::nullopt);
        },
        Qt::QueuedConnection);
    return true;
}

Qt::ItemFlags ProjectListModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = QAbstractListModel::flags(index);
    if (project(index))
        flags |= Qt::ItemIsEditable;
    return flags;
}

} // namespace corvantis
