#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

namespace corvantis {

// What the board's page gave back when asked to save: whether anything is drawn, the drawing's source
// and its pictures for the light and the dark appearance (PNG).
struct BoardSnapshot {
    bool empty = true;
    QString source;
    QByteArray light;
    QByteArray dark;
};

// The board a drawing is edited on, as the document sees it: a page that shows a source, takes the
// appearance, passes messages from tablets, and hands back a snapshot when asked. The web view is one;
// anything that keeps this contract will do.
class DrawingPage : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void load(const QString& source, const QString& theme) = 0;
    virtual void setTheme(const QString& theme) = 0;
    virtual void fromTablet(const QString& message) = 0;
    // Answered by `saved`, once for each request.
    virtual void requestSave() = 0;

signals:
    void ready();
    void changed();
    void toTablet(const QString& message);
    void exportImage(const QByteArray& png);
    void saved(const corvantis::BoardSnapshot& snapshot);
    // The page could not answer a save (it went away or broke); the sentence says why.
    void saveFailed(const QString& reason);
};

} // namespace corvantis
