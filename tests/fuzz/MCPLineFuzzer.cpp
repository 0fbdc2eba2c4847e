// libFuzzer target over the connector's line engine and configuration writers; see run.sh.
#include "tests/fuzz/MCPFuzzBody.h"

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = new QCoreApplication(argc, argv);
    (void)app;
    const std::string broke =
        corvantis::fuzz::check(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    if (!broke.empty()) {
        std::fprintf(stderr, "broke: %s\n", broke.c_str());
        std::abort();
    }
    return 0;
}
