#include "ui/settings/AIPane.h"

#include "app/ai/AIConnection.h"
#include "app/app/AppModel.h"
#include "ui/design/Theme.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace corvantis {

namespace {

void fillModels(QComboBox* box, const QList<AIModel>& models, const AIModel& current) {
    QSignalBlocker block(box);
    box->clear();
    for (const AIModel& model : models)
        box->addItem(model.title, model.id);
    if (box->findData(current.id) < 0)
        box->addItem(current.title, current.id);
    box->setCurrentIndex(box->findData(current.id));
}

void fillEfforts(QComboBox* box, const AIModel& model, AIEffort current) {
    QSignalBlocker block(box);
    box->clear();
    for (AIEffort effort : model.efforts)
        box->addItem(effort.title(), effort.id());
    box->setCurrentIndex(box->findData(current.id()));
    box->setEnabled(box->count() > 0);
}

QLabel* secondary(QWidget* parent) {
    auto* label = new QLabel(parent);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, Theme::secondaryText());
    label->setPalette(palette);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::LinksAccessibleByMouse);
    label->setOpenExternalLinks(true);
    return label;
}

} // namespace

AIPane::AIPane(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_provider(new QComboBox(this))
    , m_model(new QComboBox(this))
    , m_effort(new QComboBox(this))
    , m_routerModel(new QComboBox(this))
    , m_routerEffort(new QComboBox(this))
    , m_toolTitle(new QLabel(this))
    , m_toolState(new QLabel(this))
    , m_accountState(new QLabel(this))
    , m_detail(secondary(this))
    , m_refresh(new QPushButton(QStringLiteral("Check Again"), this))
    , m_signIn(new QPushButton(QStringLiteral("Sign In"), this))
    , m_update(new QPushButton(QStringLiteral("Update"), this))
    , m_install(new QPushButton(QStringLiteral("Install"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(6), Theme::space(4), Theme::space(4));
    layout->setSpacing(Theme::space(4));

    auto* form = new QFormLayout;
    form->setSpacing(Theme::space(3));
    for (AIProvider provider : AIProvider::allCases())
        m_provider->addItem(provider.name(), provider.id());
    m_provider->setObjectName("provider");
    m_model->setObjectName("model");
    m_effort->setObjectName("effort");
    m_routerModel->setObjectName("routerModel");
    m_routerEffort->setObjectName("routerEffort");
    form->addRow(QStringLiteral("Provider:"), m_provider);
    form->addRow(QStringLiteral("Model:"), m_model);
    form->addRow(QStringLiteral("Effort:"), m_effort);
    form->addRow(QStringLiteral("Routing model:"), m_routerModel);
    form->addRow(QStringLiteral("Routing effort:"), m_routerEffort);
    layout->addLayout(form);

    QFont bold = m_toolTitle->font();
    bold.setWeight(QFont::DemiBold);
    m_toolTitle->setFont(bold);
    layout->addWidget(m_toolTitle);
    m_toolState->setObjectName("toolState");
    m_accountState->setObjectName("accountState");
    layout->addWidget(m_toolState);
    layout->addWidget(m_accountState);
    m_detail->setTextFormat(Qt::RichText);
    layout->addWidget(m_detail);
    m_signIn->setObjectName("signIn");
    m_update->setObjectName("update");
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {m_refresh, m_signIn, m_update, m_install})
        buttons->addWidget(button);
    buttons->addStretch();
    layout->addLayout(buttons);
    auto* privacy = secondary(this);
    privacy->setText(
        QStringLiteral("Corvantis reaches models only through your own signed-in command-line tool. "
                       "Only your question or message, the shape and what you choose to share "
                       "leave this computer."));
    layout->addWidget(privacy);
    layout->addStretch();

    connect(m_provider, &QComboBox::activated, this, [this](int index) {
        if (auto provider = AIProvider::fromID(m_provider->itemData(index).toString()))
            m_app.setProvider(*provider);
    });
    connect(m_model, &QComboBox::activated, this,
            [this](int index) { m_app.setModel(AIModel::resolve(m_model->itemData(index).toString())); });
    connect(m_routerModel, &QComboBox::activated, this, [this](int index) {
        m_app.setRouterModel(AIModel::resolve(m_routerModel->itemData(index).toString()));
    });
    connect(m_effort, &QComboBox::activated, this, [this](int index) {
        if (auto effort = AIEffort::fromID(m_effort->itemData(index).toString()))
            m_app.setEffort(*effort);
    });
    connect(m_routerEffort, &QComboBox::activated, this, [this](int index) {
        if (auto effort = AIEffort::fromID(m_routerEffort->itemData(index).toString()))
            m_app.setRouterEffort(*effort);
    });
    connect(m_refresh, &QPushButton::clicked, this,
            [this] { m_app.connection(m_app.provider())->refresh(); });
    connect(m_signIn, &QPushButton::clicked, this, [this] {
        AIConnection* connection = m_app.connection(m_app.provider());
        if (connection->signingIn())
            connection->cancelSignIn();
        else
            connection->signIn();
    });
    connect(m_update, &QPushButton::clicked, this, [this] {
        AIConnection* connection = m_app.connection(m_app.provider());
        if (connection->updating())
            connection->cancelUpdate();
        else
            connection->update();
    });
    connect(m_install, &QPushButton::clicked, this,
            [this] { m_app.connection(m_app.provider())->install(); });
    connect(&m_app, &AppModel::choiceChanged, this, &AIPane::syncChoices);
    connect(&m_app, &AppModel::providerChanged, this, &AIPane::bindConnection);
    bindConnection();
}

void AIPane::syncChoices() {
    AIProvider provider = m_app.provider();
    {
        QSignalBlocker block(m_provider);
        m_provider->setCurrentIndex(m_provider->findData(provider.id()));
    }
    fillModels(m_model, provider.models(), m_app.model());
    fillEfforts(m_effort, m_app.model(), m_app.effort());
    fillModels(m_routerModel, provider.models(), m_app.routerModel());
    fillEfforts(m_routerEffort, m_app.routerModel(), m_app.routerEffort());
}

void AIPane::bindConnection() {
    if (m_bound)
        disconnect(m_bound, nullptr, this, nullptr);
    m_bound = m_app.connection(m_app.provider());
    for (auto signal :
         {&AIConnection::installedChanged, &AIConnection::accountChanged, &AIConnection::versionChanged,
          &AIConnection::outdatedChanged, &AIConnection::updatingChanged, &AIConnection::updateErrorChanged,
          &AIConnection::signInChanged, &AIConnection::signInErrorChanged, &AIConnection::refreshingChanged})
        connect(m_bound, signal, this, &AIPane::syncConnection);
    syncChoices();
    syncConnection();
}

void AIPane::syncConnection() {
    const AIConnection& c = *m_bound;
    AIProvider provider = c.provider();
    m_toolTitle->setText(provider.tool());
    if (!c.installed()) {
        m_toolState->setText(QStringLiteral("%1 isn't installed on this computer.").arg(provider.tool()));
    } else if (c.version()) {
        m_toolState->setText(QStringLiteral("Installed, version %1.").arg(*c.version()));
    } else {
        m_toolState->setText(QStringLiteral("Installed."));
    }
    if (!c.installed())
        m_accountState->clear();
    else if (c.refreshing() && c.signedOut())
        m_accountState->setText(QStringLiteral("Checking the sign-in…"));
    else if (c.signedOut())
        m_accountState->setText(
            QStringLiteral("Not signed in. %1 needs %2.").arg(provider.tool(), provider.plans()));
    else
        m_accountState->setText(c.account().name ? QStringLiteral("Signed in as %1.").arg(*c.account().name)
                                                 : QStringLiteral("Signed in."));

    QStringList details;
    if (c.outdated())
        details << QStringLiteral("This version is too old%1; update it to go on.")
                       .arg(c.outdated()->required
                                ? QStringLiteral(" (%1 or later is needed)").arg(*c.outdated()->required)
                                : QString());
    // What the tools print is shown as text, never read as markup.
    const auto plain = [](const QString& text) {
        return text.toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>"));
    };
    if (c.updating())
        details << plain(*c.updating());
    if (c.updateError())
        details << plain(*c.updateError());
    if (c.signInLink())
        details << QStringLiteral("Finish signing in at <a href=\"%1\">%1</a>")
                       .arg(c.signInLink()->toHtmlEscaped());
    if (c.signInError())
        details << plain(*c.signInError());
    if (!c.installed())
        details << QStringLiteral("Install it with: <code>%1</code>")
                       .arg(provider.installCommand().toHtmlEscaped());
    m_detail->setText(details.join("<br>"));
    m_detail->setVisible(!details.isEmpty());

    m_refresh->setEnabled(!c.refreshing());
    m_install->setVisible(!c.installed());
    m_signIn->setVisible(c.installed() && (c.signedOut() || c.signingIn()));
    m_signIn->setText(c.signingIn() ? QStringLiteral("Cancel Sign In") : QStringLiteral("Sign In"));
    // While an update runs, its button stops it.
    m_update->setVisible(c.installed());
    m_update->setText(c.updating() ? QStringLiteral("Cancel Update") : QStringLiteral("Update"));
}

} // namespace corvantis
