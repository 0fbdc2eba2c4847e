#pragma once

#include <QList>

// The few vector operations of search by meaning, as plain loops the compiler turns into SIMD code.
namespace corvantis::Vectors {

// Scaled to unit length; a zero vector stays as it is.
void normalize(QList<float>& vector);
QList<float> normalized(QList<float> vector);
float dot(const float* a, const float* b, qsizetype count);

} // namespace corvantis::Vectors
