// libFuzzer target over the tablet bridge's readers of request heads and WebSocket frames; see
// run-tablet.sh. The input is read as a head, and as a stream of frames fed in two pieces.
#include "kit/tablet/HttpRequest.h"
#include "kit/tablet/WebSocketFrames.h"

#include <cstdio>
#include <cstdlib>

using namespace corvantis::tablet;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const HeadRead head = readHead(bytes);
    if (head.state == HeadRead::State::Complete && (head.consumed < 4 || head.consumed > bytes.size()))
        std::abort();
    if (head.state == HeadRead::State::TooLarge && bytes.size() <= headLimit)
        std::abort();

    FrameReader reader;
    const qsizetype split = size > 0 ? data[0] % (bytes.size() + 1) : 0;
    QByteArray buffer = bytes.left(split);
    qsizetype fed = buffer.size();
    reader.read(buffer);
    buffer += bytes.mid(split);
    fed += bytes.size() - split;
    const qsizetype before = buffer.size();
    reader.read(buffer);
    if (buffer.size() > before || fed != bytes.size())
        std::abort();
    return 0;
}
