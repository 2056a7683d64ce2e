#include "check/metrics_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "sets/items.h"
#include "text/escape.h"
#include "text/strings.h"

using namespace ZEMO::SELF_CHECK;

namespace tool {
namespace {

const std::string prefix = "zemo_selfcheck_";
const std::string lastCleanName = "last_clean_timestamp_seconds";

constexpr std::array<CHECK_ERROR, 8> kinds = {
    CHECK_ERROR_SIZE,       CHECK_ERROR_OWNER, CHECK_ERROR_GROUP,     CHECK_ERROR_TYPE,
    CHECK_ERROR_PERMISSION, CHECK_ERROR_HASH,  CHECK_ERROR_NOT_EXIST, CHECK_ERROR_UNKNOWN_FILE,
};

// Names as this program prints them everywhere, and so without line feeds, in the format's quotes.
std::string label(const char* name, const std::string& value) {
  std::string text = std::string(name) + "=\"";
  for (char const c : escaped(value)) {
    if (c == '"' || c == '\\')
      text += '\\';
    text += c;
  }
  return text + '"';
}

std::string labels(const std::string& set, const std::string& mode, const std::string& root) {
  return label("set", set) + "," + label("mode", mode) +
         (root.empty() ? "" : "," + label("root", root));
}

std::string sample(const std::string& name, const std::string& labels, const std::string& value) {
  return prefix + name + "{" + labels + "} " + value + "\n";
}

std::string heading(const std::string& name, const std::string& help) {
  return "# HELP " + prefix + name + " " + help + "\n# TYPE " + prefix + name + " gauge\n";
}

std::string decimal(double number) {
  std::array<char, 40> text{};
  (void)snprintf(text.data(), text.size(), "%.3f", number);
  return text.data();
}

using Value = std::optional<std::string>;

Value known(std::time_t time) {
  return time == 0 ? Value() : std::to_string(time);
}

// Null if it could not be read or was not required.
const Manifest* manifestOf(const SetRun& run) {
  return run.facts.manifest && run.facts.manifest->manifest ? &*run.facts.manifest->manifest
                                                            : nullptr;
}

struct Metric {
  std::string name;
  const char* help;
  Value (*value)(const SetRun& run);
};

// All metrics except the mismatches, which have one more label.
const std::array<Metric, 16> metrics = {{
    {"entries", "Entries of the set.",
     [](const SetRun& run) -> Value { return std::to_string(run.facts.entries); }},
    {"unchecked_entries",
     "Entries that were not checked: their content could not be read, or the run was interrupted.",
     [](const SetRun& run) -> Value {
       return std::to_string(run.facts.entries - run.counters.checked);
     }},
    {"accepted_mismatches", "Accepted mismatches found.",
     [](const SetRun& run) -> Value { return std::to_string(run.counters.accepted); }},
    {"content_bytes", "Bytes of content read and compared, where lists state sizes.",
     [](const SetRun& run) -> Value { return std::to_string(run.facts.bytes); }},
    {"lists", "Lists of the set.",
     [](const SetRun& run) -> Value { return std::to_string(run.facts.lists); }},
    {"set_loaded", "Whether the set could be loaded.",
     [](const SetRun& run) -> Value { return run.facts.loaded ? "1" : "0"; }},
    {"set_verified", "Whether the set could be loaded, with every list's signature verified.",
     [](const SetRun& run) -> Value { return run.verified ? "1" : "0"; }},
    {"oldest_signature_timestamp_seconds",
     "When the oldest signature of the set's lists was made; absent if they were not verified.",
     [](const SetRun& run) { return known(run.facts.oldestSignature); }},
    {"manifest_fits",
     "Whether the set is the one that its signed manifest describes; absent if none is required.",
     [](const SetRun& run) -> Value {
       if (!run.facts.manifest)
         return {};
       return run.facts.manifest->state == ManifestCheck::State::FITS ? "1" : "0";
     }},
    {"manifest_serial", "Serial number of the manifest; absent if it could not be read.",
     [](const SetRun& run) -> Value {
       const Manifest* const manifest = manifestOf(run);
       return manifest == nullptr ? Value() : std::to_string(manifest->label.serial);
     }},
    {"manifest_timestamp_seconds", "When the manifest was made; absent if it could not be read.",
     [](const SetRun& run) -> Value {
       const Manifest* const manifest = manifestOf(run);
       return manifest == nullptr ? Value() : std::to_string(manifest->label.date);
     }},
    {"interrupted", "Whether the run was interrupted before the set was checked as a whole.",
     [](const SetRun& run) -> Value { return run.counters.partial ? "1" : "0"; }},
    {"exit_status", "The exit status for this set alone.",
     [](const SetRun& run) -> Value { return std::to_string(exitStatus(run.counters)); }},
    {"duration_seconds", "How long loading and checking the set took.",
     [](const SetRun& run) -> Value { return decimal(run.seconds); }},
    {"last_run_timestamp_seconds", "End of the last run.",
     [](const SetRun& run) -> Value { return std::to_string(run.ended); }},
    {lastCleanName,
     "End of the last run that verified and checked the whole set and found nothing new.",
     [](const SetRun& run) { return known(run.lastClean); }},
}};

std::string mismatches(const std::string& mode, const std::vector<SetRun>& runs,
                       const std::string& root) {
  std::string text = heading("mismatches", "Mismatches that are not accepted, by kind.");
  for (const SetRun& run : runs) {
    for (CHECK_ERROR const kind : kinds) {
      auto const found = run.counters.kinds.find(kind);
      std::size_t const number = found == run.counters.kinds.end() ? 0 : found->second;
      text +=
          sample("mismatches", labels(run.set, mode, root) + "," + label("kind", kindName(kind)),
                 std::to_string(number));
    }
  }
  return text;
}

}  // namespace

bool isClean(const SetRun& run) {
  return run.verified && exitStatus(run.counters) == 0;
}

std::string metricsText(const std::string& mode, const std::vector<SetRun>& runs,
                        const std::string& root) {
  std::string text = mismatches(mode, runs, root);
  for (const Metric& metric : metrics) {
    std::string samples;
    for (const SetRun& run : runs) {
      if (Value const value = metric.value(run))
        samples += sample(metric.name, labels(run.set, mode, root), *value);
    }
    if (!samples.empty())
      text += heading(metric.name, metric.help) + samples;
  }
  return text;
}

bool isMetricsText(const std::string& content) {
  return startsWith(content, "# HELP " + prefix);
}

std::string lastCleanSample(const std::string& set, const std::string& mode,
                            const std::string& root) {
  return prefix + lastCleanName + "{" + labels(set, mode, root) + "} ";
}

}  // namespace tool
