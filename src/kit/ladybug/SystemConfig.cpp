#include "kit/ladybug/SystemConfig.h"

namespace corvantis::ladybug {

SystemConfig SystemConfig::defaults() {
    return SystemConfig(lbug_default_system_config());
}

} // namespace corvantis::ladybug
