#pragma once

#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;

namespace corvantis {

class AppModel;
class AIConnection;

// Settings ▸ AI: the provider, the models and efforts for answers and for routing, and the state of the
// provider's command-line tool with what the person can do about it (sign in, update, install).
class AIPane : public QWidget {
    Q_OBJECT
public:
    explicit AIPane(AppModel& app, QWidget* parent = nullptr);

    QLabel* toolState() const { return m_toolState; }
    QLabel* accountState() const { return m_accountState; }

private:
    void syncChoices();
    void syncConnection();
    void bindConnection();

    AppModel& m_app;
    AIConnection* m_bound = nullptr;
    QComboBox* m_provider;
    QComboBox* m_model;
    QComboBox* m_effort;
    QComboBox* m_routerModel;
    QComboBox* m_routerEffort;
    QLabel* m_toolTitle;
    QLabel* m_toolState;
    QLabel* m_accountState;
    QLabel* m_detail;
    QPushButton* m_refresh;
    QPushButton* m_signIn;
    QPushButton* m_update;
    QPushButton* m_install;
};

} // namespace corvantis
