#pragma once

#include "kit/store/GraphStoreError.h"

namespace corvantis {

// A migration whose statements were committed, but a step after them failed: the checkpoint, or the
// removal of the rows that held empty tables open while their columns were dropped. The database
// already has the new tables; what is left behind the next opening tidies. A plain GraphStoreError from
// a migration means that nothing was committed.
class MigrationCleanupError : public GraphStoreError {
public:
    using GraphStoreError::GraphStoreError;
};

} // namespace corvantis
