#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// One stage of answering a question, as the Ask panel shows it. The title is in the present while the
// step works and in the past when it is done.
struct AskStep {
    enum class Status { working, done, failed };
    // What the view offers as a button beside a step.
    enum class Action { downloadModel, openShape, openSettings, updateAI };

    QUuid id;
    QString title;
    QString meta;
    Status status = Status::working;
    std::optional<QString> cypher;
    QString thinking;
    QDateTime started;
    std::optional<QDateTime> finished;
    std::optional<QString> detail;
    std::optional<Action> action;

    friend bool operator==(const AskStep&, const AskStep&) = default;
};

} // namespace corvantis
