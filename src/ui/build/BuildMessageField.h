#pragma once

#include <QPlainTextEdit>
#include <QPointer>

namespace corvantis {

class BuildChat;

// The box the person writes in. Files, links and pictures that are dropped or pasted go to the chat,
// which attaches them or puts links on a line of their own; Ctrl+Return sends.
class BuildMessageField : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit BuildMessageField(QWidget* parent = nullptr);
    void setChat(BuildChat* chat);

signals:
    void sendRequested();

protected:
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QPointer<BuildChat> m_chat;
};

} // namespace corvantis
