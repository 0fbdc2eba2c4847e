#include "kit/layout/ArrangeValue.h"

#include <QCollator>
#include <QLocale>

namespace corvantis {

namespace {

// The collator of this thread. ICU collators are not to be shared between threads, and building one is
// costly, so each thread keeps its own. A process running in the C locale (common in scripts and tests)
// gets the neutral ordering of English instead, because the C collation knows no numeric mode.
QCollator& textCollator() {
    thread_local QCollator collator = [] {
        QLocale locale;
        if (locale.language() == QLocale::C) {
            locale = QLocale(QLocale::English, QLocale::UnitedStates);
        }
        QCollator made(locale);
        made.setNumericMode(true);
        made.setCaseSensitivity(Qt::CaseInsensitive);
        made.setIgnorePunctuation(false);
        return made;
    }();
    return collator;
}

} // namespace

std::optional<double> ArrangeValue::number() const {
    if (const double* value = std::get_if<double>(&m_value)) {
        return *value;
    }
    return std::nullopt;
}

std::optional<QString> ArrangeValue::text() const {
    if (const QString* value = std::get_if<QString>(&m_value)) {
        return *value;
    }
    return std::nullopt;
}

int ArrangeValue::compareTexts(const QString& a, const QString& b) {
    return textCollator().compare(a, b);
}

bool ArrangeValue::operator<(const ArrangeValue& other) const {
    const double* mine = std::get_if<double>(&m_value);
    const double* theirs = std::get_if<double>(&other.m_value);
    if (mine && theirs) {
        return *mine < *theirs;
    }
    if (mine || theirs) {
        return mine != nullptr; // a number comes before any text
    }
    return compareTexts(std::get<QString>(m_value), std::get<QString>(other.m_value)) < 0;
}

bool ArrangeValue::ties(const ArrangeValue& other) const {
    const double* mine = std::get_if<double>(&m_value);
    const double* theirs = std::get_if<double>(&other.m_value);
    if (mine && theirs) {
        return !(*mine < *theirs) && !(*theirs < *mine);
    }
    if (mine || theirs) {
        return false;
    }
    return compareTexts(std::get<QString>(m_value), std::get<QString>(other.m_value)) == 0;
}

size_t qHash(const ArrangeValue& value, size_t seed) noexcept {
    if (const auto number = value.number()) {
        // 0 and -0 are equal, so they must hash alike.
        return ::qHash(*number == 0 ? 0.0 : *number, seed);
    }
    return ::qHash(*value.text(), seed ^ 0x5bd1e995u);
}

} // namespace corvantis
