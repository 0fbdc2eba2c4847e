#include "kit/embedding/TextChunker.h"

#include "kit/embedding/EmbeddingModelSpec.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// A sentence of exactly `length` characters, capitalised and ending in a full stop, its words of letters.
QString sentence(int length, QChar letter = QLatin1Char('a')) {
    QString text(1, letter.toUpper());
    while (text.size() < length - 1)
        text += (text.size() % 8 == 7) ? QLatin1Char(' ') : letter;
    if (text.endsWith(QLatin1Char(' ')))
        text[text.size() - 1] = letter;
    return text + QLatin1Char('.');
}

} // namespace

TEST(TextChunker, NormalizesLineEndsBlanksAndEmptyRuns) {
    EXPECT_EQ(TextChunker::normalize(QStringLiteral("  one \r\ntwo\r\rthree\n\n\n\n  four  \n\n")),
              QStringLiteral("one\ntwo\n\nthree\n\nfour"));
    EXPECT_TRUE(TextChunker::chunks(QStringLiteral(" \n\t\r\n ")).isEmpty());
    EXPECT_TRUE(TextChunker::chunks(QString()).isEmpty());
}

TEST(TextChunker, CutsOnlyAboveTheMaximum) {
    QString exact;
    while (exact.size() < 1400)
        exact += sentence(100) + QLatin1Char(' ');
    exact = exact.left(1400);
    ASSERT_EQ(TextChunker::characterCount(exact), 1400);
    EXPECT_EQ(TextChunker::chunks(exact), QStringList{exact});

    // 1,401 characters: 14 sentences of 99 characters and a blank, then one of 1 more.
    QString longer;
    for (int i = 0; i < 14; ++i)
        longer += sentence(99, QChar(QLatin1Char('a' + i))) + QLatin1Char(' ');
    longer += QStringLiteral("Z");
    ASSERT_EQ(TextChunker::characterCount(longer), 1401);
    const QStringList chunks = TextChunker::chunks(longer);
    ASSERT_EQ(chunks.size(), 2);
    // The first passage stops before reaching 1,001 characters, at a sentence end.
    EXPECT_LE(TextChunker::characterCount(chunks[0]), 1000);
    EXPECT_TRUE(chunks[0].endsWith(QLatin1Char('.')));
    // Its last sentence is short, so it opens the second as well.
    const QString lastOfFirst = chunks[0].mid(chunks[0].lastIndexOf(QStringLiteral(". ")) + 2);
    EXPECT_TRUE(chunks[1].startsWith(lastOfFirst)) << chunks[1].left(120).toStdString();
    EXPECT_TRUE(chunks[1].endsWith(QStringLiteral("Z")));
}

TEST(TextChunker, CountsUserPerceivedCharactersNotCodeUnits) {
    // "é" as a letter and a combining accent: 1,400 characters in 2,800 code units stay one passage.
    QString accents;
    for (int i = 0; i < 1400; ++i)
        accents += (i % 10 == 4) ? QStringLiteral(" ") : QStringLiteral("e\u0301");
    ASSERT_EQ(TextChunker::characterCount(accents.trimmed()), 1400);
    EXPECT_EQ(TextChunker::chunks(accents).size(), 1);
}

TEST(TextChunker, CarriesOverOnlyShortLastSentences) {
    // Sentences of 700 and then `n` characters fill a passage; the next sentence forces a flush.
    for (int n : {220, 221}) {
        const QString carried = sentence(n, QLatin1Char('c'));
        const QString text = sentence(700, QLatin1Char('a')) + QLatin1Char(' ') + carried + QLatin1Char(' ') +
                             sentence(700, QLatin1Char('b'));
        const QStringList chunks = TextChunker::chunks(text);
        ASSERT_EQ(chunks.size(), 2) << n;
        EXPECT_TRUE(chunks[0].endsWith(carried)) << n;
        EXPECT_EQ(chunks[1].startsWith(carried), n == 220) << n;
    }
}

