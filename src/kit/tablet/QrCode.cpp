#include "kit/tablet/QrCode.h"

#include <memory>
#include <qrencode.h>

namespace corvantis::tablet {

std::optional<QrCode> qrCode(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(static_cast<int>(bytes.size()),
                          reinterpret_cast<const unsigned char*>(bytes.constData()), 0, QR_ECLEVEL_M),
        &QRcode_free);
    if (!code)
        return std::nullopt;
    QrCode made;
    made.size = code->width;
    made.dark.resize(static_cast<size_t>(code->width) * static_cast<size_t>(code->width));
    for (size_t i = 0; i < made.dark.size(); ++i)
        made.dark[i] = code->data[i] & 1; // the lowest bit of each module: dark or light
    return made;
}

} // namespace corvantis::tablet
