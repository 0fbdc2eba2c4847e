#pragma once

#include "kit/schema/GraphSchema.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;

namespace corvantis {

// Asks for a new relationship: its name, the node type it runs from and the one it runs to, and whether
// it runs both ways.
class NewRelTypeDialog : public QDialog {
    Q_OBJECT
public:
    NewRelTypeDialog(const GraphSchema& schema, QWidget* parent = nullptr);

    QString name() const;
    QUuid from() const;
    QUuid to() const;
    bool bothWays() const;

private:
    QLineEdit* m_name;
    QComboBox* m_from;
    QComboBox* m_to;
    QCheckBox* m_bothWays;
    QPushButton* m_add;
};

} // namespace corvantis
