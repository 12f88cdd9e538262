// 64-bit sums and products of positions and sizes that a file may choose so
// that they wrap.
#ifndef QO_ASF_FORMAT_ARITHMETIC_H
#define QO_ASF_FORMAT_ARITHMETIC_H

// A position that no byte of any file has.
constexpr unsigned long long kNowhere = ~0ull;

// kNowhere where the sum or product would wrap.
inline unsigned long long SaturatingAdd(unsigned long long a, unsigned long long b) {
  unsigned long long sum;
  return __builtin_add_overflow(a, b, &sum) ? kNowhere : sum;
}
inline unsigned long long SaturatingMultiply(unsigned long long a, unsigned long long b) {
  unsigned long long product;
  return __builtin_mul_overflow(a, b, &product) ? kNowhere : product;
}

#endif  // QO_ASF_FORMAT_ARITHMETIC_H
