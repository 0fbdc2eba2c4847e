#include "kit/support/Gzip.h"

#include <array>
#include <zlib.h>

namespace corvantis {

namespace {

const std::array<quint32, 256>& crcTable() {
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> built{};
        for (quint32 n = 0; n < 256; ++n) {
            quint32 c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            built[n] = c;
        }
        return built;
    }();
    return table;
}

void appendLittleEndian(QByteArray& out, quint32 value) {
    for (int i = 0; i < 4; ++i)
        out.append(char((value >> (8 * i)) & 0xFF));
}

} // namespace

quint32 crc32(const QByteArray& data) {
    const auto& table = crcTable();
    quint32 c = 0xFFFFFFFFu;
    for (char byte : data)
        c = table[(c ^ quint8(byte)) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

std::optional<QByteArray> gzip(const QByteArray& data) {
    z_stream stream{};
    // Raw deflate (negative window bits): the envelope is written here.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    QByteArray out;
    // ID1 ID2, deflate, no flags, no time, no extra flags, an unknown system.
    out.append("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\xff", 10);
    const qsizetype headerSize = out.size();
    out.resize(headerSize + qsizetype(deflateBound(&stream, uLong(data.size()))));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data() + headerSize);
    stream.avail_out = uInt(out.size() - headerSize);
    const int status = deflate(&stream, Z_FINISH);
    const qsizetype written = qsizetype(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END)
        return std::nullopt;
    out.resize(headerSize + written);
    appendLittleEndian(out, crc32(data));
    appendLittleEndian(out, quint32(quint64(data.size()) & 0xFFFFFFFFu));
    return out;
}

} // namespace corvantis
