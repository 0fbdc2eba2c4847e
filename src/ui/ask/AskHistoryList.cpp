#include "ui/ask/AskHistoryList.h"

#include "app/ask/AskEngine.h"
#include "app/graph/ProjectSession.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>

namespace corvantis {

AskHistoryList::AskHistoryList(QWidget* parent)
    : QListWidget(parent) {
    setFrameShape(QFrame::NoFrame);
    setWordWrap(true);
    connect(this, &QListWidget::itemActivated, this, &AskHistoryList::replay);
}

void AskHistoryList::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(&m_session->askEngine(), nullptr, this, nullptr);
    m_session = session;
    if (session)
        connect(&session->askEngine(), &AskEngine::historyChanged, this, &AskHistoryList::rebuild);
    rebuild();
}

void AskHistoryList::rebuild() {
    clear();
    if (!m_session)
        return;
    for (const HistoryEntry& entry : m_session->history()) {
        auto* item = new QListWidgetItem(entry.question, this);
        item->setData(Qt::UserRole, entry.id);
        QString tip = entry.explanation.isEmpty() ? entry.cypher : entry.explanation + "\n\n" + entry.cypher;
        if (entry.strategy)
            tip = entry.strategy->title() + (tip.isEmpty() ? QString() : "\n\n" + tip);
        item->setToolTip(tip);
    }
}

void AskHistoryList::replay(QListWidgetItem* item) {
    if (!m_session || !item)
        return;
    const QUuid id = item->data(Qt::UserRole).toUuid();
    for (const HistoryEntry& entry : m_session->history())
        if (entry.id == id) {
            if (!entry.cypher.isEmpty())
                m_session->askEngine().runCypher(entry.cypher, entry.question, entry.explanation,
                                                 "Saved question");
            return;
        }
}

void AskHistoryList::remove(QListWidgetItem* item) {
    if (m_session && item)
        m_session->askEngine().removeHistory(item->data(Qt::UserRole).toUuid());
}

void AskHistoryList::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) {
        remove(currentItem());
        return;
    }
    QListWidget::keyPressEvent(event);
}

void AskHistoryList::contextMenuEvent(QContextMenuEvent* event) {
    QListWidgetItem* item = itemAt(event->pos());
    if (!item)
        return;
    QMenu menu(this);
    QAction* replayAction = menu.addAction("Run Again");
    QAction* removeAction = menu.addAction("Remove from History");
    QAction* chosen = menu.exec(event->globalPos());
    if (chosen == replayAction)
        replay(item);
    else if (chosen == removeAction)
        remove(item);
}

} // namespace corvantis
