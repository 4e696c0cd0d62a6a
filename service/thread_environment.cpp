// Parses the thread-related environment variables. Malformed numbers never fail: where a thread count is
// meant they become 1, which is the count that can do no harm, elsewhere they count as absent.
#include "service/thread_environment.h"

#include <climits>
#include <cstring>

namespace vex::service {
namespace {

constexpr int max_value_length = 256;

class Value {
 public:
  Value(EnvironmentReader read, const char* name) {
    text_[0] = '\0';
    length_ = read(name, text_, sizeof text_);
  }

  // A value that is too long for the buffer counts as unset.
  bool empty() const { return length_ <= 0 || text_[0] == '\0'; }
  const char* text() const { return text_; }

 private:
  char text_[max_value_length + 1];
  int length_;
};

// A piece of a value: [begin, end).
struct Token {
  const char* begin;
  const char* end;

  bool empty() const { return begin == end; }
  bool equals(const char* word) const {
    const auto length = static_cast<std::size_t>(end - begin);
    return std::strlen(word) == length && std::memcmp(begin, word, length) == 0;
  }
};

Token whole(const Value& value) {
  return {value.text(), value.text() + std::strlen(value.text())};
}

// The longest run from `text` on that holds none of the characters in `stops`.
Token token_until(const char* text, const char* stops) {
  return {text, text + std::strcspn(text, stops)};
}

const char* skip(const char* text, const char* characters) {
  return text + std::strspn(text, characters);
}

// The number that a run of decimal digits spells, INT_MAX when it is larger; -1 when any other character is
// there.
int digits(Token token) {
  int number = 0;
  for (const char* p = token.begin; p != token.end; ++p) {
    if (*p < '0' || *p > '9') return -1;
    const int digit = *p - '0';
    number = number > (INT_MAX - digit) / 10 ? INT_MAX : 10 * number + digit;
  }
  return number;
}

// A thread count: 1 for text that is no number, -1 for a number below 1.
int thread_count(Token token) {
  const int number = digits(token);
  if (number < 0) return 1;
  return number >= 1 ? number : -1;
}

int thread_count(const Value& value) {
  return value.empty() ? -1 : thread_count(whole(value));
}

int domain_of(Token name) {
  static constexpr const char* names[domain_count] = {"VEX_DOMAIN_ALL", "VEX_DOMAIN_BLAS", "VEX_DOMAIN_FFT",
                                                      "VEX_DOMAIN_ELEM", "VEX_DOMAIN_PARDISO"};
  for (int i = 0; i < domain_count; ++i)
    if (name.equals(names[i])) return i;
  return -1;
}

// A list such as "VEX_DOMAIN_ALL=2, VEX_DOMAIN_BLAS=4". Only a blank, a quote or "=" ends a name, so a name
// without a number swallows the entry behind it.
void read_domain_list(const char* list, int (&threads)[domain_count]) {
  static constexpr const char* between_entries = " \"',:;";
  for (const char* p = skip(list, between_entries);; p = skip(p, between_entries)) {
    const Token name = token_until(p, " \"'=");
    if (name.empty()) return;
    const Token number = token_until(skip(name.end, "= "), between_entries);
    const int domain = domain_of(name);
    if (domain >= 0 && threads[domain] < 0) threads[domain] = thread_count(number);
    p = number.end;
  }
}

int dynamic_flag(const Value& value) {
  static constexpr const char* blanks_and_quotes = " \"'";
  const Token word = token_until(skip(value.text(), blanks_and_quotes), blanks_and_quotes);
  return !word.equals("FALSE") && !word.equals("false");
}

int whole_number(const Value& value) {
  return value.empty() ? -1 : digits(whole(value));
}

int leading_number_before_colon(const Value& value) {
  const Token number = token_until(value.text(), ":");
  return value.empty() || number.empty() || *number.end != ':' ? -1 : digits(number);
}

// Launchers tell the number of processes on this machine under different names.
int processes_per_node(EnvironmentReader read) {
  int processes = whole_number(Value(read, "VEX_MPI_PPN"));
  if (processes > 0) return processes;
  processes = whole_number(Value(read, "K_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE"));
  if (processes > 0) return processes;
  processes = leading_number_before_colon(Value(read, "K_MPI_PIN_MAPPING"));
  if (processes > 0) return processes;
  processes = whole_number(Value(read, "OMPI_COMM_WORLD_LOCAL_SIZE"));
  if (processes > 0) return processes;
  processes = whole_number(Value(read, "MPI_LOCALNRANKS"));
  return processes > 0 ? processes : -1;
}

int mpi_thread_level(const Value& value) {
  if (value.empty()) return -1;
  const int level = digits(whole(value));
  return level >= 0 && level < 4 ? level : 0;
}

}  // namespace

ThreadEnvironment read_thread_environment(EnvironmentReader read) {
  ThreadEnvironment env;
  env.num_threads = thread_count(Value(read, "VEX_NUM_THREADS"));
  env.num_stripes = whole_number(Value(read, "VEX_NUM_STRIPES"));
  read_domain_list(Value(read, "VEX_DOMAIN_NUM_THREADS").text(), env.domain_threads);
  env.dynamic = dynamic_flag(Value(read, "VEX_DYNAMIC"));
  env.omp_num_threads = thread_count(Value(read, "OMP_NUM_THREADS"));
  env.processes_per_node = processes_per_node(read);
  env.mpi_thread_level = mpi_thread_level(Value(read, "K_MPI_THREAD_LEVEL"));
  return env;
}

}  // namespace vex::service
