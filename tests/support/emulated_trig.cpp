// sin, cos, sincos and tan for test runs under qemu-ppc only (preloaded by the emulator
// command of a cross build). The cross sysroot's libm sets its rounding mode in these with
// mffscrni, an instruction of a later processor generation that qemu's 32-bit processors do
// not implement, so the emulated program would stop with an illegal instruction; a target
// workstation's own libm has no such instruction. Accuracy: within a few units in the last
// place for |x| below 2^20 (far larger angles lose the fraction of a turn, as in any float).
#include <cstdint>
#include <limits>

namespace {

// pi/2 as a 33-bit head (k * head is exact for |k| < 2^20) and the rest.
constexpr double kHalfPiHead = 0x1.921fb54400000p+0;
constexpr double kHalfPiTail = 0x1.0b4611a626331p-34;
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;

// Taylor series on |r| <= pi/4, to the term the next of which is below 1e-19.
double sin_reduced(double r) {
  const double r2 = r * r;
  double sum = 0;
  double factor = 1.0;  // 1 / (2n + 1)! built from the top down
  constexpr int kTerms = 9;
  double inverse[kTerms];
  for (int n = 0; n < kTerms; ++n) {
    inverse[n] = factor;
    factor /= double((2 * n + 2) * (2 * n + 3));
  }
  for (int n = kTerms - 1; n >= 0; --n) sum = (n % 2 ? -inverse[n] : inverse[n]) + r2 * sum;
  return r * sum;
}

double cos_reduced(double r) {
  const double r2 = r * r;
  double sum = 0;
  double factor = 1.0;  // 1 / (2n)!
  constexpr int kTerms = 10;
  double inverse[kTerms];
  for (int n = 0; n < kTerms; ++n) {
    inverse[n] = factor;
    factor /= double((2 * n + 1) * (2 * n + 2));
  }
  for (int n = kTerms - 1; n >= 0; --n) sum = (n % 2 ? -inverse[n] : inverse[n]) + r2 * sum;
  return sum;
}

// x = k pi/2 + r; returns r and k mod 4.
double reduce(double x, int* quadrant) {
  const double q = x * kTwoOverPi;
  const double k = double(int64_t(q >= 0 ? q + 0.5 : q - 0.5));
  *quadrant = int(int64_t(k) & 3);
  return (x - k * kHalfPiHead) - k * kHalfPiTail;
}

bool usable(double x) {
  return x == x && x - x == 0;  // not NaN, not infinite
}

}  // namespace

extern "C" {

void sincos(double x, double* s, double* c) {
  if (!usable(x)) {
    *s = *c = std::numeric_limits<double>::quiet_NaN();
    return;
  }
  int quadrant = 0;
  const double r = reduce(x, &quadrant);
  const double sr = sin_reduced(r), cr = cos_reduced(r);
  switch (quadrant) {
    case 0:
      *s = sr, *c = cr;
      break;
    case 1:
      *s = cr, *c = -sr;
      break;
    case 2:
      *s = -sr, *c = -cr;
      break;
    default:
      *s = -cr, *c = sr;
      break;
  }
}

double sin(double x) {
  double s, c;
  sincos(x, &s, &c);
  return s;
}

double cos(double x) {
  double s, c;
  sincos(x, &s, &c);
  return c;
}

double tan(double x) {
  double s, c;
  sincos(x, &s, &c);
  return s / c;
}

}  // extern "C"
