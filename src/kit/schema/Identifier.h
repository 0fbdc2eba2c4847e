#pragma once

#include <QString>
#include <QStringList>

// The one place that derives database table and column names from display names. Nothing stores a
// derived name: it is derived again every time it is needed.
namespace corvantis::Identifier {

// The name folded to drop diacritics and cut into runs of ASCII letters and digits; an upper-case
// letter after a lower-case one starts a new run.
QStringList words(const QString& name);
// "übér café" -> "UberCafe"; fallback "Type".
QString nodeTable(const QString& name);
// "is part of" -> "IS_PART_OF"; "RELATES_TO" when nothing remains; no finish.
QString relName(const QString& name);
// relName, then finish with the fallback "RELATES_TO".
QString relTable(const QString& name);
// "First Name" -> "first_name"; fallback "property".
QString property(const QString& name);
// Empty -> fallback; a leading digit gets "_" in front; a reserved word gets "_" at its end.
QString finish(const QString& candidate, const QString& fallback);
// Whether the upper-cased text is one of the 60 reserved words.
bool isReserved(const QString& text);

} // namespace corvantis::Identifier
