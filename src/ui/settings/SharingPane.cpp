#include "ui/settings/SharingPane.h"

#include "app/app/Publisher.h"
#include "ui/design/Theme.h"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>

namespace corvantis {

namespace {

// A field that shows a setting and saves what is typed as it is typed.
QLineEdit* field(QWidget* parent, const QString& name, const QString& value, const QString& placeholder,
                 bool secret = false) {
    auto* edit = new QLineEdit(value, parent);
    edit->setObjectName(name);
    edit->setPlaceholderText(placeholder);
    edit->setClearButtonEnabled(true);
    if (secret)
        edit->setEchoMode(QLineEdit::PasswordEchoOnEdit);
    return edit;
}

} // namespace

SharingPane::SharingPane(Publisher& publisher, QWidget* parent)
    : QWidget(parent)
    , m_publisher(publisher) {
    auto* form = new QFormLayout(this);
    form->setContentsMargins(Theme::space(4), Theme::space(6), Theme::space(4), Theme::space(4));
    form->setSpacing(Theme::space(3));

    auto* intro = new QLabel(
        QStringLiteral(
            "Share to the Web puts a read-only copy of a project on a sharing site. Corvantis has no site "
            "of its own: name one you run (see tools/share-site) or one someone runs for you."),
        this);
    intro->setWordWrap(true);
    form->addRow(intro);

    auto* site = field(this, QStringLiteral("publishSite"), publisher.site(),
                       QStringLiteral("https://graphs.example.org"));
    auto* username =
        field(this, QStringLiteral("publishUsername"), publisher.username(), QStringLiteral("your-name"));
    auto* userKey = field(this, QStringLiteral("publishUserKey"), publisher.userKey(),
                          QStringLiteral("given by the site the first time"), true);
    auto* ownerKey = field(this, QStringLiteral("publishOwnerKey"), publisher.ownerKey(),
                           QStringLiteral("only if the site asks for one"), true);
    form->addRow(QStringLiteral("Sharing site:"), site);
    form->addRow(QStringLiteral("Username:"), username);
    form->addRow(QStringLiteral("Your key:"), userKey);
    form->addRow(QStringLiteral("Site's publish key:"), ownerKey);
    auto* note = new QLabel(
        QStringLiteral(
            "Public graphs are listed by who shared them. Your key proves the username is yours: keep a "
            "copy to share under it from another computer."),
        this);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);
    form->addRow(note);

    connect(site, &QLineEdit::textEdited, &publisher, &Publisher::setSite);
    connect(username, &QLineEdit::textEdited, &publisher, &Publisher::setUsername);
    connect(userKey, &QLineEdit::textEdited, &publisher, &Publisher::setUserKey);
    connect(ownerKey, &QLineEdit::textEdited, &publisher, &Publisher::setOwnerKey);
    // A key the site gave shows at once.
    connect(&publisher, &Publisher::settingsChanged, this, [this, userKey] {
        if (userKey->text() != m_publisher.userKey())
            userKey->setText(m_publisher.userKey());
    });
}

} // namespace corvantis
