// Reports as they should be: put together from what differs between the runs, with what differs from one time
// to the next blanked out.
#pragma once

#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace vex::test {

// Replaces date, rates, counts of the machine, times and residuals by fixed marks. Every field must have had
// the width and the number of decimals that it should have: otherwise its line stays as it is and no longer
// compares equal. The same happens to a trial's line whose mark contradicts its normalised residual.
inline std::string masked(const std::string& report) {
  static const std::regex date(
      "Current date/time: [A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}$");
  static const std::regex frequency("CPU frequency: (?=.{8} GHz) *[0-9]+\\.[0-9]{3} GHz");
  static const std::regex count("(Number of (?:CPUs|cores|threads)): [1-9][0-9]*");
  // A left-aligned field keeps its width in the look-ahead and its decimals behind it.
  static const std::string time = "(?=[0-9. ]{10} [0-9])[0-9]+\\.[0-9]{3} +";
  static const std::string rate = "(?=[0-9. ]{8,9} [0-9])[0-9]+\\.[0-9]{4} +";
  static const std::string residual = "[0-9]\\.[0-9]{6}e[-+][0-9]{2}";
  static const std::regex trial("((?:[0-9]+ +){3}) {3}" + time + rate + residual + " (" + residual +
                                ")   (pass|FAIL)");
  static const std::regex summary("((?:[0-9]+ +){3}) {4}" + rate + "(?=[0-9. ]{8,9}$)[0-9]+\\.[0-9]{4} *");

  std::istringstream lines(report);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    line = std::regex_replace(line, date, "Current date/time: Www Mmm dd hh:mm:ss yyyy");
    if (std::regex_match(line, frequency)) {
      line = "CPU frequency:    #.### GHz";
    } else if (std::regex_match(line, match, count)) {
      line = match[1].str() + ": #";
    } else if (std::regex_match(line, match, trial)) {
      const bool below_limit = std::atof(match[2].str().c_str()) < 100.0;
      if (below_limit == (match[3] == "pass")) {
        line = match[1].str() + "   #.###      #.####   #.######e### #.######e###   " + match[3].str();
      }
    } else if (std::regex_match(line, match, summary)) {
      line = match[1].str() + "    #.####   #.####  ";
    }
    result += line + "\n";
  }
  return result;
}

// The parameters of a run as the report shows them, one value for each test.
struct Parameters {
  std::vector<int> size, dimension, trials, alignment;
};

inline std::string padded(int value, std::size_t width) {
  std::string text = std::to_string(value);
  if (text.size() < width) text.resize(width, ' ');
  return text;
}

inline std::string warning(const std::string& name, int value, const std::string& rule, int bound,
                           int taken) {
  return "Warning: incorrect parameter " + name + " (" + std::to_string(value) + "),\nmust be not " + rule +
         " than (" + std::to_string(bound) + "),\nset to default value (" + std::to_string(taken) + ").\n";
}

// From the date to the parameters.
inline std::string expected_header(const Parameters& run) {
  const auto row = [](const std::vector<int>& values) {
    std::string text;
    for (const int value : values) text += " " + padded(value, 5);
    return text + "\n";
  };
  return "Current date/time: Www Mmm dd hh:mm:ss yyyy\n\nCPU frequency:    #.### GHz\n"
         "Number of CPUs: #\nNumber of cores: #\nNumber of threads: #\n\nParameters are set to:\n\n"
         "Number of tests: " +
         std::to_string(run.size.size()) + "\nNumber of equations to solve (problem size) :" + row(run.size) +
         "Leading dimension of array                  :" + row(run.dimension) +
         "Number of trials to run                     :" + row(run.trials) +
         "Data alignment value (in Kbytes)            :" + row(run.alignment) + "\n";
}

// From the date to the end, where every trial passes. `memory` is the number of bytes asked for and the size
// that asks for them.
inline std::string expected_report(const Parameters& run, const std::string& memory) {
  std::string trials, summary;
  for (std::size_t i = 0; i < run.size.size(); ++i) {
    if (run.size[i] == 0) continue;
    const std::string test =
        padded(run.size[i], 6) + " " + padded(run.dimension[i], 6) + " " + padded(run.alignment[i], 6) + " ";
    for (int trial = 0; trial < run.trials[i]; ++trial)
      trials += test + "#.###      #.####   #.######e### #.######e###   pass\n";
    summary += test + " #.####   #.####  \n";
  }
  return expected_header(run) + "Maximum memory requested that can be used=" + memory +
         "\n\n=================== Timing linear equation system solver ===================\n\n"
         "Size   LDA    Align. Time(s)    GFlops   Residual     Residual(norm) Check\n" +
         trials + "\nPerformance Summary (GFlops)\n\nSize   LDA    Align.  Average  Maximal\n" + summary +
         "\nResidual checks PASSED\n\nEnd of tests\n\n";
}

}  // namespace vex::test