TEST(TextChunker, LongSentencesAreCutAtBlanksAndOverlongWordsStayWhole) {
    const QString word(5000, QLatin1Char('x'));
    EXPECT_EQ(TextChunker::chunks(word), QStringList{word});

    QString words;
    for (int i = 0; i < 600; ++i)
        words += QStringLiteral("word ");
    const QStringList chunks = TextChunker::chunks(words);
    ASSERT_GE(chunks.size(), 3);
    for (const QString& chunk : chunks) {
        EXPECT_LE(TextChunker::characterCount(chunk), 1000);
        EXPECT_FALSE(chunk.contains(QStringLiteral("  ")));
    }
}

TEST(TextChunker, ParagraphsJoinWithALineFeed) {
    const QString text = sentence(900, QLatin1Char('a')) + QStringLiteral("\n\n") +
                         sentence(50, QLatin1Char('b')) + QStringLiteral("\n\n") +
                         sentence(900, QLatin1Char('c'));
    const QStringList chunks = TextChunker::chunks(text);
    ASSERT_EQ(chunks.size(), 2);
    EXPECT_EQ(chunks[0],
              sentence(900, QLatin1Char('a')) + QLatin1Char('\n') + sentence(50, QLatin1Char('b')));
}

TEST(TextChunker, LocatesPassagesExactlyOrAcrossChangedWhitespace) {
    const QString text = QStringLiteral("Intro.\r\n\r\n  The river   runs\n  through the city.  ");
    EXPECT_EQ(TextChunker::locate(QStringLiteral("Intro."), text), (TextChunker::Range{0, 6}));
    const auto range = TextChunker::locate(QStringLiteral("The river runs through the city."), text);
    ASSERT_TRUE(range);
    EXPECT_EQ(text.mid(range->start, range->length), QStringLiteral("The river   runs\n  through the city."));
    EXPECT_FALSE(TextChunker::locate(QStringLiteral("The sea"), text));
}

TEST(EmbeddingModelSpec, PromptsAndSize) {
    EXPECT_EQ(EmbeddingModelSpec::documentPrompt({std::nullopt, QStringLiteral("x")}),
              QStringLiteral("title: none | text: x"));
    EXPECT_EQ(EmbeddingModelSpec::documentPrompt({QStringLiteral("  "), QStringLiteral("x")}),
              QStringLiteral("title: none | text: x"));
    EXPECT_EQ(EmbeddingModelSpec::documentPrompt({QStringLiteral(" Paris "), QStringLiteral("x")}),
              QStringLiteral("title: Paris | text: x"));
    EXPECT_EQ(EmbeddingModelSpec::queryPrompt(QStringLiteral("rivers")),
              QStringLiteral("task: search result | query: rivers"));

    qunsetenv("CORVANTIS_EMBEDDING_MODEL_URL");
    qunsetenv("CORVANTIS_EMBEDDING_MODEL_BYTES");
    const EmbeddingModelSpec spec = EmbeddingModelSpec::embeddingGemma2();
    EXPECT_EQ(spec.bytes, 309855456);
    EXPECT_EQ(spec.dimension, 768);
    EXPECT_EQ(spec.url.path(),
              QStringLiteral("/ggml-org/embeddinggemma-2-GGUF/resolve/main/embeddinggemma-2-Q8_0.gguf"));
    EXPECT_EQ(spec.sizeDescription(), QStringLiteral("310 MB"));
    EXPECT_EQ(siByteCount(999), QStringLiteral("999 bytes"));
    EXPECT_EQ(siByteCount(1500), QStringLiteral("1.5 kB"));
    EXPECT_EQ(siByteCount(2'000'000'000), QStringLiteral("2.0 GB"));

    qputenv("CORVANTIS_EMBEDDING_MODEL_URL", "http://127.0.0.1:9/m.gguf");
    qputenv("CORVANTIS_EMBEDDING_MODEL_BYTES", "1234");
    const EmbeddingModelSpec local = EmbeddingModelSpec::embeddingGemma2();
    EXPECT_EQ(local.url.toString(), QStringLiteral("http://127.0.0.1:9/m.gguf"));
    EXPECT_EQ(local.bytes, 1234);
    EXPECT_EQ(local.id, spec.id);
    qunsetenv("CORVANTIS_EMBEDDING_MODEL_URL");
    qunsetenv("CORVANTIS_EMBEDDING_MODEL_BYTES");
}
