// See engine/solve_drivers.h. From the right the roles of rows and columns are exchanged, and an upper
// triangle from the right is solved forwards, from its first column on.
#include "blas/engine/solve_drivers.h"

#include <bit>
#include <cstdint>

#include "service/check_pointer.h"

namespace vex::blas::engine {

namespace {

constexpr double one = 1, minus_one = -1;

const MatrixDescriptor& triangle_of(const BlockedCall& call, bool left) {
  return left ? call.a : call.b;
}

// One solve, cut into diagonal blocks of kc. The area of A holds
//   the packed diagonal block | a panel of right-hand sides | the packed columns beside the block
// in so many rows at a time as there is room for.
template <bool left, bool forward>
class Blocks {
 public:
  Blocks(const BlockedCall& call, const BufferRecord& buffers)
      : call_(call),
        buffers_(buffers),
        e_(triangle_of(call, left)),
        order_(e_.rows),
        count_(left ? call.c.columns : call.c.rows),
        kc_(smaller(buffers.kc, order_)) {
    const vex_int nr = call.strategy.nr, mr = call.strategy.mr, rows = round_up(kc_, nr);
    panel_ = buffers.packed_a + round_up(rows * (rows + nr) / 2, 16);
    beside_ = panel_ + round_up(rows * mr, 16);
    const vex_int room = buffers.mc * buffers.kc - (beside_ - buffers.packed_a);
    most_beside_ = room / buffers.kc / mr * mr;
    slice_ = buffers.nc / mr * mr;
  }

  void run() const {
    for (vex_int done = 0; done < order_; done += kc_) {
      const vex_int block = smaller(kc_, order_ - done);
      const vex_int first = forward ? done : order_ - done - block;
      const MatrixDescriptor diagonal = narrowed(e_, first, first, block, block);
      call_.kernels.copy_diagonal(&diagonal, &buffers_.a, buffers_.packed_a, &minus_one);
      const vex_int rest = order_ - done - block, beside = forward ? first + block : 0;
      if (rest == 0) solve(first, block, 0, count_);
      for (vex_int i = 0; i < rest; i += most_beside_)
        update(first, block, beside + i, smaller(most_beside_, rest - i), i == 0);
    }
  }

 private:
  double* element(vex_int i, vex_int right_hand_side) const {
    double* const x = first_element(call_.c);
    return left ? x + i + right_hand_side * call_.c.ld : x + right_hand_side + i * call_.c.ld;
  }

  void solve(vex_int first, vex_int block, vex_int j, vex_int count) const {
    call_.kernels.solve_kernel({block, count, buffers_.packed_a, panel_, element(first, j), call_.c.ld,
                                (e_.flags & flag_unit) != 0});
  }

  // Subtracts what the unknowns of a diagonal block contribute to `rows` of the others, slice of right-hand
  // sides by slice; the first time they are solved for just before, while they are in the caches.
  void update(vex_int first, vex_int block, vex_int row, vex_int rows, bool unsolved) const {
    const KernelTable& k = call_.kernels;
    const MatrixDescriptor beside =
        left ? narrowed(e_, row, first, rows, block) : narrowed(e_, first, row, block, rows);
    (left ? k.copy_a : k.copy_b)(&beside, left ? &buffers_.a : &buffers_.b, beside_, &minus_one);
    for (vex_int j = 0; j < count_; j += slice_) {
      const vex_int count = smaller(slice_, count_ - j);
      if (unsolved) solve(first, block, j, count);
      const MatrixDescriptor solved =
          left ? narrowed(call_.c, first, j, block, count) : narrowed(call_.c, j, first, count, block);
      double* const packed = buffers_.packed_b;
      (left ? k.copy_b : k.copy_a)(&solved, left ? &buffers_.b : &buffers_.a, packed, &one);
      k.kernel({left ? rows : count, left ? count : rows, block, left ? beside_ : packed,
                buffers_.a.panel_size, left ? packed : beside_, buffers_.b.panel_size, element(row, j),
                call_.c.ld, false, 0, k.edge});
    }
  }

  const BlockedCall& call_;
  const BufferRecord& buffers_;
  const MatrixDescriptor& e_;
  const vex_int order_, count_, kc_;
  double *panel_, *beside_;
  vex_int most_beside_, slice_;
};

// One solve from the left for few right-hand sides: the triangle is read once, where it lies, and only its
// pieces along the diagonal are packed. The diagonal blocks are those of the blocked solve, whose products
// beside a block are summed up before they are added; inside of a block every element takes its operations
// in the order of the unknowns, wherever it is cut. So an answer has the same bits from either.
// The area of A holds   a packed piece of the triangle | a panel of right-hand sides
// and that of B what the updates need.
template <bool forward>
class FewSidesSolve {
 public:
  FewSidesSolve(const BlockedCall& call, const BufferRecord& buffers)
      : call_(call),
        e_(call.a),
        x_(first_element(call.c)),
        order_(e_.rows),
        kc_(smaller(buffers.kc, order_)),
        triangle_(buffers.packed_a),
        panel_(triangle_ + piece * (piece + largest_nr) / 2),
        strip_(panel_ + piece * largest_mr),
        room_(buffers.packed_b) {}

