#pragma once

#include "kit/support/Cancellation.h"

#include <QJsonObject>
#include <qcoro/qcorotask.h>

namespace corvantis {

// One road to a model: a request in the form of a hosted messages API (model, system, messages,
// output_config) goes in, a response in the same form (type, model, stop_reason, content) comes out.
// Implementations run a signed-in command-line tool; none talks to a model endpoint itself.
class AITransport {
public:
    virtual ~AITransport() = default;

    // Fails with AICommandError for the tool's own troubles, with Cancelled when `cancellation` fires.
    virtual QCoro::Task<QJsonObject> send(QJsonObject body, double timeout,
                                          CancellationToken cancellation) = 0;
};

} // namespace corvantis
