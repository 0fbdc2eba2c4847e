// A short, seeded fuzz pass over the line engine and the configuration writers; the long runs use the
// libFuzzer target in tests/fuzz.
#include "tests/fuzz/MCPFuzzBody.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QByteArray randomValue(QRandomGenerator& random, int depth) {
    const int pick = random.bounded(depth > 4 ? 6 : 9);
    switch (pick) {
    case 0:
        return "null";
    case 1:
        return random.bounded(2) ? "true" : "false";
    case 2:
        return QByteArray::number(random.bounded(-1000, 1000));
    case 3:
        return QByteArray::number(random.generateDouble() * 1e6, 'g', 17);
    case 4: {
        static const char* texts[] = {"\"ping\"",  "\"tools/call\"",    "\"initialize\"",
                                      "\"a\\/b\"", "\"\\u00e9\"",       "\"run_cypher\"",
                                      "\"\"",      "\"\\ud83d\\ude00\""};
        return texts[random.bounded(8)];
    }
    case 5:
        return "1e308";
    case 6: {
        QByteArray out = "[";
        const int n = random.bounded(4);
        for (int i = 0; i < n; ++i)
            out += (i ? "," : "") + randomValue(random, depth + 1);
        return out + "]";
    }
    default: {
        static const char* keys[] = {"id",    "method", "params",  "name",       "arguments",
                                     "query", "limit",  "jsonrpc", "clientInfo", "protocolVersion"};
        QByteArray out = "{";
        const int n = random.bounded(5);
        for (int i = 0; i < n; ++i)
            out += QByteArray(i ? "," : "") + "\"" + keys[random.bounded(int(std::size(keys)))] +
                   "\":" + randomValue(random, depth + 1);
        return out + "}";
    }
    }
}

QByteArray mutate(QByteArray line, QRandomGenerator& random) {
    const int edits = 1 + random.bounded(4);
    for (int i = 0; i < edits && !line.isEmpty(); ++i) {
        const int at = random.bounded(int(line.size()));
        switch (random.bounded(4)) {
        case 0:
            line.remove(at, 1);
            break;
        case 1:
            line.insert(at, char(random.bounded(256)));
            break;
        case 2:
            line[at] = "{}[]\",:\\0e-"[random.bounded(12)];
            break;
        default:
            line.insert(at, line.mid(at, random.bounded(8)));
            break;
        }
    }
    return line;
}

} // namespace

TEST(MCPFuzzPass, RandomAndMutatedLinesKeepEveryRule) {
    QRandomGenerator random(20261123);
    const QList<QByteArray> seeds{
        R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"clientInfo":{"name":"claude-ai"}}})",
        R"({"jsonrpc":"2.0","id":"x","method":"tools/call","params":{"name":"run_cypher","arguments":{"query":"MATCH (n) RETURN n","limit":5000}}})",
        R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
        R"({"id":-0.0,"method":"tools/list"})",
        R"({"id":3,"method":"tools/call","params":{"name":"propose_changes","arguments":{"nodes":[{"ref":"n1","type":"Person","properties":{"Name":"Ada","Age":36}}],"relationships":[],"changes":[],"summary":"s"}}})",
        R"({"id":4,"method":"tools/call","params":{"name":"design_shape","arguments":{"types":[{"name":"Book","title":"Title","properties":[{"name":"Title","kind":"text"}]}]}}})",
    };
    int inputs = 0;
    for (int i = 0; i < 3000; ++i) {
        const QByteArray line =
            i % 3 == 0 ? randomValue(random, 0) : mutate(seeds[random.bounded(int(seeds.size()))], random);
        ASSERT_EQ(fuzz::check(line), "") << line.toStdString();
        ++inputs;
    }
    EXPECT_EQ(inputs, 3000);
}

TEST(MCPFuzzPass, HugeLinesAndDeepNesting) {
    const QByteArray huge = R"({"id":")" + QByteArray(3 * 1024 * 1024, 'a') + R"(","method":"ping"})";
    EXPECT_EQ(fuzz::check(huge), "");
    // Nesting deeper than the parser takes is a parse error, not a crash; the scanner walks it without
    // recursion.
    const QByteArray deep =
        R"({"id":1,"method":"ping","params":)" + QByteArray(200000, '[') + QByteArray(200000, ']') + "}";
    EXPECT_EQ(fuzz::check(deep), "");
    const QByteArray deepId =
        R"({"method":"ping","id":)" + QByteArray(5000, '[') + QByteArray(5000, ']') + "}";
    EXPECT_EQ(fuzz::check(deepId), "");
    EXPECT_EQ(fuzz::check(QByteArray(100000, '{')), "");
    EXPECT_EQ(fuzz::check(QByteArray("\xff\xfe{\"id\":1}", 10)), "");
    // The parser takes raw control characters inside strings; an id holding a line feed must not split
    // the answer (found by the fuzzer).
    EXPECT_EQ(fuzz::check("{\"jsonrpc\":\"2.0\",\"id\":\"x\x01\n\",\"method\":\"ping\"}"), "");
    EXPECT_EQ(fuzz::check(QByteArray("{\"id\":1,\"method\":\"ping\"}\0x", 27)), "");
}
