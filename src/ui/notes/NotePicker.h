#pragma once

#include "kit/notes/TagQuery.h"

#include <QFrame>

class QLabel;
class QListWidget;

namespace corvantis {

// The small list under the caret that offers records, hops, properties, notes and slash commands.
class NotePicker : public QFrame {
    Q_OBJECT
public:
    explicit NotePicker(QWidget* parent = nullptr);

    void setChoices(const QList<TagChoice>& choices, int more);
    const QList<TagChoice>& choices() const { return m_choices; }
    int current() const;
    void step(int by);
    QListWidget* list() const { return m_list; }

signals:
    void picked(int row);

private:
    QListWidget* m_list;
    QLabel* m_more;
    QList<TagChoice> m_choices;
};

} // namespace corvantis
