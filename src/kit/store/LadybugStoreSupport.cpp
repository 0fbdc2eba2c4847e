#include "kit/store/LadybugStoreSupport.h"

#include "kit/ladybug/LadybugError.h"
#include "kit/ladybug/QueryResult.h"

#include <QRegularExpression>

namespace corvantis::LadybugStoreSupport {

using ladybug::LadybugError;

namespace {

GraphStoreError::Kind kindOf(LadybugError::Cause cause) {
    switch (cause) {
    case LadybugError::Cause::Locked:
        return GraphStoreError::Kind::Locked;
    case LadybugError::Cause::InputOutput:
        return GraphStoreError::Kind::InputOutput;
    case LadybugError::Cause::Engine:
        break;
    }
    return GraphStoreError::Kind::Engine;
}

} // namespace

GraphStoreError wrap(const std::exception& error) {
    if (auto store = dynamic_cast<const GraphStoreError*>(&error))
        return *store;
    if (auto engine = dynamic_cast<const LadybugError*>(&error))
        return GraphStoreError(kindOf(engine->cause()), engine->message());
    if (auto file = dynamic_cast<const FileError*>(&error))
        return GraphStoreError(GraphStoreError::Kind::InputOutput, file->message());
    if (auto facing = dynamic_cast<const UserFacingError*>(&error))
        return GraphStoreError(GraphStoreError::Kind::Engine, facing->message());
    return GraphStoreError(GraphStoreError::Kind::Engine, QString::fromUtf8(error.what()));
}

void requireName(const QString& name) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    if (!plain.match(name).hasMatch())
        throw GraphStoreError(
            GraphStoreError::Kind::Constraint,
            QStringLiteral("“%1” can't be used as a table or column name in the database.").arg(name));
}

std::optional<qint64> firstInteger(ladybug::QueryResult& result) {
    auto row = result.getNext();
    if (!row)
        return std::nullopt;
    return row->getValue(0).integer();
}

} // namespace corvantis::LadybugStoreSupport