  void run() const {
    for (vex_int done = 0; done < order_; done += kc_) {
      const vex_int block = smaller(kc_, order_ - done), rest = order_ - done - block;
      const vex_int first = forward ? done : order_ - done - block;
      solve(first, block);
      if (rest > 0) update(first, block, forward ? first + block : 0, rest, false);
    }
  }

 private:
  static constexpr vex_int piece = 32;  // order of the packed pieces

  // One diagonal block.
  void solve(vex_int first, vex_int block) const {
    for (vex_int done = 0, last = (block - 1) / piece * piece; done <= last; done += piece) {
      const vex_int i = first + (forward ? done : last - done), rows = smaller(piece, first + block - i);
      const vex_int rest = forward ? first + block - i - rows : i - first;
      // The first columns of the block, and those rows beside it that the update after it begins with.
      if (done == 0) fetch(forward ? i : first, i, rest + rows, rows);
      const vex_int beside = smaller(update_rows, forward ? order_ - first - block : first);
      fetch(forward ? first + block : first - beside, i, beside, rows);
      const MatrixDescriptor diagonal = narrowed(e_, i, i, rows, rows);
      call_.kernels.copy_diagonal(&diagonal, nullptr, triangle_, &minus_one);
      call_.kernels.solve_kernel(
          {rows, call_.c.columns, triangle_, panel_, x_ + i, call_.c.ld, (e_.flags & flag_unit) != 0});
      if (rest > 0) update(i, rows, forward ? i + rows : first, rest, true);
    }
  }

  // Asks for a rectangle of E.
  void fetch(vex_int row, vex_int column, vex_int rows, vex_int columns) const {
    constexpr vex_int line = 8;
    const MatrixDescriptor part = narrowed(e_, row, column, rows, columns);
    const double* const at = first_element(part);
    const bool turned = is_transposed(e_);
    const vex_int length = turned ? columns : rows, count = turned ? rows : columns;
    for (vex_int j = 0; j < count; ++j)
      for (vex_int i = 0; i < length; i += line) __builtin_prefetch(at + i + j * e_.ld, 0, 2);
  }

  // Subtracts what `depth` unknowns contribute to `rows` others.
  void update(vex_int first, vex_int depth, vex_int row, vex_int rows, bool chained) const {
    const MatrixDescriptor beside = narrowed(e_, row, first, rows, depth);
    const vex_int ahead = !chained ? 0 : forward ? piece : -piece;
    call_.kernels.few.update({rows, call_.c.columns, depth, first_element(beside), e_.ld, x_ + first,
                              x_ + row, call_.c.ld, !forward && chained, chained, !forward, ahead, room_,
                              strip_});
  }

