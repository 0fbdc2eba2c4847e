#pragma once

#include <QByteArray>
#include <optional>

namespace corvantis {

// The CRC-32 of RFC 1952 (the polynomial 0xEDB88320), from a table built once.
quint32 crc32(const QByteArray& data);
// One gzip member around the deflated data: the ten-byte header, the data, its CRC-32 and length. None
// when compressing fails.
std::optional<QByteArray> gzip(const QByteArray& data);

} // namespace corvantis
