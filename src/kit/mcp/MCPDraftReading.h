#pragma once

#include "kit/support/UserFacingError.h"

#include <QJsonObject>

// Reading the drafts connected apps send, leniently, since clients vary: into the one form the Build
// panel's model answers in, so that a received draft goes the same road as one of its own.
namespace corvantis::CorvantisMCP {

// A draft whose form can't be read.
class DraftFormatError : public UserFacingError {
public:
    using UserFacingError::UserFacingError;
};

// "nodes", "relationships" and "changes" (each missing means none) and "summary", in the form
// {"nodes": [{"ref", "type", "properties": [{"name", "value"}]}], "relationships": [{"type", "from",
// "to", "properties"}], "changes": [{"action", "description", "query", "properties"}], "summary"}.
// Properties may come as a list of {"name", "value"} or as an object from name to value; every value is
// read as text, and one that can't be is dropped. Fails with DraftFormatError.
QJsonObject graphDraft(const QJsonObject& arguments);

// "types" ({"name", "title", "properties": [{"name", "kind"}]}), "relationships" ({"name", "from", "to",
// "properties"}) and "summary"; a kind must be text, number, link or boolean. Fails with
// DraftFormatError.
QJsonObject shapeDraft(const QJsonObject& arguments);

// Whether a read draft holds nothing to add or change.
bool isEmptyGraphDraft(const QJsonObject& draft);
bool isEmptyShapeDraft(const QJsonObject& draft);

} // namespace corvantis::CorvantisMCP
