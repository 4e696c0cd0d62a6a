// See gemm_drivers.h.
#include "blas/gemm_drivers.h"

#include <omp.h>

#include <algorithm>

#include "blas/path_engine.h"
#include "blas/shared_copy.h"

namespace vex::blas {

namespace {

Member self() {
  return {omp_get_thread_num(), omp_get_num_threads()};
}

// A part of a range whose parts all start at a whole panel.
Share panel_share(vex_int extent, vex_int part, vex_int parts, vex_int width) {
  const Share panels = share_1d((extent + width - 1) / width, {part, parts, 0, ShareMode::even, 1});
  const vex_int start = panels.start * width;
  return {start, std::min(panels.length * width, extent - start)};
}

Share row_share(const SharedMultiply& shared, vex_int rows, vex_int part, vex_int parts) {
  return panel_share(rows, part, parts, shared.call.buffers.a.width);
}

Share column_share(const SharedMultiply& shared, vex_int columns, vex_int part, vex_int parts) {
  return panel_share(columns, part, parts, shared.call.buffers.b.width);
}

void run_block(void* arguments, vex_int row, vex_int column, vex_int rows, vex_int columns) {
  run_sequential(static_cast<const Product*>(arguments)->block(row, column, rows, columns));
}

// One dimension cut into as many parts as there are threads.
void run_stripes(Product product, int direction, int parts) {
  const RegisterBlock tile = register_block();
  const vex_int granule = direction == 0 ? tile.rows : tile.columns;
#pragma omp parallel num_threads(parts)
  for (int part = omp_get_thread_num(); part < parts; part += omp_get_num_threads())
    partition_1d({product.m, product.n, run_block}, {part, parts, direction, ShareMode::granular, granule},
                 &product);
}

// Both dimensions cut: the rows first, and then the columns of the thread's rows.
void run_grid(const Product& product, const ThreadState& state) {
  const RegisterBlock tile = register_block();
  const int row_parts = state.parts[0], parts = row_parts * state.parts[1];
#pragma omp parallel num_threads(parts)
  for (int part = omp_get_thread_num(); part < parts; part += omp_get_num_threads()) {
    const Share rows = share_1d(product.m, {part % row_parts, row_parts, 0, ShareMode::granular, tile.rows});
    if (rows.length <= 0) continue;
    Product stripe = product.block(rows.start, 0, rows.length, product.n);
    partition_1d({stripe.m, stripe.n, run_block},
                 {part / row_parts, state.parts[1], 1, ShareMode::granular, tile.columns}, &stripe);
  }
}

// Walks the blocks of a product in the order in which they are packed: the slices of the inner dimension
// outermost, in each the column blocks, in each the row blocks.
struct Step {
  Slice slice;
  Share columns, rows;
};

class Steps {
 public:
  Steps(const SharedMultiply& shared, vex_int rows_at_once, vex_int columns_at_once)
      : k_(shared.depth()),
        kc_(shared.kc()),
        m_(shared.call.c.rows),
        n_(shared.call.c.columns),
        rows_(rows_at_once),
        columns_(columns_at_once) {}

  bool done() const { return p_ >= k_; }
  Step step() const {
    return {{p_, std::min(kc_, k_ - p_)}, {j_, std::min(columns_, n_ - j_)}, {i_, std::min(rows_, m_ - i_)}};
  }
  void advance() {
    i_ += rows_;
    if (i_ < m_) return;
    i_ = 0, j_ += columns_;
    if (j_ < n_) return;
    j_ = 0, p_ += kc_;
  }

