// zemo-selfcheck check --metrics, and the samples that it writes.

#ifndef ZEMO_TESTS_UNIT_TOOLS_CHECK_METRICS_FIXTURE_H
#define ZEMO_TESTS_UNIT_TOOLS_CHECK_METRICS_FIXTURE_H

#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fixture.h"

class CheckMetricsTest : public CheckTest {
 protected:
  ProgramRun measured(std::vector<std::string> words = {}) const {
    words.insert(words.end(), {"--metrics", metrics});
    return check(words);
  }

  // Values by the text before them, without the prefix that all names share.
  std::map<std::string, std::string> samples() const {
    const std::string prefix = "zemo_selfcheck_";
    std::map<std::string, std::string> values;
    for (const std::string& line : linesOf(readFile(metrics))) {
      if (line.front() == '#')
        continue;
      EXPECT_EQ(line.find(prefix), 0U) << line;
      std::size_t const end = line.rfind("} ");
      bool const isNew =
          values.emplace(line.substr(prefix.size(), end + 1 - prefix.size()), line.substr(end + 2))
              .second;
      EXPECT_TRUE(isNew) << line;
    }
    return values;
  }

  // The value of one sample; empty if there is none. `set` and `more` are as in the file.
  std::string value(const std::string& name, const std::string& set = "wam",
                    const std::string& more = "") const {
    std::map<std::string, std::string> const all = samples();
    auto const found = all.find(name + "{set=\"" + set + "\",mode=\"full\"" + more + "}");
    return found == all.end() ? "" : found->second;
  }

  std::string mismatches(const std::string& kind) const {
    return value("mismatches", "wam", ",kind=\"" + kind + "\"");
  }

  static std::string cleanSample(const std::string& time, const std::string& set = "wam") {
    return "zemo_selfcheck_last_clean_timestamp_seconds{set=\"" + set + "\",mode=\"full\"} " + time;
  }

  std::string const metrics = files / "selfcheck.prom";
};

#endif
