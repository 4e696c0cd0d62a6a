// One block holds everything: the head, the slots, a counter for each factor, and the rooms of the slots.
#include "blas/internal_team.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <new>

#include "blas/blas.h"
#include "blas/engine/drivers.h"
#include "blas/engine/solve_drivers.h"
#include "blas/path_engine.h"
#include "service/buffer_cache.h"
#include "service/spin_lock.h"

namespace vex::blas {

namespace {

constexpr vex_int nothing = -1;

// Rows are taken for packing in this many panels: enough to be worth an atomic operation, few enough that a
// team that comes late still finds some.
constexpr vex_int panels_per_piece = 8;

// Copies start on a page, so that the processor's own prefetching begins where its pages do.
constexpr std::size_t page = 4096;

constexpr std::size_t round_up(std::size_t bytes, std::size_t step) {
  return (bytes + step - 1) / step * step;
}

struct alignas(128) Slot {
  std::atomic<vex_int> factor;  // whose copy it is, or nothing
  std::int32_t lock;            // held while the slot passes from one factor to the next
  double* room;
  engine::PackedDescriptor packed;
  vex_int pieces;
  // Beside each other, since whoever packs changes both.
  alignas(128) std::atomic<vex_int> taken;  // pieces; past their number once all are
  std::atomic<vex_int> finished;
};

}  // namespace

struct FactorCopies {
  const engine::PathEngine* path;
  vex_int width;  // rows of a packed panel
  vex_int depth;
  Slot* slots;
  std::atomic<vex_int>* left;  // products of each factor that are not done
  char* rooms;
  std::size_t room_bytes;  // of all slots together
};

namespace {

// Gives the slot to the factor, unless products of the factor in it are still to come. Callers are products
// of `factor` that are not done, so the slot cannot pass on from it while they work.
bool enter(FactorCopies& shared, Slot& slot, vex_int factor, ConstMatrixView a) {
  // Pairs with the release below: the description is there when the number is.
  if (slot.factor.load(std::memory_order_acquire) == factor) return true;
  const service::SpinGuard guard(slot.lock);
  const vex_int holds = slot.factor.load(std::memory_order_relaxed);
  if (holds == factor) return true;
  // Acquire pairs with note_product_done: the last reader of the old copy has read.
  if (holds != nothing && shared.left[holds].load(std::memory_order_acquire) > 0) return false;
  engine::describe_packed_a(*shared.path, &slot.packed, a.rows, a.cols);
  slot.packed.base = slot.room;
  const vex_int panels = (a.rows + slot.packed.width - 1) / slot.packed.width;
  slot.pieces = (panels + panels_per_piece - 1) / panels_per_piece;
  slot.taken.store(0, std::memory_order_relaxed);
  slot.finished.store(0, std::memory_order_relaxed);
  slot.factor.store(factor, std::memory_order_release);
  return true;
}

engine::MatrixDescriptor descriptor_of(ConstMatrixView x) {
  engine::MatrixDescriptor descriptor;
  blas_initialize_matrix(&descriptor, const_cast<double*>(x.data), x.rows, x.cols, x.ld, nullptr, nullptr,
                         "N");
  return descriptor;
}

void pack_with_the_others(const FactorCopies& shared, Slot& slot, ConstMatrixView a) {
  const vex_int piece_rows = panels_per_piece * slot.packed.width;
  // Relaxed: the number decides who packs what, and nothing else.
  while (slot.taken.load(std::memory_order_relaxed) < slot.pieces) {
    const vex_int piece = slot.taken.fetch_add(1, std::memory_order_relaxed);
    if (piece >= slot.pieces) break;
    const vex_int first = piece * piece_rows;
    engine::pack_whole_a(*shared.path, slot.packed, descriptor_of(a), first,
                         std::min(piece_rows, a.rows - first));
    slot.finished.fetch_add(1, std::memory_order_release);
  }
  // Pairs with the additions above, each of which continues the chain of those before it.
  service::SpinWait wait;
  while (slot.finished.load(std::memory_order_acquire) < slot.pieces) wait.once();
}

void run_packed(const engine::PathEngine& path, const engine::PackedDescriptor& packed, double alpha,
                ConstMatrixView a, ConstMatrixView b, MatrixView c) {
  engine::run_operation(path, {engine::op_gemm, engine::copy_b_only, false, alpha, 1.0, descriptor_of(a),
                               descriptor_of(b), descriptor_of(c), &packed});
}

engine::PackedDescriptor packed_in(const double* room, ConstMatrixView a) {
  engine::PackedDescriptor packed;
  engine::describe_packed_a(path_engine(), &packed, a.rows, a.cols);
  packed.base = const_cast<double*>(room);
  return packed;
}

// The member's rows: whole packed panels, as even as they get.
struct Rows {
  vex_int first, count;
};

Rows rows_of(TeamRank team, vex_int rows, vex_int width) {
  const vex_int panels = (rows + width - 1) / width;
  const vex_int begin = panels * team.rank / team.size * width;
  const vex_int end = std::min(rows, panels * (team.rank + 1) / team.size * width);
  return {begin, std::max<vex_int>(0, end - begin)};
}

}  // namespace

FactorCopies* start_copies(const FactorCopiesPlan& plan) {
  const engine::PathEngine* path = &path_engine();
  engine::PackedDescriptor largest;
  const auto elements =
      static_cast<std::size_t>(engine::describe_packed_a(*path, &largest, plan.rows, plan.inner));
  const auto depth = static_cast<std::size_t>(plan.depth), factors = static_cast<std::size_t>(plan.factors);
  const std::size_t room = round_up(elements * sizeof(double), page);
  const std::size_t slots_at = round_up(sizeof(FactorCopies), alignof(Slot));
  const std::size_t left_at = slots_at + depth * sizeof(Slot);
  const std::size_t rooms_at = round_up(left_at + factors * sizeof(std::atomic<vex_int>), page);
  auto* const block = static_cast<char*>(vex_serv_allocate(rooms_at + depth * room, page));
  if (!block) return nullptr;
  auto* const slots = reinterpret_cast<Slot*>(block + slots_at);
  auto* const left = reinterpret_cast<std::atomic<vex_int>*>(block + left_at);
  for (std::size_t s = 0; s < depth; ++s) {
    new (&slots[s]) Slot{};
    slots[s].factor.store(nothing, std::memory_order_relaxed);
    slots[s].room = reinterpret_cast<double*>(block + rooms_at + s * room);
  }
  for (std::size_t i = 0; i < factors; ++i)
    new (&left[i]) std::atomic<vex_int>(static_cast<vex_int>(factors - 1 - i));
  return new (block)
      FactorCopies{path, largest.width, plan.depth, slots, left, block + rooms_at, depth * room};
}

void touch_copies(FactorCopies& shared, TeamRank team) {
  const std::size_t pages = shared.room_bytes / page;
  const auto rank = static_cast<std::size_t>(team.rank), size = static_cast<std::size_t>(team.size);
  for (std::size_t p = pages * rank / size; p < pages * (rank + 1) / size; ++p)
    *static_cast<volatile char*>(shared.rooms + p * page) = 0;
}

void finish_copies(FactorCopies* shared) {
  vex_serv_deallocate(shared);
}

void multiply_from_copies(FactorCopies& shared, vex_int factor, TeamRank team, double alpha,
                          ConstMatrixView a, ConstMatrixView b, MatrixView c) {
  Slot& slot = shared.slots[factor % shared.depth];
  const bool packed = enter(shared, slot, factor, a);
  if (packed) pack_with_the_others(shared, slot, a);
  // The shares must not depend on the answer, which may change while the members ask.
  const Rows rows = rows_of(team, c.rows, shared.width);
  if (rows.count == 0) return;
  const ConstMatrixView own_a = a.block(rows.first, 0, rows.count, a.cols);
  const MatrixView own_c = c.block(rows.first, 0, rows.count, c.cols);
  if (!packed) return xgemm(Trans::no, Trans::no, alpha, own_a, b, 1.0, own_c);
  run_packed(*shared.path, engine::packed_rows(slot.packed, rows.first), alpha, own_a, b, own_c);
}

void note_product_done(FactorCopies& shared, vex_int factor) {
  // Release pairs with the acquire in enter.
  shared.left[factor].fetch_sub(1, std::memory_order_acq_rel);
}

vex_int packed_size(vex_int rows, vex_int inner) {
  engine::PackedDescriptor packed;
  return engine::describe_packed_a(path_engine(), &packed, rows, inner);
}

void pack_left_factor(ConstMatrixView a, double* room) {
  engine::pack_whole_a(path_engine(), packed_in(room, a), descriptor_of(a), 0, a.rows);
}

void multiply_packed(const double* room, double alpha, ConstMatrixView a, ConstMatrixView b, MatrixView c) {
  run_packed(path_engine(), packed_in(room, a), alpha, a, b, c);
}

static_assert(largest_packed_triangle == engine::deepest_slice);

vex_int packed_triangle_size(vex_int order) {
  return engine::packed_triangle_size(path_engine(), order);
}

void pack_unit_lower(ConstMatrixView l, double* room) {
  engine::MatrixDescriptor triangle;
  blas_initialize_matrix(&triangle, const_cast<double*>(l.data), l.rows, l.rows, l.ld, "L", "U", "N");
  engine::pack_unit_lower(path_engine(), triangle, room);
}

void solve_packed(const double* room, MatrixView b) {
  engine::solve_packed_unit_lower(path_engine(), room, descriptor_of(b));
}

}  // namespace vex::blas

