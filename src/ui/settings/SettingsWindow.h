#pragma once

#include <QDialog>

class QTabWidget;

namespace corvantis {

class AppModel;

// The program's settings, one pane per area. Changes apply at once; there is nothing to confirm.
class SettingsWindow : public QDialog {
    Q_OBJECT
public:
    explicit SettingsWindow(AppModel& app, QWidget* parent = nullptr);

    QTabWidget* panes() const { return m_panes; }

private:
    QWidget* makeGeneralPane();

    AppModel& m_app;
    QTabWidget* m_panes;
};

} // namespace corvantis
