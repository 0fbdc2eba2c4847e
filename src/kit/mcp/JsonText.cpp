#include "kit/mcp/JsonText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

namespace corvantis::JsonText {

QByteArray compact(const QJsonValue& value) {
    if (value.isObject())
        return QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    if (value.isArray())
        return QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    // A scalar is written as the one element of an array, without the brackets.
    QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return text.mid(1, text.size() - 2);
}

namespace {

// A scanner over text that is expected to be JSON. It never reads past the end; on text that is not
// JSON it stops with `ok` false.
class Scanner {
public:
    explicit Scanner(QByteArrayView text)
        : m_text(text) {}

    bool ok = true;
    qsizetype pos = 0;

    bool atEnd() const { return pos >= m_text.size(); }
    char peek() const { return atEnd() ? '\0' : m_text[pos]; }

    void skipSpace() {
        while (!atEnd()) {
            const char c = m_text[pos];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
                break;
            ++pos;
        }
    }

    bool expect(char c) {
        if (peek() != c || atEnd())
            return ok = false;
        ++pos;
        return true;
    }

    // A string at `pos`, decoded; `pos` ends after its closing quote.
    QString string() {
        QString out;
        if (!expect('"'))
            return out;
        qsizetype run = pos;
        auto flush = [&] {
            out += QString::fromUtf8(m_text.sliced(run, pos - run));
        };
        while (!atEnd()) {
            const char c = m_text[pos];
            if (c == '"') {
                flush();
                ++pos;
                return out;
            }
            if (c != '\\') {
                ++pos;
                continue;
            }
            flush();
            ++pos;
            if (atEnd())
                break;
            const char e = m_text[pos++];
            switch (e) {
            case '"':
                out += QLatin1Char('"');
                break;
            case '\\':
                out += QLatin1Char('\\');
                break;
            case '/':
                out += QLatin1Char('/');
                break;
            case 'b':
                out += QLatin1Char('\b');
                break;
            case 'f':
                out += QLatin1Char('\f');
                break;
            case 'n':
                out += QLatin1Char('\n');
                break;
            case 'r':
                out += QLatin1Char('\r');
                break;
            case 't':
                out += QLatin1Char('\t');
                break;
            case 'u': {
                if (pos + 4 > m_text.size()) {
                    ok = false;
                    return out;
                }
                bool hex = false;
                const ushort unit = QByteArray(m_text.sliced(pos, 4).data(), 4).toUShort(&hex, 16);
                if (!hex) {
                    ok = false;
                    return out;
                }
                out += QChar(unit);
                pos += 4;
                break;
            }
            default:
                ok = false;
                return out;
            }
            run = pos;
        }
        ok = false;
        return out;
    }

    // Skips one value of any kind without recursion, so that nesting of any depth costs no stack.
    void skipValue() {
        const char c = peek();
        if (atEnd()) {
            ok = false;
            return;
        }
        if (c == '"') {
            string();
            return;
        }
        if (c == '{' || c == '[') {
            qsizetype depth = 0;
            while (!atEnd()) {
                const char d = m_text[pos];
                if (d == '"') {
                    string();
                    if (!ok)
                        return;
                    continue;
                }
                ++pos;
                if (d == '{' || d == '[') {
                    ++depth;
                } else if (d == '}' || d == ']') {
                    if (--depth == 0)
                        return;
                }
            }
            ok = false;
            return;
        }
        const qsizetype start = pos;
        while (!atEnd()) {
            const char d = m_text[pos];
            if (d == ',' || d == '}' || d == ']' || d == ' ' || d == '\t' || d == '\n' || d == '\r')
                break;
            ++pos;
        }
        if (pos == start)
            ok = false;
    }

    QByteArrayView slice(qsizetype from, qsizetype to) const { return m_text.sliced(from, to - from); }

private:
    QByteArrayView m_text;
};

} // namespace

std::optional<QByteArray> rawMember(QByteArrayView text, QStringView name) {
    Scanner s(text);
    std::optional<QByteArray> found;
    s.skipSpace();
    if (!s.expect('{'))
        return std::nullopt;
    s.skipSpace();
    if (s.peek() == '}' && !s.atEnd()) {
        ++s.pos;
    } else {
        while (s.ok) {
            s.skipSpace();
            const QString key = s.string();
            s.skipSpace();
            if (!s.ok || !s.expect(':'))
                return std::nullopt;
            s.skipSpace();
            const qsizetype start = s.pos;
            s.skipValue();
            if (!s.ok)
                return std::nullopt;
            if (key == name)
                found = s.slice(start, s.pos).toByteArray();
            s.skipSpace();
            if (s.peek() == ',' && !s.atEnd()) {
                ++s.pos;
                continue;
            }
            if (!s.expect('}'))
                return std::nullopt;
            break;
        }
    }
    s.skipSpace();
    if (!s.ok || !s.atEnd())
        return std::nullopt;
    return found;
}

} // namespace corvantis::JsonText
