#include "ui/canvas/CommandPalette.h"

#include "app/graph/ProjectSession.h"
#include "kit/query/LooseQuery.h"
#include "ui/design/Theme.h"

#include <QAction>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QSet>
#include <QVBoxLayout>

namespace corvantis {

namespace {

constexpr int maxNodes = 50;
enum Role { KindRole = Qt::UserRole, TargetRole };

} // namespace

CommandPalette::CommandPalette(QWidget* parent)
    : QFrame(parent)
    , m_field(new QLineEdit(this))
    , m_results(new QListWidget(this)) {
    setObjectName(QStringLiteral("commandPalette"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(2), Theme::space(2), Theme::space(2), Theme::space(2));
    layout->setSpacing(Theme::space(1));
    m_field->setObjectName(QStringLiteral("paletteField"));
    m_field->setPlaceholderText(QStringLiteral("Find a command or a node by name"));
    m_field->installEventFilter(this);
    m_results->setObjectName(QStringLiteral("paletteResults"));
    m_results->setFrameShape(QFrame::NoFrame);
    layout->addWidget(m_field);
    layout->addWidget(m_results);
    connect(m_field, &QLineEdit::textChanged, this, &CommandPalette::search);
    connect(m_results, &QListWidget::itemActivated, this, &CommandPalette::activate);
    connect(m_results, &QListWidget::itemClicked, this, &CommandPalette::activate);
    hide();
}

void CommandPalette::setSession(ProjectSession* session) {
    m_session = session;
    m_entries.clear();
    m_entriesFor = -1;
    hide();
}

void CommandPalette::place() {
    QWidget* host = parentWidget();
    const int width = std::min(560, host->width() - Theme::space(8));
    resize(width, std::min(420, host->height() - Theme::space(16)));
    move((host->width() - width) / 2, Theme::space(14));
}

void CommandPalette::open() {
    // Every command of the window's menus, but the palette's own, as they stand now.
    m_commands.clear();
    QSet<QString> seen;
    for (QAction* action : window()->findChildren<QAction*>()) {
        const QString name = action->text().remove('&');
        if (action->menu() || action->isSeparator() || name.isEmpty() ||
            action->objectName() == QLatin1String("paletteAction") || seen.contains(name))
            continue;
        seen.insert(name);
        m_commands.append(action);
    }
    place();
    m_field->clear();
    search();
    show();
    raise();
    m_field->setFocus();
}

void CommandPalette::search() {
    m_results->clear();
    const QString text = m_field->text().trimmed();
    const LooseQuery query(text);
    QList<QListWidgetItem*> exact;
    QList<QListWidgetItem*> loose;
    for (const QPointer<QAction>& action : m_commands) {
        if (!action || !action->isEnabled())
            continue;
        const QString name = action->text().remove('&');
        const QString key = LooseQuery::key(name);
        if (!query.isEmpty() && !query.matches(key))
            continue;
        auto* item = new QListWidgetItem(
            action->shortcut().isEmpty()
                ? name
                : QStringLiteral("%1\t%2").arg(name, action->shortcut().toString(QKeySequence::NativeText)));
        item->setData(KindRole, 0);
        item->setData(TargetRole, QVariant::fromValue(static_cast<QObject*>(action.data())));
        (query.isExact(key) ? exact : loose).append(item);
    }
    if (m_session && !query.isEmpty()) {
        if (m_entriesFor != m_session->topology() || m_entries.isEmpty()) {
            m_entries.clear();
            const GraphSchema& schema = m_session->project().schema;
            for (const NodeRecord& node : m_session->nodes()) {
                const NodeType* type = schema.nodeTypeForTable(node.label);
                const QString title = node.title(type);
                m_entries.append({node.id, title, type ? type->name : node.label, LooseQuery::key(title)});
            }
            std::sort(m_entries.begin(), m_entries.end(), [](const Entry& a, const Entry& b) {
                return a.title == b.title ? a.id < b.id : a.title.localeAwareCompare(b.title) < 0;
            });
            m_entriesFor = m_session->topology();
        }
        int found = 0;
        for (const Entry& entry : m_entries) {
            if (!query.matches(entry.key))
                continue;
            auto* item = new QListWidgetItem(QStringLiteral("%1\t%2").arg(entry.title, entry.type));
            item->setData(KindRole, 1);
            item->setData(TargetRole, entry.id);
            (query.isExact(entry.key) ? exact : loose).append(item);
            if (++found >= maxNodes)
                break;
        }
    }
    for (QListWidgetItem* item : exact + loose)
        m_results->addItem(item);
    if (m_results->count() > 0)
        m_results->setCurrentRow(0);
    else if (!query.isEmpty())
        m_results->addItem(new QListWidgetItem(QStringLiteral("Nothing by that name.")));
}

void CommandPalette::activate(QListWidgetItem* item) {
    if (!item || !item->data(KindRole).isValid())
        return;
    hide();
    if (item->data(KindRole).toInt() == 0) {
        if (auto* action = qobject_cast<QAction*>(item->data(TargetRole).value<QObject*>()))
            action->trigger();
    } else {
        emit nodeChosen(item->data(TargetRole).toString());
    }
}

bool CommandPalette::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_field && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        switch (key->key()) {
        case Qt::Key_Escape:
            hide();
            return true;
        case Qt::Key_Down:
        case Qt::Key_Up: {
            const int step = key->key() == Qt::Key_Down ? 1 : -1;
            m_results->setCurrentRow(std::clamp(m_results->currentRow() + step, 0, m_results->count() - 1));
            return true;
        }
        case Qt::Key_Return:
        case Qt::Key_Enter:
            activate(m_results->currentItem());
            return true;
        default:
            break;
        }
    }
    return QFrame::eventFilter(watched, event);
}

} // namespace corvantis
