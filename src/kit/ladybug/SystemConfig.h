#pragma once

#include <lbug.h>

namespace corvantis::ladybug {

// The settings a database is opened with. `defaults()` is the engine's own default configuration,
// unchanged in every field: read-write, the engine's buffer pool and threads.
class SystemConfig {
public:
    static SystemConfig defaults();

    const lbug_system_config& raw() const { return m_config; }
    lbug_system_config& raw() { return m_config; }

private:
    explicit SystemConfig(lbug_system_config config)
        : m_config(config) {}
    lbug_system_config m_config;
};

} // namespace corvantis::ladybug
