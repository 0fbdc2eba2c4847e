#pragma once

#include <QDialog>
#include <QStringList>

class QListWidget;
class QPushButton;

namespace corvantis {

// Edits the options of an enum property one by one: rename in place, add, remove, reorder, and take in
// the values that the graph already holds.
class OptionsDialog : public QDialog {
    Q_OBJECT
public:
    OptionsDialog(const QString& propertyName, const QStringList& options, const QStringList& valuesFound,
                  QWidget* parent = nullptr);

    QStringList options() const;
    QListWidget* list() const { return m_list; }

private:
    void addOption(const QString& text, bool edit);
    void syncButtons();

    QListWidget* m_list;
    QPushButton* m_remove;
    QPushButton* m_up;
    QPushButton* m_down;
    QStringList m_found;
};

} // namespace corvantis
