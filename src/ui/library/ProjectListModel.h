#pragma once

#include "kit/projects/Project.h"

#include <QAbstractListModel>

namespace corvantis {

class AppModel;

// The gallery's list: a "New Project" card first, then the app model's projects as they stand.
// Editing a project's name goes through AppModel::rename.
class ProjectListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { ProjectIdRole = Qt::UserRole + 1, ModifiedRole, IsNewCardRole, SummaryRole };

    explicit ProjectListModel(AppModel& app, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // The project at a row, or nullptr for the "New Project" card.
    const Project* project(const QModelIndex& index) const;
    // The row of a project, or an invalid index.
    QModelIndex indexOf(const QUuid& id) const;

private:
    AppModel& m_app;
};

} // namespace corvantis
