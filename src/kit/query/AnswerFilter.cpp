#include "kit/query/AnswerFilter.h"

namespace corvantis {

int AnswerFilter::count() const {
    int n = static_cast<int>(hiddenTypes.size()) + (near ? 1 : 0);
    for (const QSet<QString>& values : hiddenValues)
        n += static_cast<int>(values.size());
    return n;
}

QString AnswerFilter::title() const {
    const int n = count();
    if (n == 0)
        return QStringLiteral("Filter");
    // A hub shows only its neighbourhood; everything else hides.
    const bool onlyShows = near && n == 1;
    return QString::number(n) + (n == 1 ? QStringLiteral(" filter ") : QStringLiteral(" filters ")) +
           (onlyShows ? QStringLiteral("shown") : QStringLiteral("hidden"));
}

} // namespace corvantis
