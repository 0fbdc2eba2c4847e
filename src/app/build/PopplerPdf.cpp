#include "app/build/PopplerPdf.h"

#include <poppler-qt6.h>

namespace corvantis::PopplerPdf {

std::optional<PdfText> read(const QByteArray& data) {
    std::unique_ptr<Poppler::Document> document = Poppler::Document::loadFromData(data);
    if (!document || document->isLocked())
        return std::nullopt;
    PdfText result;
    QStringList pages;
    for (int i = 0; i < document->numPages(); ++i)
        if (std::unique_ptr<Poppler::Page> page = document->page(i))
            pages.append(page->text(QRectF()));
    // Typeset ligatures (ﬁ, ﬂ, ...) read as their letters.
    QString text = pages.join(QStringLiteral("\n\n"));
    QString plain;
    plain.reserve(text.size());
    for (QChar c : std::as_const(text)) {
        if (c.unicode() >= 0xFB00 && c.unicode() <= 0xFB06)
            plain += QString(c).normalized(QString::NormalizationForm_KC);
        else
            plain += c;
    }
    result.text = plain;
    const QString title = document->info(QStringLiteral("Title")).trimmed();
    if (!title.isEmpty())
        result.title = title;
    return result;
}

} // namespace corvantis::PopplerPdf
