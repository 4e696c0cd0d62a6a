// Blanks out what differs from run to run in a report, keeping the layout, and judges the figures it blanks
// out.
#pragma once

#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>

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

}  // namespace vex::test
