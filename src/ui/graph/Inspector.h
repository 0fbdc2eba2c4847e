#pragma once

#include <QHash>
#include <QPointer>
#include <QUuid>
#include <QWidget>

class QFormLayout;
class QLabel;
class QPushButton;

namespace corvantis {

class ProjectSession;
struct PropertyDef;

// The inspector of the selection: the selected node's or relationship's type and its properties, each
// editable in place; a change goes to the session as the edit of one value, which undoes on its own.
// Several selected nodes show how many; nothing selected shows a hint.
class Inspector : public QWidget {
    Q_OBJECT
public:
    explicit Inspector(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    // The editor of one property of the shown record (a QLineEdit, QCheckBox or QComboBox), or null.
    QWidget* editor(const QUuid& property) const { return m_editors.value(property); }
    QLabel* heading() const { return m_heading; }

private:
    void rebuild();
    void refreshValues();
    QWidget* makeEditor(const PropertyDef& property);
    void commit(const QUuid& property, const QString& text);

    QPointer<ProjectSession> m_session;
    QLabel* m_heading;
    QLabel* m_detail;
    QWidget* m_form;
    QFormLayout* m_formLayout;
    QPushButton* m_delete;
    QString m_recordId;
    bool m_isNode = true;
    QHash<QUuid, QWidget*> m_editors;
    bool m_refreshing = false;
};

} // namespace corvantis
