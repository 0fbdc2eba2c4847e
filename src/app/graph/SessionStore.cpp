#include "app/graph/SessionStore.h"

namespace corvantis {

LadybugSessionStore::LadybugSessionStore(const QString& path)
    : m_store(path) {
}

SessionStoreOpener LadybugSessionStore::opener() {
    return [](const QString& path) -> std::shared_ptr<SessionStore> {
        return std::make_shared<LadybugSessionStore>(path);
    };
}

} // namespace corvantis
