#include "app/build/BuildAttachment.h"

#include <QStringList>

namespace corvantis {

const QStringList& BuildAttachment::readableTypes() {
    static const QStringList types{QStringLiteral("application/pdf"),
                                   QStringLiteral("text/plain"),
                                   QStringLiteral("text/plain;charset=utf-8"),
                                   QStringLiteral("text/*"),
                                   QStringLiteral("text/html"),
                                   QStringLiteral("image/*"),
                                   QStringLiteral("text/markdown")};
    return types;
}

} // namespace corvantis