using namespace vex::blas;

namespace {

void meet(const TeamCall& call) {
  if (call.team.size > 1) call.barrier->wait(call.team.size, call.team.rank == 0);
}

int start(const TeamCall& call, vex_int rows, vex_int inner) {
  if (call.team.rank == 0) *call.state = start_copies({rows, inner, call.depth, call.factors});
  meet(call);
  if (!*call.state) return 1;
  touch_copies(**call.state, call.team);
  meet(call);
  return 0;
}

int finish(const TeamCall& call) {
  meet(call);
  if (call.team.rank == 0) {
    finish_copies(*call.state);
    *call.state = nullptr;
  }
  meet(call);
  return 0;
}

}  // namespace

int vex_blas_get_kernel_api_version() {
  return 2;
}

int vex_blas_xdgemm_internal_team(const char* trans_a, const char* trans_b, const vex_int* m,
                                  const vex_int* n, const vex_int* k, const double* alpha, const double* a,
                                  const vex_int* lda, const double* b, const vex_int* ldb, const double* beta,
                                  double* c, const vex_int* ldc, const TeamCall* call) {
  if (call->stage == TeamStage::start) return start(*call, *m, *k);
  if (call->stage == TeamStage::finish) return finish(*call);
  if (!*call->state || !engine::is(trans_a, 'N') || !engine::is(trans_b, 'N') || *beta != 1) return 1;
  multiply_from_copies(**call->state, call->factor, call->team, *alpha, {a, *m, *k, *lda}, {b, *k, *n, *ldb},
                       {c, *m, *n, *ldc});
  meet(*call);
  if (call->team.rank == 0) note_product_done(**call->state, call->factor);
  return 0;
}
