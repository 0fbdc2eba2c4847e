#include "kit/embedding/Vectors.h"

#include <cmath>

namespace corvantis::Vectors {

namespace {
// Four lanes of four floats: SSE on every x86-64, wider where the compiler may.
typedef float Lane __attribute__((vector_size(16)));
} // namespace

void normalize(QList<float>& vector) {
    double sum = 0;
    for (float x : std::as_const(vector))
        sum += double(x) * double(x);
    if (sum <= 0)
        return;
    const float scale = float(1.0 / std::sqrt(sum));
    for (float& x : vector)
        x *= scale;
}

QList<float> normalized(QList<float> vector) {
    normalize(vector);
    return vector;
}

float dot(const float* a, const float* b, qsizetype count) {
    Lane s0 = {0, 0, 0, 0}, s1 = s0, s2 = s0, s3 = s0;
    qsizetype i = 0;
    for (; i + 16 <= count; i += 16) {
        Lane a0, a1, a2, a3, b0, b1, b2, b3;
        __builtin_memcpy(&a0, a + i, 16);
        __builtin_memcpy(&a1, a + i + 4, 16);
        __builtin_memcpy(&a2, a + i + 8, 16);
        __builtin_memcpy(&a3, a + i + 12, 16);
        __builtin_memcpy(&b0, b + i, 16);
        __builtin_memcpy(&b1, b + i + 4, 16);
        __builtin_memcpy(&b2, b + i + 8, 16);
        __builtin_memcpy(&b3, b + i + 12, 16);
        s0 += a0 * b0;
        s1 += a1 * b1;
        s2 += a2 * b2;
        s3 += a3 * b3;
    }
    const Lane s = (s0 + s1) + (s2 + s3);
    float sum = (s[0] + s[1]) + (s[2] + s[3]);
    for (; i < count; ++i)
        sum += a[i] * b[i];
    return sum;
}

} // namespace corvantis::Vectors
