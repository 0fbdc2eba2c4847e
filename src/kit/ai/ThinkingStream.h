#pragma once

#include <QByteArray>
#include <QString>

namespace corvantis {

// How a transport reads the output of one run of a tool: line by line, gathering the model's thinking.
class ThinkingStream {
public:
    virtual ~ThinkingStream() = default;

    // Takes one line of standard output; returns true when the thinking text grew.
    virtual bool consume(const QByteArray& line) = 0;
    // The thinking so far.
    virtual const QString& thinking() const = 0;
};

} // namespace corvantis
