#pragma once

#include <QHash>
#include <QPointer>
#include <QUuid>
#include <QWidget>

class QFormLayout;
class QLabel;
class QPushButton;

namespace corvantis {

class LinkPreviewCard;
class LinkPreviews;
class ProjectSession;
class GraphValue;
struct PropertyDef;

// The inspector of the selection: the selected node's or relationship's type and its properties, each
// editable in place; a change goes to the session as the edit of one value, which undoes on its own.
// Several selected nodes show how many; nothing selected shows a hint. With a source of previews, a link
// value shows its preview card under its field.
class Inspector : public QWidget {
    Q_OBJECT
public:
    explicit Inspector(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);
    void setLinkPreviews(LinkPreviews* previews);

    // The editor of one property of the shown record (a QLineEdit, QCheckBox or QComboBox), or null.
    QWidget* editor(const QUuid& property) const { return m_editors.value(property); }
    QLabel* heading() const { return m_heading; }
    // The preview card under a link property's field, or null while its value is no usable link.
    LinkPreviewCard* linkCard(const QUuid& property) const;

private:
    void rebuild();
    void refreshValues();
    QWidget* makeEditor(const PropertyDef& property);
    void commit(const QUuid& property, const QString& text);
    void showLink(const QUuid& property, const GraphValue& value);

    QPointer<ProjectSession> m_session;
    QPointer<LinkPreviews> m_previews;
    QLabel* m_heading;
    QLabel* m_detail;
    QWidget* m_form;
    QFormLayout* m_formLayout;
    QPushButton* m_delete;
    QString m_recordId;
    bool m_isNode = true;
    QHash<QUuid, QWidget*> m_editors;
    // Per link property, the row under its field that holds its card.
    QHash<QUuid, QWidget*> m_linkRows;
    bool m_refreshing = false;
};

} // namespace corvantis