  const BlockedCall& call_;
  const MatrixDescriptor& e_;
  double* const x_;
  const vex_int order_, kc_;
  double *triangle_, *panel_, *strip_, *room_;
};

// The exponent field of subnormals is zero, their mantissa is not. Above 2^1021 the reciprocal is subnormal.
Reciprocals reciprocal_of(double diagonal) {
  constexpr std::uint64_t exponent = 0x7ff0000000000000, mantissa = 0x000fffffffffffff;
  constexpr std::uint64_t largest_exponent = 0x7fc0000000000000;
  const auto bits = std::bit_cast<std::uint64_t>(diagonal);
  const std::uint64_t magnitude = bits & exponent;
  if (magnitude == 0) return bits & mantissa ? Reciprocals::overflow : Reciprocals::fit;
  return magnitude > largest_exponent && magnitude != exponent ? Reciprocals::lose_bits : Reciprocals::fit;
}

bool suits_few_sides(const BlockedCall& call) {
  constexpr vex_int least_order = 48;  // below it all is packed with one or two pieces
  const FewSides& few = call.kernels.few;
  const vex_int order = call.c.rows, count = call.c.columns;
  return order >= least_order && count <= few.most && count * few.order_each <= order;
}

template <bool left, bool forward>
void drive(const BlockedCall& call) {
  if (call.c.rows < 1 || call.c.columns < 1) return;
  const double alpha = call.operation.alpha;
  if (alpha == 0) return call.kernels.scale_triangle(&call.c, 0);  // before A is looked at
  if (reciprocals_of(triangle_of(call, left)) != Reciprocals::fit) return call.kernels.unblocked(call);
  BufferRecord buffers;
  if (call.prepared) {
    buffers = *call.prepared;
  } else {
    initialize_solve_buffers(call.initialize_buffers, &buffers, &call.strategy,
                             left ? call.c.rows : call.c.columns, left ? call.c.columns : call.c.rows);
    buffers.functions.get(&buffers);
  }
  if (vex_serv_check_ptr_and_warn(buffers.base, "DTRSM") != 0) return call.kernels.unblocked(call);
  if (alpha != 1) call.kernels.scale_triangle(&call.c, alpha);
  if (left && suits_few_sides(call))
    FewSidesSolve<forward>(call, buffers).run();
  else
    Blocks<left, forward>(call, buffers).run();
  if (!call.prepared) buffers.functions.free(&buffers);
}

}  // namespace

Reciprocals reciprocals_of(const MatrixDescriptor& e) {
  if (e.flags & flag_unit) return Reciprocals::fit;
  const double* const diagonal = first_element(e);
  const vex_int step = e.ld + 1;
  Reciprocals worst = Reciprocals::fit;
  for (vex_int i = 0; i < e.rows; ++i) {
    const Reciprocals r = reciprocal_of(diagonal[i * step]);
    if (r == Reciprocals::overflow) return r;
    if (r == Reciprocals::lose_bits) worst = r;
  }
  return worst;
}

void drive_solve_left_lower(const BlockedCall& call) {
  drive<true, true>(call);
}
void drive_solve_left_upper(const BlockedCall& call) {
  drive<true, false>(call);
}
void drive_solve_right_lower(const BlockedCall& call) {
  drive<false, false>(call);
}
void drive_solve_right_upper(const BlockedCall& call) {
  drive<false, true>(call);
}

void initialize_solve_buffers(InitializeBuffers* initialize, BufferRecord* buffers,
                              const StrategyRecord* strategy, vex_int order, vex_int count) {
  initialize(buffers, strategy, order, round_up(count, strategy->mr), order);
}

SolveLetters solve_letters(const BlockedCall& call) {
  const bool left = (call.a.flags & (flag_lower | flag_upper)) != 0;
  const MatrixDescriptor& e = triangle_of(call, left);
  return {left ? 'L' : 'R', e.flags & flag_upper ? 'U' : 'L', is_transposed(e) ? 'T' : 'N',
          e.flags & flag_unit ? 'U' : 'N'};
}

void run_solve(const PathEngine& path, bool right, double alpha, const MatrixDescriptor& triangle,
               const MatrixDescriptor& x, const BufferRecord* prepared) {
  BlockedCall call;
  path.initialize_strategy(&call.strategy);
  call.strategy.check(&call.strategy);
  call.a = right ? x : triangle, call.b = right ? triangle : x, call.c = x;
  call.prepacked_a = nullptr, call.prepared = prepared;
  call.initialize_buffers = path.initialize_triangular_buffers;
  blas_initialize_op_params(&call.operation, nullptr, nullptr, alpha, 0);
  path.initialize_kernel_info(&call.kernels, op_trsm, right, &call.strategy, &call.a, &call.b, &call.c);
  call.kernels.driver(call);
}

namespace {

struct KeptTriangle {
  StrategyRecord strategy;
  KernelTable kernels;

  explicit KeptTriangle(const PathEngine& path) {
    path.initialize_strategy(&strategy);
    strategy.check(&strategy);
    MatrixDescriptor triangle, x;
    blas_initialize_matrix(&triangle, nullptr, 0, 0, 0, "L", "U", "N");
    blas_initialize_matrix(&x, nullptr, 0, 0, 0, nullptr, nullptr, nullptr);
    path.initialize_kernel_info(&kernels, op_trsm, false, &strategy, &triangle, &x, &x);
  }
};

}  // namespace

vex_int packed_triangle_size(const PathEngine& path, vex_int order) {
  const KeptTriangle kept(path);
  const vex_int nr = kept.strategy.nr, rows = round_up(order, nr);
  return round_up(rows * (rows + nr) / 2, 8);
}

void pack_unit_lower(const PathEngine& path, const MatrixDescriptor& triangle, double* room) {
  KeptTriangle(path).kernels.copy_diagonal(&triangle, nullptr, room, &minus_one);
}

void solve_packed_unit_lower(const PathEngine& path, const double* room, const MatrixDescriptor& x) {
  alignas(128) double panel[largest_mr * (deepest_slice + largest_nr)];
  KeptTriangle(path).kernels.solve_kernel({x.rows, x.columns, room, panel, first_element(x), x.ld, true});
}

}  // namespace vex::blas::engine
