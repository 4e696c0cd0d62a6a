// Fills the operand and operation records, locates elements, and places the packed areas inside one scratch
// block.
#include "blas/engine/strategy.h"
#include "service/buffer_cache.h"

using namespace vex::blas::engine;

namespace vex::blas::engine {

namespace {

constexpr vex_int shallow_depth = 47;

void set_buffers(BufferRecord* buffers, const BlockConstants& c, const StrategyRecord* s, vex_int m,
                 vex_int n, vex_int kc, vex_int nc_cap) {
  const vex_int mc = round_up(smaller(larger(m, s->mr), c.mc_cap), s->mr);
  const vex_int nc = round_up(smaller(larger(n, s->nr), nc_cap), s->nr);
  const vex_int depth = round_up(kc, s->ku);
  *buffers = {s->copy_mode == copy_b_only ? buffer_b_only : buffer_both,
              mc,
              nc,
              kc,
              nullptr,
              nullptr,
              nullptr,
              {nullptr, kc, mc, s->mr * depth, s->ku, s->mr, depth, 8, 128, getPointer_buffer},
              {nullptr, kc, nc, s->nr * depth, s->ku, s->nr, depth, 8, 128, getPointer_buffer},
              768,
              4096,
              1664,
              2097152,
              1,
              {vex_blas_get_bufs, vex_blas_get_size_bufs, vex_blas_free_bufs, vex_blas_get_bufs_pack,
               vex_blas_set_bufs_pack}};
}

}  // namespace

void size_buffers(BufferRecord* buffers, const BlockConstants& c, const StrategyRecord* s, vex_int m,
                  vex_int n, vex_int k) {
  set_buffers(buffers, c, s, m, n, depth_slice(c, k, s->ku, 1),
              k > shallow_depth ? c.nc_cap : c.nc_cap_shallow);
}

void size_triangular_buffers(BufferRecord* buffers, const BlockConstants& c, const StrategyRecord* s,
                             vex_int m, vex_int n, vex_int k) {
  const vex_int kc = depth_slice(c, k, s->ku, 0);
  set_buffers(buffers, c, s, m, n, kc, k > shallow_depth ? c.nc_cap : kc);
}

}  // namespace vex::blas::engine

namespace {

char upper_case(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 32) : letter;
}

int transposition_code(const char* letter) {
  if (!letter) return 3;
  switch (upper_case(*letter)) {
    case 'N':
      return 0;
    case 'T':
      return 1;
    case 'C':
      return 2;
    default:
      return -1;
  }
}

std::uint32_t flag_if(const char* letter, char wanted, std::uint32_t flag) {
  return letter && upper_case(*letter) == wanted ? flag : 0;
}

double* align(double* address, vex_int boundary) {
  const auto value = reinterpret_cast<std::uintptr_t>(address);
  const auto step = static_cast<std::uintptr_t>(boundary);
  return address + ((value + step - 1) / step * step - value) / sizeof(double);
}

double* advance(double* address, vex_int bytes) {
  return address + bytes / 8;
}

// The areas start a little past a page (B) and a huge page (A), so that the first lines of the two and of a
// page-aligned C do not fight for the same cache sets.
void place_areas(BufferRecord* buffers, void* block) {
  buffers->base = block;
  auto* const start = static_cast<double*>(block);
  switch (buffers->kind) {
    case buffer_a_only:
      buffers->packed_a = advance(align(start, buffers->huge_size), buffers->huge_offset);
      break;
    case buffer_b_only:
      buffers->packed_b = advance(align(start, buffers->page_size), buffers->page_offset);
      break;
    case buffer_both:
      buffers->packed_b = advance(align(start, buffers->page_size), buffers->page_offset);
      buffers->packed_a = advance(align(buffers->packed_b + buffers->nc * buffers->kc, buffers->huge_size),
                                  buffers->huge_offset);
      break;
    case buffer_kept_a:
      buffers->packed_a = advance(align(start, buffers->page_size), buffers->page_offset);
      break;
    default:
      buffers->packed_b = align(start, buffers->huge_size);
      break;
  }
  buffers->a.base = buffers->packed_a;
  buffers->b.base = buffers->packed_b;
}

}  // namespace

