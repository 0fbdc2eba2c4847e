#include "kit/links/SourceReaderError.h"

namespace corvantis {

SourceReaderError SourceReaderError::status(int code) {
    QString text = QStringLiteral("The page answered %1").arg(code);
    if (code == 404)
        text += QStringLiteral(": not found");
    else if (code == 401 || code == 403)
        text += QStringLiteral(": it doesn't let apps read it");
    return SourceReaderError(Kind::Status, text + QStringLiteral("."), code);
}

SourceReaderError SourceReaderError::unsupported(const QString& what) {
    return SourceReaderError(Kind::Unsupported, QStringLiteral("Corvantis can't read %1 yet.").arg(what));
}

SourceReaderError SourceReaderError::network(const QString& sentence) {
    return SourceReaderError(Kind::Network, sentence);
}

SourceReaderError SourceReaderError::empty() {
    return SourceReaderError(Kind::Empty,
                             QStringLiteral("There's no readable text in it. If the page needs a browser, "
                                            "copy its text and paste that instead."));
}

SourceReaderError SourceReaderError::video() {
    return SourceReaderError(
        Kind::Video, QStringLiteral("Videos can't be read. Paste the transcript or your notes instead."));
}

} // namespace corvantis
