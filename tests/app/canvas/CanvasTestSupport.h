#pragma once

// What the canvas tests share: a real session over a real database (the Reading shape of the session
// tests) with a hub and its neighbours, and a canvas that starts with only some of them on it.
#include "app/canvas/CanvasViews.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/AwaitTask.h"

#include <QDateTime>

namespace corvantis::test {

struct HubWorld : Reading {
    QString hub;
    QStringList people; // "Person 00" … KNOWS from the hub
    QStringList books;  // "Book 0" … WROTE by the hub

    HubWorld(int peopleCount, int bookCount) {
        hub = add(person, "Hub");
        for (int i = 0; i < peopleCount; ++i) {
            people.append(add(person, QStringLiteral("Person %1").arg(i, 2, 10, QLatin1Char('0'))));
            link("KNOWS", hub, people.last());
        }
        for (int i = 0; i < bookCount; ++i) {
            books.append(add(book, QStringLiteral("Book %1").arg(i)));
            link("WROTE", hub, books.last());
        }
        canvas().seedRandom(7);
        showOnly({hub});
    }

    CanvasState& canvas() { return session->canvases().current(); }

    // Takes everything but `ids` off the canvas.
    void showOnly(const QSet<QString>& ids) {
        QSet<QString> others = canvas().shown();
        others.subtract(ids);
        canvas().hide(others);
        for (const QString& id : ids)
            canvas().put(id, QPointF(0, 0));
    }

    void setPriority(const NodeType& type, ExpandPriority priority) {
        session->setExpandPriority(priority, type.id);
    }

    int shownAmong(const QStringList& ids) {
        int n = 0;
        for (const QString& id : ids)
            n += canvas().shown().contains(id) ? 1 : 0;
        return n;
    }
};

// Clicks far apart in time, so that none makes a double click with the one before.
struct Clock {
    QDateTime now = QDateTime::fromString("2026-03-01T10:00:00Z", Qt::ISODate);
    QDateTime later() { return now = now.addSecs(5); }
    QDateTime soon() { return now = now.addMSecs(200); }
};

} // namespace corvantis::test