extern "C" {

double* getPointer_notrans(vex_int i, vex_int j, const MatrixDescriptor* matrix) {
  return matrix->data + j * matrix->ld + i;
}

double* getPointer_trans(vex_int i, vex_int j, const MatrixDescriptor* matrix) {
  return matrix->data + i * matrix->ld + j;
}

double* getPointer_buffer(vex_int k, vex_int p, const PackedDescriptor* packed) {
  return packed->base + packed->depth * p + k * packed->width;
}

void blas_initialize_matrix(MatrixDescriptor* matrix, double* data, vex_int rows, vex_int columns, vex_int ld,
                            const char* uplo, const char* diag, const char* trans) {
  const std::uint32_t flags = flag_if(uplo, 'L', flag_lower) | flag_if(uplo, 'U', flag_upper) |
                              flag_if(diag, 'N', flag_non_unit) | flag_if(diag, 'U', flag_unit) |
                              flag_if(trans, 'N', flag_no_trans) | flag_if(trans, 'T', flag_trans) |
                              flag_if(trans, 'C', flag_conj_trans);
  const bool plain = !trans || (flags & flag_no_trans);
  *matrix = {data, rows, columns,        ld,    0,
             0,    rows, sizeof(double), flags, plain ? getPointer_notrans : getPointer_trans};
}

void blas_initialize_op_params(OperationRecord* operation, const char* trans_a, const char* trans_b,
                               double alpha, double beta) {
  *operation = {transposition_code(trans_a), transposition_code(trans_b), alpha, beta, trans_a, trans_b};
}

// Bytes that leave room for the areas wherever the block starts: a page or a huge page of slack for each
// alignment step, and the offsets behind the boundaries.
std::size_t vex_blas_get_size_bufs(const BufferRecord* buffers) {
  const vex_int a = buffers->mc * buffers->kc * 8, b = buffers->nc * buffers->kc * 8;
  switch (buffers->kind) {
    case buffer_a_only:
      return static_cast<std::size_t>(a + 4195968);
    case buffer_b_only:
      return static_cast<std::size_t>(b + 8960);
    case buffer_both:
      return static_cast<std::size_t>(a + b + 4204928);
    case buffer_copies:
      return static_cast<std::size_t>((b + 8960) * buffers->copies + 4194304);
    case buffer_kept_a:
      return static_cast<std::size_t>((a + 8960) * buffers->copies);
    default:
      return 0;
  }
}

int vex_blas_get_bufs(BufferRecord* buffers) {
  buffers->base = nullptr;
  if (buffers->kind < buffer_a_only || buffers->kind > buffer_copies) return 1;
  void* const block = vex_serv_allocate(vex_blas_get_size_bufs(buffers), 128);
  if (!block) return 1;
  place_areas(buffers, block);
  return 0;
}

int vex_blas_get_bufs_pack(BufferRecord* buffers) {
  if (buffers->kind != buffer_copies && buffers->kind != buffer_kept_a) return vex_blas_get_bufs(buffers);
  void* const block = vex_serv_allocate(vex_blas_get_size_bufs(buffers), 128);
  return vex_blas_set_bufs_pack(buffers, block);
}

int vex_blas_set_bufs_pack(BufferRecord* buffers, void* block) {
  buffers->base = nullptr;
  if (!block || vex_blas_get_size_bufs(buffers) == 0) return 1;
  if (buffers->kind == buffer_copies || buffers->kind == buffer_kept_a) buffers->page_size = 4096;
  place_areas(buffers, block);
  return 0;
}

void vex_blas_free_bufs(BufferRecord* buffers) {
  vex_serv_deallocate(buffers->base);
  buffers->base = nullptr;
}
}
