// The three ways of cutting an index range among threads. Products that could pass 63 bits for ranges up to
// 2^62 are formed in 128.
#include "service/work_split.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

__extension__ using wide_unsigned = unsigned __int128;

struct Share {
  vex_int start;
  vex_int length;
};

struct QuotientAndRemainder {
  vex_int quotient;
  vex_int remainder;
};

// A 64-bit division costs several times a 32-bit one on older cores, and most ranges are short.
QuotientAndRemainder divide(vex_int a, vex_int b) {
  if (((a | b) >> 32) == 0) {
    const auto short_a = static_cast<std::uint32_t>(a), short_b = static_cast<std::uint32_t>(b);
    return {short_a / short_b, short_a % short_b};
  }
  return {a / b, a % b};
}

// What a team of one does, and what threads outside the team get.
Share undivided(vex_int ithr, vex_int n) {
  return {0, ithr == 0 ? n : 0};
}

Share split(vex_int ithr, vex_int nthr, vex_int n) {
  if (nthr <= 1) return undivided(ithr, n);
  if (ithr >= nthr) return {0, 0};
  const auto [q, r] = divide(n, nthr);
  return {q * ithr + std::min(ithr, r), q + (ithr < r)};
}

// Shares are whole blocks of nb; what is left of a block at the end goes to the last thread.
Share split_blocks(vex_int ithr, vex_int nthr, vex_int n, vex_int nb) {
  if (nthr <= 1 || nb <= 0) return undivided(ithr, n);
  if (ithr >= nthr) return {0, 0};
  // A round gives every thread one block. A round longer than the range is never completed, whatever its
  // length.
  vex_int round;
  const bool overflows = __builtin_mul_overflow(nb, nthr, &round);
  const auto [q, rest] = overflows ? QuotientAndRemainder{0, n} : divide(n, round);
  const auto [blocks, tail] = divide(rest, nb);
  const vex_int length = q * nb + (ithr < blocks ? nb : 0) + (ithr == nthr - 1 ? tail : 0);
  return {(q * ithr + std::min(ithr, blocks)) * nb, length};
}

// Cuts the columns of a triangle so that every thread gets about as many of its n(n+1)/2 elements.
class TriangleCut {
 public:
  TriangleCut(vex_int nthr, vex_int n) : n_(n) {
    const auto order = static_cast<wide_unsigned>(n);
    const wide_unsigned whole_elements = order * (order + 1) / 2 / static_cast<wide_unsigned>(nthr);
    per_thread_ = static_cast<double>(whole_elements);
  }

  // How many columns, from the thin end, hold k shares: the positive root of j(j+1)/2 = k per_thread_.
  vex_int columns_of_shares(vex_int k) const {
    const double root = (std::sqrt(8.0 * static_cast<double>(k) * per_thread_ + 1.0) - 1.0) / 2.0;
    return std::min(static_cast<vex_int>(root), n_);  // rounding may pass n where a double no longer holds it
  }

 private:
  vex_int n_;
  double per_thread_;
};

Share split_triangle(vex_int ithr, vex_int nthr, vex_int n, bool upper) {
  if (nthr <= 1) return undivided(ithr, n);
  if (ithr >= nthr || n <= 0) return {0, 0};
  const TriangleCut cut(nthr, n);
  const auto boundary = [&](vex_int thread) {
    if (thread == 0) return vex_int{0};
    if (thread == nthr) return n;
    return upper ? cut.columns_of_shares(thread) : n - cut.columns_of_shares(nthr - thread);
  };
  const vex_int start = boundary(ithr);
  return {start, boundary(ithr + 1) - start};
}

}  // namespace

extern "C" {

vex_int vex_serv_divbythreads(const vex_int* ithr, const vex_int* nthr, const vex_int* n, vex_int* length) {
  const Share share = split(*ithr, *nthr, *n);
  *length = share.length;
  return share.start;
}

vex_int vex_serv_divbythreadsnb(const vex_int* ithr, const vex_int* nthr, const vex_int* n, const vex_int* nb,
                                vex_int* length) {
  const Share share = split_blocks(*ithr, *nthr, *n, *nb);
  *length = share.length;
  return share.start;
}

vex_int vex_serv_divbythreadstr(const vex_int* ithr, const vex_int* nthr, const vex_int* n, const char* uplo,
                                vex_int* length) {
  const Share share = split_triangle(*ithr, *nthr, *n, *uplo == 'U' || *uplo == 'u');
  *length = share.length;
  return share.start;
}
}
