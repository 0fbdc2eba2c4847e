#pragma once

#include <QString>
#include <optional>
#include <vector>

namespace corvantis::tablet {

// The modules of a QR code, row by row, dark or light, without the quiet zone around them.
struct QrCode {
    int size = 0;
    std::vector<bool> dark;

    bool at(int x, int y) const { return dark[static_cast<size_t>(y * size + x)]; }
};

// The code of a text as bytes of UTF-8 at the medium level of correction; nothing when it doesn't fit.
std::optional<QrCode> qrCode(const QString& text);

} // namespace corvantis::tablet
