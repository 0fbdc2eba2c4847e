#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;

namespace corvantis {

class AppModel;

// The window's face while a project is open: a bar with the way back to the projects and the
// project's name (click to rename), over the project's own views.
class ProjectView : public QWidget {
    Q_OBJECT
public:
    explicit ProjectView(AppModel& app, QWidget* parent = nullptr);

    QLineEdit* nameField() const { return m_name; }

private:
    void bindSession();
    void commitName();
    void beginRenaming();

    AppModel& m_app;
    QLineEdit* m_name;
    QLabel* m_summary;
};

} // namespace corvantis
