#pragma once

#include "app/drawing/DrawingDocument.h"

#include <QWidget>

class QLabel;
class QToolButton;

namespace corvantis {

class TabletShareSheet;
class WebDrawingPage;

// A window with one drawing on its board: a bar with sharing to a tablet and Done over the board.
// Closing it saves what is pending first.
class DrawingWindow : public QWidget {
    Q_OBJECT
public:
    DrawingWindow(DrawingRequest request, const QString& attachments, bool inNote, TabletBridge* bridge,
                  QWidget* parent = nullptr);
    ~DrawingWindow() override;

    DrawingDocument& document() { return *m_document; }
    WebDrawingPage& page() { return *m_page; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void pushTheme();

    WebDrawingPage* m_page;
    DrawingDocument* m_document;
    QToolButton* m_share;
    QLabel* m_message;
    TabletShareSheet* m_sheet;
};

} // namespace corvantis
