#include "kit/ladybug/TextPool.h"

namespace corvantis::ladybug {

QString TextPool::text(std::string_view bytes) {
    const auto make = [&] {
        return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
    };
    if (!m_open)
        return make();
    ++m_asked;
    if (auto found = m_texts.find(bytes); found != m_texts.end())
        return found->second;
    if (m_texts.size() >= maxTexts || (m_asked >= sample && m_texts.size() * 2 > m_asked)) {
        m_open = false;
        m_texts = {};
        return make();
    }
    QString made = make();
    m_texts.emplace(std::string(bytes), made);
    return made;
}

} // namespace corvantis::ladybug
