#pragma once

#include "app/drawing/DrawingPage.h"

class QWidget;
class QWebEngineView;

namespace corvantis {

class BoardHost;

// The drawing board as a web page in an embedded browser, served from the program's resources on its
// own scheme. The page calls back through a web channel; a save is asked for by number and answered by
// the page with that number.
class WebDrawingPage : public DrawingPage {
    Q_OBJECT
public:
    explicit WebDrawingPage(QWidget* parent = nullptr);
    ~WebDrawingPage() override;

    // The view to place in a window; it belongs to the page's parent widget.
    QWebEngineView* view() const { return m_view; }

    void load(const QString& source, const QString& theme) override;
    void setTheme(const QString& theme) override;
    void fromTablet(const QString& message) override;
    void requestSave() override;
    // Runs a script in the page; for tests and tools.
    void run(const QString& script);

private:
    void call(const QString& function, const QStringList& jsonArguments);

    QWebEngineView* m_view;
    BoardHost* m_host;
    int m_nextRequest = 0;
};

} // namespace corvantis
