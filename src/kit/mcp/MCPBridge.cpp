#include "kit/mcp/MCPBridge.h"

namespace corvantis::MCPBridge {

quint16 basePort() {
    bool ok = false;
    const int port = qEnvironmentVariableIntValue("CORVANTIS_MCP_PORT", &ok);
    if (ok && port > 0 && port + portCount - 1 <= 65535)
        return quint16(port);
    return firstPort;
}

} // namespace corvantis::MCPBridge
