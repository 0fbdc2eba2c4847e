#pragma once

#include <QHashFunctions>
#include <QString>
#include <functional>
#include <optional>
#include <variant>

namespace corvantis {

// The value an item is arranged by: a number or a text. Numbers come before texts; numbers compare
// numerically, texts as a file manager orders names (ignoring case, digit runs read as numbers, in the
// user's locale).
class ArrangeValue {
public:
    explicit ArrangeValue(double number)
        : m_value(number) {}
    explicit ArrangeValue(const QString& text)
        : m_value(text) {}

    bool isNumber() const { return std::holds_alternative<double>(m_value); }
    std::optional<double> number() const;
    std::optional<QString> text() const;

    // Equal by kind and payload, exactly: "Apple" and "apple" differ here, though they tie in order.
    bool operator==(const ArrangeValue& other) const { return m_value == other.m_value; }
    // The arranging order described above.
    bool operator<(const ArrangeValue& other) const;
    // Neither comes before the other; a number and a text never tie.
    bool ties(const ArrangeValue& other) const;

    // The localised comparison of two texts that orders text values: negative, zero or positive.
    static int compareTexts(const QString& a, const QString& b);

private:
    std::variant<double, QString> m_value;
};

size_t qHash(const ArrangeValue& value, size_t seed = 0) noexcept;

} // namespace corvantis

template <> struct std::hash<corvantis::ArrangeValue> {
    size_t operator()(const corvantis::ArrangeValue& value) const noexcept { return corvantis::qHash(value); }
};
