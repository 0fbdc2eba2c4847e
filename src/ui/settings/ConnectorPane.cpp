#include "ui/settings/ConnectorPane.h"

#include "app/app/AppModel.h"
#include "app/mcp/MCPConnections.h"
#include "app/mcp/MCPService.h"
#include "kit/mcp/MCPBridge.h"
#include "ui/design/Theme.h"

#include <QCheckBox>
#include <QClipboard>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QLabel* coloured(const QColor& colour, QWidget* parent) {
    auto* label = new QLabel(parent);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

QString ConnectorPane::stateText(int state) {
    switch (static_cast<MCPConnections::State>(state)) {
    case MCPConnections::State::missing:
        return QStringLiteral("Not installed");
    case MCPConnections::State::off:
        return QStringLiteral("Not connected");
    case MCPConnections::State::on:
        return QStringLiteral("Connected");
    case MCPConnections::State::moved:
        return QStringLiteral("Set up for Corvantis in another folder");
    }
    return {};
}

ConnectorPane::ConnectorPane(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_enabled(
          new QCheckBox(QStringLiteral("Let other AI apps read your projects and propose drafts"), this))
    , m_status(coloured(Theme::secondaryText(), this))
    , m_connected(coloured(Theme::secondaryText(), this))
    , m_snippet(new QPlainTextEdit(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(6), Theme::space(4), Theme::space(4));
    layout->setSpacing(Theme::space(3));

    m_enabled->setObjectName("mcpEnabled");
    m_status->setObjectName("mcpStatus");
    m_connected->setObjectName("mcpConnected");
    layout->addWidget(m_enabled);
    layout->addWidget(m_status);
    layout->addWidget(m_connected);

    auto* appsTitle = new QLabel(QStringLiteral("AI apps"), this);
    QFont bold = appsTitle->font();
    bold.setWeight(QFont::DemiBold);
    appsTitle->setFont(bold);
    layout->addSpacing(Theme::space(2));
    layout->addWidget(appsTitle);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(Theme::space(3));
    grid->setVerticalSpacing(Theme::space(1));
    int line = 0;
    MCPConnections& connections = m_app.mcpConnections();
    for (MCPClientApp client : MCPClientApps::all()) {
        Row row;
        auto* title = new QLabel(MCPClientApps::title(client), this);
        row.state = coloured(Theme::secondaryText(), this);
        row.toggle = new QPushButton(this);
        row.restart = new QPushButton(QStringLiteral("Restart ") + MCPClientApps::title(client), this);
        row.error = coloured(Theme::danger(), this);
        const QString id = MCPClientApps::id(client);
        row.state->setObjectName(id + "State");
        row.toggle->setObjectName(id + "Toggle");
        row.restart->setObjectName(id + "Restart");
        row.error->setObjectName(id + "Error");
        grid->addWidget(title, line, 0);
        grid->addWidget(row.state, line, 1);
        grid->addWidget(row.toggle, line, 2);
        grid->addWidget(row.restart, line, 3);
        grid->addWidget(row.error, line + 1, 0, 1, 4);
        line += 2;
        m_rows.insert(client, row);
        connect(row.toggle, &QPushButton::clicked, this, [&connections, client] {
            connections.set(client, connections.state(client) != MCPConnections::State::on);
        });
        connect(row.restart, &QPushButton::clicked, this,
                [&connections, client] { connections.restart(client); });
    }
    grid->setColumnStretch(1, 1);
    layout->addLayout(grid);

    auto* byHand = coloured(Theme::secondaryText(), this);
    byHand->setText(
        QStringLiteral("Another app that speaks the Model Context Protocol can use Corvantis with "
                       "this in its settings:"));
    layout->addSpacing(Theme::space(2));
    layout->addWidget(byHand);
    m_snippet->setObjectName("mcpSnippet");
    m_snippet->setReadOnly(true);
    m_snippet->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_snippet->setPlainText(connections.snippet());
    m_snippet->setMinimumHeight(m_snippet->fontMetrics().lineSpacing() * 12);
    m_snippet->setMaximumHeight(m_snippet->fontMetrics().lineSpacing() * 12);
    layout->addWidget(m_snippet);
    auto* copy = new QPushButton(QStringLiteral("Copy"), this);
    copy->setObjectName("mcpCopy");
    connect(copy, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(m_snippet->toPlainText()); });
    auto* copyRow = new QHBoxLayout;
    copyRow->addWidget(copy);
    copyRow->addStretch();
    layout->addLayout(copyRow);

    auto* privacy = coloured(Theme::secondaryText(), this);
    privacy->setText(
        QStringLiteral("Connected apps read the open project and send drafts. Nothing reaches the "
                       "graph until you review a draft and add it. Corvantis listens on this computer "
                       "only."));
    layout->addWidget(privacy);
    layout->addStretch();

    connect(m_enabled, &QCheckBox::toggled, this, [this](bool on) { m_app.setAllowsMCP(on); });
    connect(&m_app, &AppModel::allowsMCPChanged, this, &ConnectorPane::syncService);
    MCPService& service = m_app.mcpService();
    connect(&service, &MCPService::portChanged, this, &ConnectorPane::syncService);
    connect(&service, &MCPService::problemChanged, this, &ConnectorPane::syncService);
    connect(&service, &MCPService::connectedChanged, this, &ConnectorPane::syncService);
    connect(&connections, &MCPConnections::changed, this, &ConnectorPane::syncConnections);
    syncService();
    connections.refresh();
    syncConnections();
}

void ConnectorPane::syncService() {
    const QSignalBlocker block(m_enabled);
    m_enabled->setChecked(m_app.allowsMCP());
    const MCPService& service = m_app.mcpService();
    if (auto problem = service.problem(); problem && m_app.allowsMCP())
        m_status->setText(*problem);
    else if (auto port = service.port())
        m_status->setText(QStringLiteral("Listening on %1, port %2.").arg(MCPBridge::host()).arg(*port));
    else
        m_status->setText(QStringLiteral("Off: no other app can reach Corvantis."));
    const QStringList connected = service.connected();
    m_connected->setVisible(service.port().has_value());
    m_connected->setText(connected.isEmpty() ? QStringLiteral("No app is connected right now.")
                                             : QStringLiteral("Connected now: ") +
                                                   connected.join(QStringLiteral(", ")) + QLatin1Char('.'));
}

void ConnectorPane::syncConnections() {
    const MCPConnections& connections = m_app.mcpConnections();
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it) {
        const MCPClientApp client = it.key();
        const Row& row = it.value();
        const MCPConnections::State state = connections.state(client);
        row.state->setText(connections.isWorking(client) ? QStringLiteral("Working…")
                                                         : stateText(int(state)));
        row.toggle->setText(state == MCPConnections::State::on ? QStringLiteral("Disconnect")
                                                               : QStringLiteral("Connect"));
        row.toggle->setEnabled(state != MCPConnections::State::missing && !connections.isWorking(client));
        row.restart->setVisible(connections.needsRestart(client));
        const std::optional<QString> error = connections.error(client);
        row.error->setVisible(error.has_value());
        row.error->setText(error.value_or(QString()));
    }
}

} // namespace corvantis
