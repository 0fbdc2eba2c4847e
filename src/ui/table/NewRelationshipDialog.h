#pragma once

#include "kit/schema/RelType.h"

#include <QDialog>

class QComboBox;
class QDialogButtonBox;

namespace corvantis {

class ProjectSession;

// Asks for the two ends of a new relationship of one type: which connection, then a node at each end.
class NewRelationshipDialog : public QDialog {
    Q_OBJECT
public:
    NewRelationshipDialog(const ProjectSession& session, const RelType& type, QWidget* parent = nullptr);

    QString fromId() const;
    QString toId() const;
    QComboBox* connectionPicker() const { return m_connection; }
    QComboBox* fromPicker() const { return m_from; }
    QComboBox* toPicker() const { return m_to; }

private:
    void fillEnds();

    const ProjectSession& m_session;
    RelType m_type;
    QComboBox* m_connection;
    QComboBox* m_from;
    QComboBox* m_to;
    QDialogButtonBox* m_buttons;
};

} // namespace corvantis
