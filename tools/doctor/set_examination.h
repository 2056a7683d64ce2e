// Examining one set: its lists, signatures, order, manifest, entries and package.

#ifndef ZEMO_TOOLS_DOCTOR_SET_EXAMINATION_H
#define ZEMO_TOOLS_DOCTOR_SET_EXAMINATION_H

#include <cstdint>
#include <optional>
#include <string>

#include "doctor/findings.h"
#include "doctor/home.h"
#include "doctor/ownership.h"
#include "root/other_root.h"

namespace tool {

// Where a set is examined.
struct Surroundings {
  std::string mode;
  const OtherRoot* root;  // null: this machine
  const HomeState& home;  // always this machine's
  Ownership& ownership;   // of the directories of sets
};

// `acceptedSerial`: the highest serial of a manifest that this machine has accepted for the set.
void examineSet(const std::string& set, const std::optional<uint64_t>& acceptedSerial,
                const Surroundings& surroundings, Findings& findings);

}  // namespace tool

#endif
