#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

namespace corvantis {

class DrawingDocument;

// How a tablet joins the open drawing: the code of the address to scan, the address to type, the
// devices on the board, and the way to stop sharing; or why sharing could not start.
class TabletShareSheet : public QWidget {
    Q_OBJECT
public:
    explicit TabletShareSheet(DrawingDocument& document, QWidget* parent = nullptr);

private:
    void sync();

    DrawingDocument& m_document;
    QWidget* m_code;
    QLabel* m_heading;
    QLabel* m_steps;
    QLabel* m_address;
    QLabel* m_fallback;
    QLabel* m_devices;
    QLabel* m_failure;
    QPushButton* m_stop;
    QPushButton* m_retry;
};

} // namespace corvantis
