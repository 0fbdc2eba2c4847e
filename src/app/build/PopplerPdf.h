#pragma once

#include "kit/links/SourceReader.h"

// PDF text through Poppler.
namespace corvantis::PopplerPdf {

// The document's text, page after page, and its title; none when the bytes are no readable PDF.
std::optional<PdfText> read(const QByteArray& data);

} // namespace corvantis::PopplerPdf
