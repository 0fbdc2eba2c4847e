#include "ui/settings/SettingsWindow.h"

#include "app/app/AppModel.h"
#include "ui/design/Theme.h"
#include "ui/settings/AIPane.h"
#include "ui/settings/ConnectorPane.h"

#include <QComboBox>
#include <QFormLayout>
#include <QTabWidget>
#include <QVBoxLayout>

namespace corvantis {

SettingsWindow::SettingsWindow(AppModel& app, QWidget* parent)
    : QDialog(parent)
    , m_app(app)
    , m_panes(new QTabWidget(this)) {
    setWindowTitle(QStringLiteral("Settings"));
    setObjectName("settings");
    resize(640, 520);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(4), Theme::space(4), Theme::space(4));
    layout->addWidget(m_panes);
    m_panes->setDocumentMode(true);
    m_panes->addTab(makeGeneralPane(), QStringLiteral("General"));
    m_panes->addTab(new AIPane(app, m_panes), QStringLiteral("AI"));
    m_panes->addTab(new ConnectorPane(app, m_panes), QStringLiteral("Connector"));
}

QWidget* SettingsWindow::makeGeneralPane() {
    auto* pane = new QWidget(m_panes);
    auto* form = new QFormLayout(pane);
    form->setContentsMargins(Theme::space(4), Theme::space(6), Theme::space(4), Theme::space(4));
    form->setSpacing(Theme::space(3));

    auto* appearance = new QComboBox(pane);
    appearance->setObjectName("appearance");
    appearance->addItem(QStringLiteral("Follow the System"), QVariant::fromValue(int(Appearance::System)));
    appearance->addItem(QStringLiteral("Light"), QVariant::fromValue(int(Appearance::Light)));
    appearance->addItem(QStringLiteral("Dark"), QVariant::fromValue(int(Appearance::Dark)));
    auto sync = [this, appearance] {
        appearance->setCurrentIndex(appearance->findData(int(m_app.appearance())));
    };
    sync();
    connect(&m_app, &AppModel::appearanceChanged, appearance, sync);
    connect(appearance, &QComboBox::activated, this, [this, appearance](int index) {
        m_app.setAppearance(static_cast<Appearance>(appearance->itemData(index).toInt()));
    });
    form->addRow(QStringLiteral("Appearance:"), appearance);
    return pane;
}

} // namespace corvantis
