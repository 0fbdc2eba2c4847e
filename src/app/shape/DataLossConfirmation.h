#pragma once

#include <QString>
#include <QUuid>
#include <functional>

namespace corvantis {

// An edit that would delete data from the graph, waiting for the person's consent. The window shows it
// as a modal dialog: `title`, `message`, and a destructive button named `actionTitle` that runs
// `perform`.
struct DataLossConfirmation {
    QUuid id;
    QString title;
    QString message;
    QString actionTitle;
    std::function<void()> perform;
};

} // namespace corvantis