 private:
  vex_int k_, kc_, m_, n_, rows_, columns_;
  vex_int p_ = 0, j_ = 0, i_ = 0;
};

// Rows and columns that are packed and shared at once. Two areas of op(A) and two of op(B) of this size and a
// slice of 384 are 30 MB and 19 MB, which the third caches of a socket hold; halving or doubling either
// changed no rate by more than a percent.
constexpr vex_int most_shared_rows = 4992, most_shared_columns = 3072;

// op(A) block after block, the next one ahead of its use; every thread brings its own columns.
void share_a(const SharedMultiply& shared, vex_int parts) {
  const Member me = self();
  const vex_int n = shared.call.c.columns, nc = shared.call.buffers.nc;
  double* const own_b = shared.area[0].b + me.thread * nc * shared.call.buffers.b.depth;
  for (vex_int part = me.thread; part < parts; part += me.team)
    scale_result(shared, {0, shared.call.c.rows}, column_share(shared, n, part, parts));
  Steps steps(shared, shared.a_rows, n);
  omp_parallel_acopy(shared, steps.step().rows, steps.step().slice, shared.area[0].a, me);
  for (int turn = 0; !steps.done(); turn ^= 1) {
    const Step now = steps.step();
    steps.advance();
    if (!steps.done())
      omp_parallel_acopy_lookahead(shared, steps.step().rows, steps.step().slice, shared.area[turn ^ 1].a,
                                   me);
    for (vex_int part = me.thread; part < parts; part += me.team) {
      const Share own = column_share(shared, n, part, parts);
      for (vex_int j = 0; j < own.length; j += nc) {
        const Share columns{own.start + j, std::min(nc, own.length - j)};
        omp_no_parallel_copy(shared, {}, columns, now.slice, {nullptr, own_b});
        multiply_packed(shared, now.rows, columns, now.slice, shared.area[turn].a, own_b);
      }
    }
#pragma omp barrier
  }
}

// op(B) block after block; every thread brings its own rows, `piece` at a time.
void share_b(const SharedMultiply& shared, vex_int parts, vex_int piece) {
  const Member me = self();
  const vex_int m = shared.call.c.rows;
  double* const own_a = shared.area[0].a + me.thread * piece * shared.call.buffers.a.depth;
  for (vex_int part = me.thread; part < parts; part += me.team)
    scale_result(shared, row_share(shared, m, part, parts), {0, shared.call.c.columns});
  Steps steps(shared, m, shared.b_columns);
  for (int turn = 0; !steps.done(); steps.advance(), turn ^= 1) {
    const Step now = steps.step();
    omp_parallel_bcopy(shared, now.columns, now.slice, shared.area[turn].b, me);
    for (vex_int part = me.thread; part < parts; part += me.team) {
      const Share own = row_share(shared, m, part, parts);
      for (vex_int i = 0; i < own.length; i += piece) {
        const Share rows{own.start + i, std::min(piece, own.length - i)};
        omp_no_parallel_copy(shared, rows, {}, now.slice, {own_a, nullptr});
        multiply_packed(shared, rows, now.columns, now.slice, own_a, shared.area[turn].b);
      }
    }
  }
}

// Both operands block after block. The block of op(B) stays while the row blocks pass by.
void share_both(const SharedMultiply& shared, const ThreadState& state) {
  const Member me = self();
  const vex_int a_depth = shared.call.buffers.a.depth, b_depth = shared.call.buffers.b.depth;
  const int row_parts = state.parts[0];
  int a_turn = 0, b_turn = 1;
  for (Steps steps(shared, shared.a_rows, shared.b_columns); !steps.done(); steps.advance(), a_turn ^= 1) {
    const Step now = steps.step();
    if (now.rows.start == 0) {
      b_turn ^= 1;
      omp_parallel_abcopy(shared, now.rows, now.columns, now.slice,
                          {shared.area[a_turn].a, shared.area[b_turn].b}, me);
    } else {
      omp_parallel_acopy(shared, now.rows, now.slice, shared.area[a_turn].a, me);
    }
    for (int part = me.thread; part < row_parts * state.parts[1]; part += me.team) {
      const Share r = row_share(shared, now.rows.length, part % row_parts, row_parts);
      const Share c = column_share(shared, now.columns.length, part / row_parts, state.parts[1]);
      const Share rows{now.rows.start + r.start, r.length}, columns{now.columns.start + c.start, c.length};
      if (now.slice.first == 0) scale_result(shared, rows, columns);
      multiply_packed(shared, rows, columns, now.slice, shared.area[a_turn].a + r.start * a_depth,
                      shared.area[b_turn].b + c.start * b_depth);
    }
  }
}

// Panels of the shared op(A) against op(B) where it lies: a product of one panel is never worth packing for
// and reads its left operand, here the panel, in place.
void read_b_at_its_source(const SharedMultiply& shared, const Product& product, vex_int parts) {
  const Member me = self();
  const vex_int width = shared.call.buffers.a.width, a_depth = shared.call.buffers.a.depth;
  Steps steps(shared, shared.a_rows, product.n);
  omp_parallel_acopy(shared, steps.step().rows, steps.step().slice, shared.area[0].a, me);
  for (int turn = 0; !steps.done(); turn ^= 1) {
    const Step now = steps.step();
    steps.advance();
    if (!steps.done())
      omp_parallel_acopy_lookahead(shared, steps.step().rows, steps.step().slice, shared.area[turn ^ 1].a,
                                   me);
    for (vex_int part = me.thread; part < parts; part += me.team) {
      const Share own = column_share(shared, product.n, part, parts);
      constexpr vex_int block = 192;  // columns of op(B) that stay in the second cache for all panels
      for (vex_int j = 0; j < own.length; j += block)
        for (vex_int i = 0; i < now.rows.length; i += width) {
          Product panel =
              product.block(now.rows.start + i, own.start + j, std::min(width, now.rows.length - i),
                            std::min(block, own.length - j));
          panel.k = now.slice.depth;
          panel.trans_a = 'N', panel.a = shared.area[turn].a + i * a_depth, panel.lda = width;
          panel.b += now.slice.first * (product.b_plain() ? 1 : product.ldb);
          if (now.slice.first > 0) panel.beta = 1;
          run_sequential(panel);
        }
    }
#pragma omp barrier
  }
}

}  // namespace

void run_driver(const Product& product, const ThreadState& state) {
  static constexpr vex_gemm_driver* drivers[] = {vex_blas_dgemm_1D_row,
                                                 vex_blas_dgemm_1D_col,
                                                 vex_blas_dgemm_2D_xgemm_p,
                                                 vex_blas_dgemm_2D_bsrc,
                                                 vex_blas_dgemm_2D_acopy_n,
                                                 vex_blas_dgemm_2D_bcopy,
                                                 vex_blas_dgemm_2D_abcopy_abx_m_km_par_p};
  if (drivers[static_cast<int>(state.driver)](&product, &state) != 0)
    vex_blas_dgemm_2D_xgemm_p(&product, &state);
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

int vex_blas_dgemm_1D_row(const Product* product, const ThreadState* state) {
  run_stripes(*product, 0, state->chosen);
  return 0;
}

int vex_blas_dgemm_1D_col(const Product* product, const ThreadState* state) {
  run_stripes(*product, 1, state->chosen);
  return 0;
}

int vex_blas_dgemm_2D_xgemm_p(const Product* product, const ThreadState* state) {
  run_grid(*product, *state);
  return 0;
}

int vex_blas_dgemm_2D_bsrc(const Product* product, const ThreadState* state) {
  SharedMultiply shared;
  if (open_shared(&shared, *product, std::min(product->m, most_shared_rows), 0) != 0) return 1;
  const int parts = state->chosen;
#pragma omp parallel num_threads(parts)
  read_b_at_its_source(shared, *product, parts);
  close_shared(&shared);
  return 0;
}

int vex_blas_dgemm_2D_acopy_n(const Product* product, const ThreadState* state) {
  SharedMultiply shared;
  const int parts = state->chosen;
  // Both areas of op(B) together are cut into one block of columns for each thread.
  constexpr vex_int widest_block = 192;
  if (open_shared(&shared, *product, std::min(product->m, most_shared_rows),
                  (parts + 1) / 2 * widest_block) != 0)
    return 1;
#pragma omp parallel num_threads(parts)
  share_a(shared, parts);
  close_shared(&shared);
  return 0;
}

int vex_blas_dgemm_2D_bcopy(const Product* product, const ThreadState* state) {
  SharedMultiply shared;
  const int parts = state->chosen;
  // Rows of op(A) that a thread packs at once, 4 MB with a slice of 384: they pass by blocks of op(B) that
  // stay in the second cache. 168 rows, which would stay there themselves, lost 4 to 8 percent; 504 to 4992
  // are alike.
  constexpr vex_int most_rows = 1248, whole_panels = 24;
  const vex_int piece = std::min(most_rows, engine::round_up(product->m / parts + 1, whole_panels));
  if (open_shared(&shared, *product, (parts + 1) / 2 * piece, std::min(product->n, most_shared_columns)) != 0)
    return 1;
#pragma omp parallel num_threads(parts)
  share_b(shared, parts, piece);
  close_shared(&shared);
  return 0;
}

int vex_blas_dgemm_2D_abcopy_abx_m_km_par_p(const Product* product, const ThreadState* state) {
  SharedMultiply shared;
  if (open_shared(&shared, *product, std::min(product->m, most_shared_rows),
                  std::min(product->n, most_shared_columns)) != 0)
    return 1;
#pragma omp parallel num_threads(state->parts[0] * state->parts[1])
  share_both(shared, *state);
  close_shared(&shared);
  return 0;
}
}
