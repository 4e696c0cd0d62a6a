// Lookup in the catalogue of tuning trees: routine, code path, thread count, parameter, then the tree itself.
#include "lapack/tuning_trees.h"

#include <algorithm>
#include <iterator>

#include "service/cpu_dispatch.h"
#include "service/thread_count.h"

namespace vex::lapack {
namespace {

constexpr const CodePathEntry* getrf_code_paths[] = {&getrf_avx, &getrf_avx2, &getrf_avx512,
                                                     &getrf_avx512_hcx};

constexpr int many_core_path = 6;

// The routine number of the LU factorization among compact, geqr, geqrf, getrf, potrf, tptrs; the others have
// no trees.
constexpr vex_int routine_getrf = 3;

// Among the entries [begin, end) the first one whose number is nearest to `wanted`.
template <typename Iterator, typename Number>
Iterator nearest(Iterator begin, Iterator end, vex_int wanted, Number number_of) {
  return std::min_element(begin, end, [&](const auto& a, const auto& b) {
    const auto distance = [&](const auto& entry) {
      const vex_int number = number_of(entry);
      return number > wanted ? number - wanted : wanted - number;
    };
    return distance(a) < distance(b);
  });
}

const CodePathEntry& code_path_entry(int code_path) {
  const auto* const begin = std::begin(getrf_code_paths);
  const auto* const end = std::end(getrf_code_paths);
  const auto number_of = [](const CodePathEntry* entry) { return vex_int{entry->code_path}; };
  const auto* found = nearest(begin, end, code_path, number_of);
  // The many-core path resembles none of the others, so nearness says nothing about it.
  if (code_path == many_core_path && (*found)->code_path != many_core_path) found = begin;
  return **found;
}

}  // namespace

vex_int tuned_value(int code_path, vex_int threads, Parameter parameter, vex_int m, vex_int n) {
  const CodePathEntry& path = code_path_entry(code_path);
  const vex_int wanted = std::max<vex_int>(threads, 0);
  const ThreadCountEntry& entry =
      *nearest(path.begin, path.end, wanted, [](const ThreadCountEntry& e) { return e.threads; });
  const ParameterEntry* const end = std::end(entry.parameters);
  const ParameterEntry* found = std::find_if(
      std::begin(entry.parameters), end, [=](const ParameterEntry& e) { return e.parameter == parameter; });
  if (found == end) found = std::begin(entry.parameters);
  return found->tree(m, n);
}

TunedValues tuned_values(int code_path, vex_int threads, vex_int m, vex_int n) {
  const auto tuned = [=](Parameter parameter) { return tuned_value(code_path, threads, parameter, m, n); };
  return {tuned(Parameter::fts0), tuned(Parameter::fts1),      tuned(Parameter::nb0),
          tuned(Parameter::nb1),  tuned(Parameter::nb_switch), tuned(Parameter::ts_switch),
          tuned(Parameter::uts0), tuned(Parameter::uts1)};
}

}  // namespace vex::lapack

vex_int vex_lapack_ilaenv_dt(vex_int, vex_int routine, vex_int parameter, vex_int m, vex_int n) {
  if (routine != vex::lapack::routine_getrf) return 0;
  return vex::lapack::tuned_value(vex_serv_cpu_detect(), vex_serv_get_max_threads(),
                                  static_cast<vex::lapack::Parameter>(parameter), m, n);
}
