#include "doctor/signatures.h"

#include <zemo/selfcheck.h>

#include <sstream>

#include "common/escape.h"
#include "common/log_relay.h"
#include "common/process.h"
#include "common/sets.h"

namespace tool {
namespace {

struct Diagnosis {
  std::string what;
  std::string mend;
};

// Why GnuPG does not verify the list, by its status lines.
Diagnosis diagnose(const std::string& list) {
  Command command;
  command.words = {"/usr/bin/gpg", "--homedir", systemDirectory, "--status-fd", "3", "--verify",
                   list + ".asc",  list};
  command.captured = 3;
  command.showErrors = false;
  command.cleanEnvironment = true;
  Outcome const outcome = run(command);
  std::istringstream lines(outcome.output);
  bool good = false;
  for (std::string prefix, word, argument, line; std::getline(lines, line);) {
    std::istringstream words(line);
    words >> prefix >> word >> argument;
    if (word == "NO_PUBKEY")
      return {"the key " + escaped(argument) + " is not in the key ring",
              "zemo-selfcheck init-home --import KEYFILE, with that key, if you trust it"};
    if (word == "BADSIG")
      return {"it is not what was signed",
              "install the list and its .asc again, both of the same making"};
    if (word == "NODATA")
      return {"there is no signature in its .asc",
              "zemo-selfcheck sign " + shellWord(list) + " --key KEY"};
    good = good || word == "GOODSIG" || word == "EXPKEYSIG" || word == "REVKEYSIG";
  }
  if (good)
    return {"GnuPG finds the signature good, but ends with status " +
                std::to_string(outcome.status) + ", as it does without a trust database",
            "echo 'trust-model always' >>" + shellWord(systemDirectory + "/gpg.conf")};
  return {"GnuPG ends with status " + std::to_string(outcome.status),
          "zemo-selfcheck verify tells more; mend what is wrong with the key ring or gpg.conf"};
}

}  // namespace

void checkSignatures(const SetFiles& files, bool gnupgRuns, Ownership& ownership,
                     Findings& findings) {
  ZEMO::SELF_CHECK::FileList const verifier(files.set, files.mode);
  for (const std::string& list : files.lists) {
    std::string const sign = "zemo-selfcheck sign " + shellWord(list) + " --key KEY";
    bool const isList = ownership.look(list, Kind::FILE, STATUS_NOT_LOADED,
                                       "rm " + shellWord(list) + ", or install the list again");
    bool const isSigned = ownership.look(list + ".asc", Kind::FILE, STATUS_NOT_LOADED, sign);
    if (!isList || !isSigned)
      continue;
    if (!gnupgRuns) {
      findings.problem(STATUS_NOT_LOADED, inQuotes(list) + " is not verified: GnuPG was not run",
                       "mend first what is wrong with GnuPG and its files");
      continue;
    }
    std::vector<std::string> ignored;  // diagnose() tells more
    CollectedLog const log(ignored);
    if (verifier.checkSign(list)) {
      findings.well(inQuotes(list) + " verifies for this caller");
      continue;
    }
    Diagnosis const diagnosis = diagnose(list);
    findings.problem(STATUS_NOT_LOADED,
                     inQuotes(list) + " does not verify for this caller: " + diagnosis.what,
                     diagnosis.mend);
  }
}

}  // namespace tool
