#include "app/build/BuildTurn.h"

namespace corvantis {

namespace {

QDateTime now() {
    return QDateTime::currentDateTimeUtc();
}

} // namespace

BuildTurn::BuildTurn(QObject* parent)
    : QObject(parent)
    , id(QUuid::createUuid())
    , started(now()) {
}

BuildTurn::BuildTurn(const BuildTurnRecord& record, QObject* parent)
    : QObject(parent) {
    id = record.id;
    text = record.text;
    for (const BuildAttachmentRecord& saved : record.attachments)
        attachments.append(
            BuildAttachment{QUuid::createUuid(), saved.file, std::nullopt, saved.title, saved.thumbnail});
    model = AIModel::resolve(record.model);
    effort = record.effort;
    source = record.source;
    started = record.started;
    finished = record.finished;
    status = record.status;
    steps = record.steps;
    thinking = record.thinking;
    thinkingStarted = record.thinkingStarted;
    thinkingFinished = record.thinkingFinished;
    summary = record.summary;
    error = record.error;
    message = record.message;
    if (record.draftNodes || record.draftRelationships || record.draftChanges)
        draft = DraftSize{record.draftNodes.value_or(0), record.draftRelationships.value_or(0),
                          record.draftChanges.value_or(0)};
    added = record.added;
    discarded = record.discarded;
    revised = record.revised;
    undone = record.undone;
    shape = record.shape;
}

BuildTurnRecord BuildTurn::record() const {
    BuildTurnRecord record;
    record.id = id;
    record.text = text;
    for (const BuildAttachment& attachment : attachments)
        record.attachments.append(
            BuildAttachmentRecord{attachment.title, attachment.file, attachment.thumbnail});
    record.model = model.id;
    record.effort = effort;
    record.started = started;
    record.finished = finished;
    record.status = status;
    record.steps = steps;
    record.thinking = thinking;
    record.thinkingStarted = thinkingStarted;
    record.thinkingFinished = thinkingFinished;
    record.summary = summary;
    record.error = error;
    record.message = message;
    if (draft) {
        record.draftNodes = draft->nodes;
        record.draftRelationships = draft->relationships;
        record.draftChanges = draft->changes;
    }
    record.added = added;
    record.discarded = discarded;
    record.revised = revised;
    record.shape = shape;
    record.undone = undone;
    record.source = source;
    return record;
}

QString BuildTurn::activity() const {
    if (thinkingStarted && !thinkingFinished)
        return QStringLiteral("Thinking");
    for (auto it = steps.crbegin(); it != steps.crend(); ++it)
        if (it->status == BuildStep::Status::Working)
            return it->title;
    return QStringLiteral("Working");
}

QUuid BuildTurn::startStep(const QString& title, const QString& detail, bool thinks) {
    BuildStep step{QUuid::createUuid(), title, detail, BuildStep::Status::Working, now(),
                   std::nullopt,        thinks};
    steps.append(step);
    emit changed();
    return step.id;
}

void BuildTurn::finishStep(const QUuid& stepId, BuildStep::Status stepStatus, const QString& title,
                           const std::optional<QString>& detail) {
    for (BuildStep& step : steps)
        if (step.id == stepId) {
            step.status = stepStatus;
            step.title = title;
            if (detail)
                step.detail = *detail;
            step.finished = now();
            if (step.thinks && thinkingStarted && !thinkingFinished)
                thinkingFinished = step.finished;
        }
    emit changed();
}

void BuildTurn::retitleStep(const QUuid& stepId, const QString& title) {
    for (BuildStep& step : steps)
        if (step.id == stepId)
            step.title = title;
    emit changed();
}

void BuildTurn::setThinking(const QString& text) {
    if (!thinkingStarted)
        thinkingStarted = now();
    thinking = text;
    emit changed();
}

} // namespace corvantis
