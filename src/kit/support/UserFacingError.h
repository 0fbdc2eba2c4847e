#pragma once

#include <QString>
#include <stdexcept>

namespace corvantis {

// The root of every error whose text reaches the person unchanged: a notice, a failed step or an
// isError result. Subclasses name the kind of failure; the sentence is the message.
class UserFacingError : public std::runtime_error {
public:
    explicit UserFacingError(const QString& message);
    QString message() const { return m_message; }

private:
    QString m_message;
};

// A file could not be read, written, moved or removed.
class FileError : public UserFacingError {
public:
    using UserFacingError::UserFacingError;
};

} // namespace corvantis
