#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis {

// Why a link or a file couldn't be read; the message is the sentence the person sees.
class SourceReaderError : public UserFacingError {
public:
    enum class Kind { Status, Unsupported, Network, Empty, Video };

    static SourceReaderError status(int code);
    // "Corvantis can't read {what} yet."
    static SourceReaderError unsupported(const QString& what);
    static SourceReaderError network(const QString& sentence);
    static SourceReaderError empty();
    static SourceReaderError video();

    Kind kind() const { return m_kind; }
    int statusCode() const { return m_status; }

private:
    SourceReaderError(Kind kind, const QString& message, int status = 0)
        : UserFacingError(message)
        , m_kind(kind)
        , m_status(status) {}
    Kind m_kind;
    int m_status;
};

} // namespace corvantis
