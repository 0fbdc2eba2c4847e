#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

namespace corvantis {

class AppModel;
struct Project;

// The sheet of one publish: "Publishing…" while the request runs, then what came of it, with
// "Open in Browser" after a success.
class PublishDialog : public QDialog {
    Q_OBJECT
public:
    PublishDialog(AppModel& app, QWidget* parent = nullptr);

    // Starts publishing the project and shows the sheet.
    void publish(const Project& project);

    QLabel* heading() const { return m_heading; }
    QLabel* summary() const { return m_summary; }
    QPushButton* openButton() const { return m_open; }

signals:
    void settingsRequested();

private:
    void sync();

    AppModel& m_app;
    QLabel* m_heading;
    QLabel* m_summary;
    QPushButton* m_open;
    QPushButton* m_settings;
    QPushButton* m_done;
};

} // namespace corvantis
