#include "app/build/BuildChat.h"

#include "app/ai/AIClients.h"
#include "app/ai/AIConnection.h"
#include "app/app/Settings.h"
#include "app/build/BuildImages.h"
#include "app/build/PopplerPdf.h"
#include "app/undo/UndoStack.h"
#include "kit/ai/AICommandError.h"
#include "kit/ai/AIError.h"
#include "kit/links/LinkURL.h"
#include "kit/links/SourceReaderError.h"
#include "kit/query/CypherGuard.h"
#include "kit/store/GraphStore.h"
#include "kit/support/Json.h"

#include <QFileInfo>
#include <QLocale>
#include <QMimeData>
#include <QRegularExpression>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <qcoro/qcorofuture.h>

namespace corvantis {

namespace {

constexpr int rowLimit = 20000;
constexpr int nodesSentWhole = 300;
constexpr int nodesSentAtMost = 150;

QDateTime now() {
    return QDateTime::currentDateTimeUtc();
}

QString effortDetail(const BuildChat::Using& use) {
    return use.model.title + QStringLiteral(" · ") + use.effort.title().toLower() + QStringLiteral(" effort");
}

QString grouped(qint64 count) {
    return QLocale::system().toString(count);
}

// A read-only query on the thread pool; a failure comes back as its sentence.
QCoro::Task<QueryOutput> runQuery(std::shared_ptr<GraphStore> store, QString query) {
    struct Outcome {
        std::optional<QueryOutput> output;
        std::optional<QString> error;
    };
    QFuture<Outcome> future = QtConcurrent::run([store, query] {
        try {
            return Outcome{store->runReadOnly(query, rowLimit), std::nullopt};
        } catch (const UserFacingError& error) {
            return Outcome{std::nullopt, error.message()};
        }
    });
    Outcome outcome = co_await future;
    if (outcome.error)
        throw UserFacingError(*outcome.error);
    co_return *outcome.output;
}

} // namespace

BuildChat::BuildChat(BuildKind kind, BuildHost& host, Settings* settings, QObject* parent)
    : QObject(parent)
    , m_kind(kind)
    , m_host(host)
    , m_settings(settings)
    , m_conversationID(QUuid::createUuid())
    , m_created(now()) {
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(800);
    connect(&m_saveTimer, &QTimer::timeout, this, &BuildChat::save);
    if (m_settings)
        m_shareExisting = m_settings->value(QStringLiteral("graphAI.shareNodes")).toBool();
    m_transport = SourceReader::networkTransport(&m_network);
    m_makeClient = [](AIProvider provider, std::optional<AIEffort> effort,
                      std::function<void(const QString&)> onThinking, CancellationToken cancellation) {
        return AIClients::make(provider, effort, std::move(onThinking), std::move(cancellation));
    };
    watchUndo();
}

BuildChat::~BuildChat() {
    m_cancellation.cancel();
    if (m_saveTimer.isActive())
        save();
}

// -- Fields --------------------------------------------------------------------------------------------

void BuildChat::setDraftText(const QString& text) {
    if (m_draftText == text)
        return;
    m_draftText = text;
    emit draftTextChanged();
}

void BuildChat::removeAttachment(const QUuid& id) {
    if (m_attachments.removeIf([&](const BuildAttachment& a) { return a.id == id; }) > 0)
        emit attachmentsChanged();
}

void BuildChat::setReview(const std::optional<GraphReview>& review) {
    if (m_review == review)
        return;
    m_review = review;
    emit reviewChanged();
    scheduleSave();
}

void BuildChat::setShowsDraft(bool shows) {
    if (m_showsDraft == shows)
        return;
    m_showsDraft = shows;
    emit showsDraftChanged();
}

void BuildChat::setUnseen(bool unseen) {
    if (m_unseen == unseen)
        return;
    m_unseen = unseen;
    emit unseenChanged();
}

void BuildChat::setShareExisting(bool share) {
    if (m_shareExisting == share)
        return;
    m_shareExisting = share;
    if (m_settings)
        m_settings->setValue(QStringLiteral("graphAI.shareNodes"), share);
    emit shareExistingChanged();
}

void BuildChat::setNotice(const std::optional<QString>& notice) {
    if (m_notice == notice)
        return;
    m_notice = notice;
    emit noticeChanged();
}

bool BuildChat::isRunning() const {
    return std::any_of(m_turns.begin(), m_turns.end(),
                       [](const BuildTurn* turn) { return turn->isRunning(); });
}

bool BuildChat::canSend() const {
    return !isRunning() && (!m_draftText.trimmed().isEmpty() || !m_attachments.isEmpty());
}

BuildTurn* BuildChat::reviewTurn() const {
    for (BuildTurn* turn : m_turns)
        if (turn->id == m_reviewTurn)
            return turn;
    return nullptr;
}

QString BuildChat::currentKey() const {
    return QStringLiteral("build.current.") + json::uuidText(m_host.project().id) + QStringLiteral(".") +
           BuildKinds::id(m_kind);
}

// -- History of the model ------------------------------------------------------------------------------

QList<BuildExchange> BuildChat::exchanges() const {
    QList<BuildExchange> list;
    for (const BuildTurn* turn : m_turns) {
        if (turn->status != BuildTurnRecord::Status::Done || !turn->message)
            continue;
        QString reply = turn->summary;
        // An undone draft was applied first: its counts went with the undo.
        const bool applied =
            (turn->added && !(*turn->added == GraphAdded{})) || (turn->undone && turn->draft);
        if (applied)
            reply += QStringLiteral(" (The person applied this draft to the graph.)");
        if (turn->discarded)
            reply += QStringLiteral(" (The person discarded this draft.)");
        if (turn->undone)
            reply += QStringLiteral(" (The person undid this.)");
        list.append({*turn->message, reply});
    }
    return list;
}

// -- Sending -------------------------------------------------------------------------------------------

bool BuildChat::send(const Using& use) {
    if (!canSend())
        return false;
    setNotice(std::nullopt);
    const QList<BuildExchange> history = exchanges();
    auto* turn = new BuildTurn(this);
    turn->text = m_draftText;
    turn->attachments = m_attachments;
    turn->model = use.model;
    turn->effort = use.effort;
    m_draftText.clear();
    m_attachments.clear();
    emit draftTextChanged();
    emit attachmentsChanged();
    adopt(turn);
    m_turns.append(turn);
    emit turnsChanged();
    emit runningChanged();
    save();

    m_cancellation = CancellationToken();
    QPointer<BuildTurn> thinkingTurn(turn);
    AIClient client = m_makeClient(
        use.provider, use.effort,
        [thinkingTurn](const QString& thinking) {
            if (thinkingTurn && thinkingTurn->isRunning())
                thinkingTurn->setThinking(thinking);
        },
        m_cancellation);
    m_task.emplace(run(turn, client, use, history));
    return true;
}

void BuildChat::adopt(BuildTurn* turn) {
    connect(turn, &BuildTurn::changed, this, [this, turn] {
        if (turn->isRunning())
            scheduleSave();
    });
}

QCoro::Task<> BuildChat::run(BuildTurn* turn, AIClient client, Using use, QList<BuildExchange> history) {
    QPointer<BuildChat> self(this);
    QPointer<BuildTurn> guarded(turn);
    const CancellationToken cancellation = m_cancellation;
    try {
        QCoro::Task<BuildMessage> gathering = gather(turn, cancellation);
        BuildMessage message = co_await std::move(gathering);
        if (!self || !guarded || cancellation.isCancelled())
            throw Cancelled();
        turn->message = message;
        turn->notify();
        if (m_kind == BuildKind::Graph) {
            QCoro::Task<> building = buildGraph(turn, client, use, history, message);
            co_await std::move(building);
        } else {
            QCoro::Task<> designing = buildShape(turn, client, use, history, message);
            co_await std::move(designing);
        }
    } catch (const Cancelled&) {
        if (self && guarded && guarded->isRunning())
            finish(turn, BuildTurnRecord::Status::Stopped);
    } catch (const std::exception& error) {
        if (self && guarded && guarded->isRunning() && !cancellation.isCancelled())
            fail(turn, error, use.connection);
        else if (self && guarded && guarded->isRunning())
            finish(turn, BuildTurnRecord::Status::Stopped);
    }
}

QCoro::Task<BuildMessage> BuildChat::gather(BuildTurn* turn, CancellationToken cancellation) {
    QPointer<BuildChat> self(this);
    BuildMessage message;
    message.text = turn->text.trimmed();

    struct Reading {
        QUrl url;
        QString name;
    };
    QList<Reading> readings;
    for (const QUrl& url : SourceReader::links(turn->text))
        readings.append({url, LinkURL::site(url)});
    for (const BuildAttachment& attachment : turn->attachments) {
        if (attachment.image) {
            auto encoded = BuildImages::encode(*attachment.image);
            if (!encoded)
                throw BuildChatError::pictureUnreadable();
            message.images.append(*encoded);
            continue;
        }
        if (!attachment.file)
            continue;
        const QString path = attachment.file->toLocalFile();
        if (auto image = BuildImages::readImageFile(path)) {
            auto encoded = BuildImages::encode(*image);
            if (!encoded)
                throw BuildChatError::pictureUnreadable();
            message.images.append(*encoded);
            continue;
        }
        readings.append({*attachment.file, QFileInfo(path).fileName()});
    }

    const PdfReader pdf = &PopplerPdf::read;
    for (const Reading& reading : readings) {
        const QUuid step = turn->startStep(QStringLiteral("Reading ") + reading.name);
        try {
            QCoro::Task<BuildSource> task = SourceReader::read(reading.url, m_transport, pdf, cancellation);
            BuildSource source = co_await std::move(task);
            if (!self)
                throw Cancelled();
            message.sources.append(source);
            turn->finishStep(step, BuildStep::Status::Done, QStringLiteral("Read ") + reading.name,
                             QStringLiteral("%1 words").arg(grouped(source.words())) +
                                 (source.truncated ? QStringLiteral(", the first part only") : QString()));
        } catch (const UserFacingError& error) {
            if (!self)
                throw Cancelled();
            turn->finishStep(step, BuildStep::Status::Failed, QStringLiteral("Couldn't read ") + reading.name,
                             error.message());
        }
        cancellation.check();
    }

    static const QRegularExpression linkPattern(QStringLiteral("https?://\\S+"));
    QString words = turn->text;
    words.remove(linkPattern);
    if (words.trimmed().isEmpty() && message.sources.isEmpty() && message.images.isEmpty())
        throw BuildChatError::nothingToRead();
    co_return message;
}

QList<ExistingNode> BuildChat::existingNodes(const QString& text, BuildTurn* stepTurn) {
    const QHash<QString, NodeRecord>& nodes = m_host.nodes();
    if (nodes.isEmpty())
        return {};
    const GraphSchema& schema = m_host.project().schema;
    QHash<QString, const NodeType*> types;
    for (const NodeType& type : schema.nodeTypes)
        types.insert(type.table(), &type);
    QList<ExistingNode> named;
    for (const NodeRecord& node : nodes) {
        const NodeType* type = types.value(node.label);
        if (!type || !type->title())
            continue;
        if (auto title = node.properties.value(type->title()->column()).titleText())
            named.append({node.id, type->name, *title});
    }
    std::sort(named.begin(), named.end(), [](const ExistingNode& a, const ExistingNode& b) {
        return a.title != b.title ? a.title < b.title : a.id < b.id;
    });
    if (nodes.size() <= nodesSentWhole)
        return named;

    const QUuid step =
        stepTurn ? stepTurn->startStep(QStringLiteral("Finding the nodes it mentions")) : QUuid();
    QList<QPair<QString, QString>> names;
    names.reserve(named.size());
    QHash<QString, ExistingNode> byId;
    for (const ExistingNode& node : std::as_const(named)) {
        names.append({node.id, node.title});
        byId.insert(node.id, node);
    }
    // Search by meaning joins in when the session has an embedding service; by name it always runs.
    const QStringList ids =
        GraphBuilder::candidates(GraphBuilder::mentioned(text, names), {}, nodesSentAtMost);
    QList<ExistingNode> chosen;
    for (const QString& id : ids)
        chosen.append(byId.value(id));
    if (stepTurn)
        stepTurn->finishStep(step, BuildStep::Status::Done, QStringLiteral("Found the nodes it mentions"),
                             chosen.isEmpty() ? QStringLiteral("None by name or meaning")
                                              : QStringLiteral("%1 sent along by name").arg(chosen.size()));
    return chosen;
}

QCoro::Task<> BuildChat::buildGraph(BuildTurn* turn, AIClient client, Using use, QList<BuildExchange> history,
                                    BuildMessage message) {
    QPointer<BuildChat> self(this);
    QList<ExistingNode> existing;
    if (m_shareExisting) {
        QStringList texts{message.text};
        for (const BuildSource& source : std::as_const(message.sources))
            texts.append(source.text);
        existing = existingNodes(texts.join(QStringLiteral("\n\n")), turn);
    }
    const bool revising = m_review.has_value();
    const std::optional<QString> described =
        revising ? std::optional<QString>(m_review->describe(m_host.project().schema, m_host.nodes()))
                 : std::nullopt;
    const QUuid step = turn->startStep(revising ? QStringLiteral("Revising the draft")
                                                : QStringLiteral("Drafting nodes and relationships"),
                                       effortDetail(use), true);
    const GraphSchema schema = m_host.project().schema;
    QCoro::Task<GraphDraft> drafting =
        GraphBuilder::buildGraph(client, message, history, described, schema, existing, use.model);
    const GraphDraft draft = co_await std::move(drafting);
    if (!self)
        throw Cancelled();
    turn->finishStep(step, BuildStep::Status::Done,
                     revising ? QStringLiteral("Revised the draft")
                              : QStringLiteral("Drafted nodes and relationships"));
    turn->draft = BuildTurn::DraftSize{draft.nodes.size(), draft.relationships.size(), draft.changes.size()};

    // The check reads the whole graph: it runs on the pool over copies (shared until the graph changes),
    // and the main thread stays free.
    QFuture<GraphReview> checking = QtConcurrent::run(
        [draft, schema, nodes = m_host.nodes()] { return GraphBuilder::review(draft, schema, nodes); });
    GraphReview review = co_await checking;
    if (!self)
        throw Cancelled();
    if (m_review)
        review.carryOver(*m_review, m_host.project().schema);
    present(review, draft.summary, turn);
    if (!review.changes.isEmpty()) {
        auto holder = std::make_shared<GraphReview>(review);
        QCoro::Task<> finding = find(holder.get(), turn, client, use.model);
        co_await std::move(finding);
        if (!self)
            throw Cancelled();
        review = *holder;
    }
    if (!turn->isRunning())
        co_return;
    if (BuildTurn* previous = reviewTurn(); previous && previous != turn) {
        previous->revised = true;
        previous->notify();
    }
    m_reviewTurn = turn->id;
    m_review = review;
    emit reviewChanged();
    setShowsDraft(true);
    finish(turn, BuildTurnRecord::Status::Done);
}

void BuildChat::present(GraphReview& review, const QString& summary, BuildTurn* turn) {
    const QUuid step = turn->startStep(QStringLiteral("Checking it against your graph"));
    // Similar names by meaning come from the embedding service, when the session has one.
    qint64 same = 0;
    qint64 possible = 0;
    for (const GraphReview::Node& node : std::as_const(review.nodes)) {
        if (node.target && !node.matches.isEmpty() && node.matches.first().isSameName())
            ++same;
        else if (!node.matches.isEmpty())
            ++possible;
    }
    QStringList parts;
    if (same > 0)
        parts.append(QStringLiteral("%1 already in it").arg(same));
    if (possible > 0)
        parts.append(QStringLiteral("%1 possible duplicate%2").arg(possible).arg(possible == 1 ? "" : "s"));
    if (!review.skipped.isEmpty())
        parts.append(QStringLiteral("%1 didn't fit the shape").arg(review.skipped.size()));
    turn->finishStep(step, BuildStep::Status::Done, QStringLiteral("Checked it against your graph"),
                     parts.isEmpty() ? QStringLiteral("All new") : parts.join(QStringLiteral(" · ")));
    turn->summary = summary;
    turn->notify();
}

QCoro::Task<> BuildChat::find(GraphReview* review, BuildTurn* turn, std::optional<AIClient> repair,
                              AIModel model) {
    QPointer<BuildChat> self(this);
    if (review->changes.isEmpty())
        co_return;
    const QUuid step = turn->startStep(QStringLiteral("Finding what to change in your graph"));
    int couldntRun = 0;
    for (GraphReview::Change& change : review->changes) {
        QList<QueryFailure> failures;
        for (;;) {
            std::optional<QString> error;
            try {
                CypherGuard::check(change.query);
                std::shared_ptr<GraphStore> store = m_host.store();
                if (!store)
                    throw UserFacingError(QStringLiteral("Your graph isn't open."));
                QCoro::Task<QueryOutput> running = runQuery(store, change.query);
                const QueryOutput output = co_await std::move(running);
                if (!self)
                    throw Cancelled();
                change.take(output, m_host.nodes(), m_host.rels());
                if (change.found().isEmpty() && !output.rows.isEmpty())
                    error =
                        QStringLiteral("It returned values (%1), not the nodes or relationships themselves.")
                            .arg(output.columns.join(QStringLiteral(", ")));
            } catch (const UserFacingError& failure) {
                error = failure.message();
            }
            if (!error)
                break;
            change.nodes.clear();
            change.relationships.clear();
            change.excluded.clear();
            change.problem = error;
            const bool canRepair = repair && failures.size() < 2;
            failures.append({change.query, *error});
            if (!canRepair)
                break;
            turn->retitleStep(step, QStringLiteral("Fixing a query"));
            const QString question =
                QStringLiteral(
                    "Find exactly the nodes or relationships to %1 for this, so they can be shown to me: "
                    "%2. Return the nodes or relationships themselves (RETURN n or RETURN r), and "
                    "nothing else.")
                    .arg(change.action == GraphReview::Change::Action::Remove ? QStringLiteral("remove")
                                                                              : QStringLiteral("change"),
                         change.summary);
            try {
                QCoro::Task<CypherTranslation> translating =
                    repair->translate(question, m_host.project().schema, model, failures);
                const CypherTranslation translation = co_await std::move(translating);
                if (!self)
                    throw Cancelled();
                change.query = translation.cypher;
            } catch (const Cancelled&) {
                throw;
            } catch (const std::exception&) {
                break; // the change keeps its problem
            }
        }
        if (change.problem)
            ++couldntRun;
    }
    qint64 removing = 0;
    qint64 editing = 0;
    for (const GraphReview::Change& change : std::as_const(review->changes))
        (change.action == GraphReview::Change::Action::Remove ? removing : editing) += change.found().size();
    QStringList parts;
    if (removing > 0)
        parts.append(grouped(removing) + QStringLiteral(" to remove"));
    if (editing > 0)
        parts.append(grouped(editing) + QStringLiteral(" to edit"));
    if (couldntRun == 1)
        parts.append(QStringLiteral("1 query couldn't run"));
    else if (couldntRun > 1)
        parts.append(QStringLiteral("%1 queries couldn't run").arg(couldntRun));
    turn->finishStep(step, BuildStep::Status::Done, QStringLiteral("Found what to change in your graph"),
                     parts.isEmpty() ? QStringLiteral("Nothing matched") : parts.join(QStringLiteral(" · ")));
}

QCoro::Task<> BuildChat::buildShape(BuildTurn* turn, AIClient client, Using use, QList<BuildExchange> history,
                                    BuildMessage message) {
    QPointer<BuildChat> self(this);
    const QUuid step = turn->startStep(QStringLiteral("Designing the shape"), effortDetail(use), true);
    const GraphSchema schema = m_host.project().schema;
    QCoro::Task<ShapeDraft> designing =
        ShapeDesigner::designShape(client, message, history, schema, use.model);
    const ShapeDraft draft = co_await std::move(designing);
    if (!self)
        throw Cancelled();
    turn->finishStep(step, BuildStep::Status::Done, QStringLiteral("Designed the shape"));
    watchUndo();
    const ShapeMergeResult result = m_host.applyShapeDraft(draft);
    turn->shape = result;
    turn->summary = draft.summary;
    if (!result.isEmpty()) {
        turn->undoable = true;
        if (UndoStack* stack = m_host.undoStack())
            m_appliedSteps.insert(turn->id, stack->topUndoSerial());
    }
    finish(turn, BuildTurnRecord::Status::Done);
}

void BuildChat::finish(BuildTurn* turn, BuildTurnRecord::Status status) {
    const QDateTime at = now();
    turn->status = status;
    turn->finished = at;
    if (turn->thinkingStarted && !turn->thinkingFinished)
        turn->thinkingFinished = at;
    for (BuildStep& step : turn->steps)
        if (step.status == BuildStep::Status::Working) {
            step.status =
                status == BuildTurnRecord::Status::Done ? BuildStep::Status::Done : BuildStep::Status::Failed;
            step.finished = at;
        }
    m_task.reset();
    if (!m_inView)
        setUnseen(true);
    turn->notify();
    emit runningChanged();
    save();
}

void BuildChat::fail(BuildTurn* turn, const std::exception& error, AIConnection* connection) {
    if (const auto* commandError = dynamic_cast<const AICommandError*>(&error)) {
        if (connection)
            connection->note(error);
        switch (commandError->kind()) {
        case AICommandError::Kind::notSignedIn:
            turn->fix = BuildTurn::Fix::SignIn;
            break;
        case AICommandError::Kind::outdated:
            turn->fix = BuildTurn::Fix::Update;
            break;
        case AICommandError::Kind::notInstalled:
            turn->fix = BuildTurn::Fix::Settings;
            break;
        case AICommandError::Kind::failed:
            break;
        }
    }
    if (const auto* userFacing = dynamic_cast<const UserFacingError*>(&error))
        turn->error = userFacing->message();
    else
        turn->error =
            QStringLiteral("Something went wrong while building: %1").arg(QString::fromUtf8(error.what()));
    finish(turn, BuildTurnRecord::Status::Failed);
}

void BuildChat::stop() {
    if (!isRunning())
        return;
    m_cancellation.cancel();
    for (BuildTurn* turn : std::as_const(m_turns))
        if (turn->isRunning())
            finish(turn, BuildTurnRecord::Status::Stopped);
}

// -- Drafts from connected apps ------------------------------------------------------------------------

BuildTurn* BuildChat::turn(const QString& id) const {
    const std::optional<QUuid> wanted = json::parseUuid(id.trimmed());
    if (!wanted)
        return nullptr;
    for (BuildTurn* turn : m_turns)
        if (turn->id == *wanted)
            return turn;
    return nullptr;
}

BuildTurn* BuildChat::turn(const QString& request, const QString& from, QObject* parent) {
    auto* turn = new BuildTurn(parent);
    turn->text = request.trimmed();
    turn->source = from;
    return turn;
}

QString BuildChat::counts(const GraphDraft& draft) {
    QStringList parts;
    const auto add = [&](qsizetype count, const QString& word) {
        if (count > 0)
            parts.append(QString::number(count) + QLatin1Char(' ') + word +
                         (count == 1 ? QString() : QStringLiteral("s")));
    };
    add(draft.nodes.size(), QStringLiteral("node"));
    add(draft.relationships.size(), QStringLiteral("relationship"));
    add(draft.changes.size(), QStringLiteral("change"));
    return parts.join(QStringLiteral(", "));
}

void BuildChat::appendReceived(BuildTurn* turn, const QString& stepTitle, const QString& detail) {
    const QUuid step = turn->startStep(stepTitle, detail);
    turn->finishStep(step, BuildStep::Status::Done, stepTitle, detail);
    adopt(turn);
    m_turns.append(turn);
    emit turnsChanged();
    emit runningChanged();
}

QCoro::Task<BuildChat::Received> BuildChat::receive(GraphDraft draft, QString request, QString from) {
    if (isRunning())
        throw BuildChatError::busy(m_kind);
    QPointer<BuildChat> self(this);
    BuildTurn* turn = BuildChat::turn(request, from, this);
    QPointer<BuildTurn> guarded(turn);
    turn->draft = BuildTurn::DraftSize{draft.nodes.size(), draft.relationships.size(), draft.changes.size()};
    appendReceived(turn, QStringLiteral("Received a draft from ") + from, counts(draft));
    emit viewRequested();
    // The open draft gives way: the turn that held it reads as replaced.
    if (BuildTurn* previous = reviewTurn(); previous && m_review) {
        previous->revised = true;
        previous->notify();
        m_review.reset();
        m_reviewTurn = QUuid();
        emit reviewChanged();
        setShowsDraft(false);
    }
    save();

    m_cancellation = CancellationToken();
    const CancellationToken cancellation = m_cancellation;
    try {
        const GraphSchema schema = m_host.project().schema;
        QFuture<GraphReview> checking = QtConcurrent::run(
            [draft, schema, nodes = m_host.nodes()] { return GraphBuilder::review(draft, schema, nodes); });
        GraphReview review = co_await checking;
        if (!self || !guarded || !guarded->isRunning() || cancellation.isCancelled())
            throw Cancelled();
        present(review, draft.summary, turn);
        if (!review.changes.isEmpty()) {
            // No model stands behind a received draft to mend its queries: a failing one stays a problem
            // that the sender reads in its answer.
            auto holder = std::make_shared<GraphReview>(review);
            QCoro::Task<> finding = find(holder.get(), turn, std::nullopt, AIModel());
            co_await std::move(finding);
            if (!self || !guarded || !guarded->isRunning() || cancellation.isCancelled())
                throw Cancelled();
            review = *holder;
        }
        m_reviewTurn = turn->id;
        m_review = review;
        emit reviewChanged();
        setShowsDraft(true);
        finish(turn, BuildTurnRecord::Status::Done);
        co_return Received{turn, review};
    } catch (const Cancelled&) {
        if (self && guarded && guarded->isRunning())
            finish(turn, BuildTurnRecord::Status::Stopped);
        throw;
    } catch (const std::exception& error) {
        if (self && guarded && guarded->isRunning())
            fail(turn, error, nullptr);
        throw;
    }
}

ShapeMergeResult BuildChat::receive(const ShapeDraft& draft, const QString& request, const QString& from) {
    if (isRunning())
        throw BuildChatError::busy(m_kind);
    BuildTurn* turn = BuildChat::turn(request, from, this);
    appendReceived(turn, QStringLiteral("Received additions from ") + from, QString());
    turn->summary = draft.summary;
    watchUndo();
    try {
        const ShapeMergeResult result = m_host.applyShapeDraft(draft);
        turn->shape = result;
        if (!result.isEmpty()) {
            turn->undoable = true;
            if (UndoStack* stack = m_host.undoStack())
                m_appliedSteps.insert(turn->id, stack->topUndoSerial());
        }
        finish(turn, BuildTurnRecord::Status::Done);
        return result;
    } catch (const std::exception& error) {
        fail(turn, error, nullptr);
        throw;
    }
}

// -- Applying, undoing, discarding ---------------------------------------------------------------------

GraphAdded BuildChat::add() {
    if (!m_review)
        return {};
    BuildTurn* turn = reviewTurn();
    watchUndo();
    const QList<RelRecord> rels = m_host.rels().values();
    const GraphPlan plan = m_review->plan(m_host.project().schema, m_host.nodes(), rels);
    const GraphAdded added = m_host.applyGraphPlan(plan);
    if (added == GraphAdded{} && !plan.isEmpty())
        return added; // refused: the session has said why; the draft stays
    if (turn) {
        turn->added = added;
        turn->addedReview = m_review;
        turn->undoable = !plan.isEmpty();
        turn->undoGone.reset();
        if (UndoStack* stack = m_host.undoStack(); stack && turn->undoable)
            m_appliedSteps.insert(turn->id, stack->topUndoSerial());
        turn->notify();
    }
    m_review.reset();
    emit reviewChanged();
    setShowsDraft(false);
    save();
    return added;
}

bool BuildChat::undoAdd(BuildTurn* turn) {
    UndoStack* stack = m_host.undoStack();
    if (!turn || !turn->undoable || !stack || stack->topUndoSerial() != m_appliedSteps.value(turn->id))
        return false;
    const quint64 step = m_appliedSteps.value(turn->id);
    m_undoing = true;
    stack->undo();
    m_undoing = false;
    if (stack->topUndoSerial() == step)
        return false; // the undo was refused
    m_appliedSteps.remove(turn->id);
    turn->undoable = false;
    m_review = turn->addedReview;
    m_reviewTurn = turn->id;
    turn->undone = true;
    turn->added.reset();
    turn->addedReview.reset();
    turn->notify();
    emit reviewChanged();
    setShowsDraft(true);
    save();
    return true;
}

bool BuildChat::undoShape(BuildTurn* turn) {
    UndoStack* stack = m_host.undoStack();
    if (!turn || !turn->undoable || !stack || stack->topUndoSerial() != m_appliedSteps.value(turn->id))
        return false;
    const quint64 step = m_appliedSteps.value(turn->id);
    m_undoing = true;
    stack->undo();
    m_undoing = false;
    if (stack->topUndoSerial() == step)
        return false;
    m_appliedSteps.remove(turn->id);
    turn->undoable = false;
    turn->undone = true;
    turn->notify();
    save();
    return true;
}

void BuildChat::watchUndo() {
    UndoStack* stack = m_host.undoStack();
    if (!stack || m_watchedStack == stack)
        return;
    m_watchedStack = stack;
    connect(stack, &UndoStack::changed, this, [this, stack] {
        if (m_undoing)
            return;
        for (BuildTurn* turn : std::as_const(m_turns)) {
            if (!turn->undoable || !m_appliedSteps.contains(turn->id))
                continue;
            if (stack->topUndoSerial() == m_appliedSteps.value(turn->id))
                continue;
            // Something else now stands above the applied change (or it was undone by hand): taking it
            // back from here would take the person's later work with it.
            turn->undoable = false;
            turn->undoGone = QStringLiteral("You've changed the graph since, so this can only be undone with "
                                            "Edit ▸ Undo.");
            m_appliedSteps.remove(turn->id);
            turn->notify();
        }
    });
}

void BuildChat::discard() {
    if (!m_review)
        return;
    if (BuildTurn* turn = reviewTurn()) {
        turn->discarded = true;
        turn->notify();
    }
    m_review.reset();
    emit reviewChanged();
    setShowsDraft(false);
    save();
}

// -- Conversations -------------------------------------------------------------------------------------

void BuildChat::clear() {
    qDeleteAll(m_turns);
    m_turns.clear();
    m_review.reset();
    m_reviewTurn = QUuid();
    m_appliedSteps.clear();
}

bool BuildChat::reset() {
    if (isRunning()) {
        setNotice(QStringLiteral("The AI is answering. Stop it to switch conversations."));
        return false;
    }
    save();
    const bool hadTurns = !m_turns.isEmpty();
    clear();
    m_conversationID = QUuid::createUuid();
    m_created = now();
    m_draftText.clear();
    m_attachments.clear();
    if (m_settings)
        m_settings->remove(currentKey());
    setShowsDraft(false);
    setNotice(hadTurns ? std::optional<QString>(
                             QStringLiteral("New conversation. This one is kept in the history."))
                       : std::nullopt);
    emit turnsChanged();
    emit reviewChanged();
    emit draftTextChanged();
    emit attachmentsChanged();
    refreshHistory();
    return true;
}

bool BuildChat::open(const QUuid& id) {
    if (isRunning()) {
        setNotice(QStringLiteral("The AI is answering. Stop it to switch conversations."));
        return false;
    }
    auto loaded = BuildHistory::conversation(id, m_host.projectFolder());
    if (!loaded || loaded->kind != m_kind)
        return false;
    save();
    m_loading = true;
    clear();
    m_conversationID = loaded->id;
    m_created = loaded->created;
    for (const BuildTurnRecord& record : std::as_const(loaded->turns)) {
        auto* turn = new BuildTurn(record, this);
        adopt(turn);
        m_turns.append(turn);
    }
    if (loaded->review) {
        GraphReview review = *loaded->review;
        QSet<QString> nodeIds;
        for (auto it = m_host.nodes().cbegin(); it != m_host.nodes().cend(); ++it)
            nodeIds.insert(it.key());
        QSet<QString> relIds;
        for (auto it = m_host.rels().cbegin(); it != m_host.rels().cend(); ++it)
            relIds.insert(it.key());
        review.forgetMissing(nodeIds, relIds);
        m_review = review;
        // The review belongs to the last turn that drafted and was neither applied nor discarded.
        for (auto it = m_turns.crbegin(); it != m_turns.crend(); ++it)
            if ((*it)->draft && !(*it)->added && !(*it)->discarded) {
                m_reviewTurn = (*it)->id;
                break;
            }
    }
    m_loading = false;
    if (m_settings)
        m_settings->setValue(currentKey(), json::uuidText(m_conversationID));
    setShowsDraft(m_review.has_value());
    emit turnsChanged();
    emit reviewChanged();
    return true;
}

void BuildChat::remove(const QUuid& id) {
    if (id == m_conversationID) {
        if (!reset())
            return;
    }
    try {
        BuildHistory::remove(id, m_host.projectFolder());
    } catch (const FileError&) {
        // The row stays listed; the file is where it was.
    }
    refreshHistory();
}

void BuildChat::restore() {
    if (m_settings) {
        if (auto id = json::parseUuid(m_settings->value(currentKey()).toString()))
            open(*id);
    }
    refreshHistory();
}

void BuildChat::refreshHistory() {
    QList<BuildConversation::Summary> rows = BuildHistory::conversations(m_host.projectFolder());
    rows.removeIf([&](const BuildConversation::Summary& row) { return row.kind != m_kind; });
    m_history = rows;
    emit historyChanged();
}

void BuildChat::scheduleSave() {
    if (m_loading)
        return;
    m_saveTimer.start();
}

void BuildChat::save() {
    m_saveTimer.stop();
    if (m_loading || (m_turns.isEmpty() && !m_review))
        return;
    BuildConversation conversation;
    conversation.id = m_conversationID;
    conversation.kind = m_kind;
    conversation.created = m_created;
    conversation.updated = now();
    for (const BuildTurn* turn : std::as_const(m_turns))
        conversation.turns.append(turn->record());
    conversation.review = m_review;
    try {
        BuildHistory::save(conversation, m_host.projectFolder());
    } catch (const FileError&) {
        // Not shown: the chat goes on with what it holds, and the next save tries again.
        return;
    }
    if (m_settings)
        m_settings->setValue(currentKey(), json::uuidText(m_conversationID));
    refreshHistory();
    emit saved();
}

// -- Taking things in ----------------------------------------------------------------------------------

void BuildChat::attach(const BuildAttachment& attachment) {
    const bool present = std::any_of(m_attachments.begin(), m_attachments.end(),
                                     [&](const BuildAttachment& a) { return a.sameAs(attachment); });
    if (!present) {
        m_attachments.append(attachment);
        emit attachmentsChanged();
    }
    ++m_focus;
    emit focusChanged();
}

void BuildChat::takeFile(const QUrl& url) {
    BuildAttachment attachment{QUuid::createUuid(), url, std::nullopt,
                               QFileInfo(url.toLocalFile()).fileName(), std::nullopt};
    if (auto image = BuildImages::readImageFile(url.toLocalFile()))
        attachment.thumbnail = BuildImages::thumbnail(*image);
    attach(attachment);
}

void BuildChat::appendLink(const QUrl& url) {
    QString text = m_draftText;
    if (!text.isEmpty() && !text.endsWith(QLatin1Char('\n')))
        text += QLatin1Char('\n');
    setDraftText(text + url.toString() + QLatin1Char('\n'));
    ++m_focus;
    emit focusChanged();
}

void BuildChat::take(const QMimeData& data) {
    bool took = false;
    if (data.hasUrls()) {
        for (const QUrl& url : data.urls()) {
            if (url.isLocalFile())
                takeFile(url);
            else if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"))
                appendLink(url);
            took = true;
        }
    }
    if (!took && data.hasImage()) {
        const QImage image = qvariant_cast<QImage>(data.imageData());
        if (!image.isNull())
            attach(BuildAttachment{QUuid::createUuid(), std::nullopt, image, QStringLiteral("Picture"),
                                   BuildImages::thumbnail(image)});
        took = true;
    }
    if (!took && data.hasText()) {
        const QString text = data.text().trimmed();
        if (auto url = LinkURL::normalize(text); url && text.startsWith(QLatin1String("http")))
            appendLink(*url);
    }
}

} // namespace corvantis
