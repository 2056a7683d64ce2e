// Sets as their maker sends them, and the ways in which they are installed.

#ifndef ZEMO_TESTS_UNIT_TOOLS_INSTALL_FIXTURE_H
#define ZEMO_TESTS_UNIT_TOOLS_INSTALL_FIXTURE_H

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "../doctor/fixture.h"

// The installed set has the list `base`, which DoctorTest has installed.
class InstallTest : public DoctorTest {
 protected:
  // Signs lists of the set wam, by the middle of their names, in a new directory; with a manifest
  // if it has a serial. The value is the path that the list's only entry names.
  std::string sent(const std::string& name, const std::map<std::string, std::string>& lists,
                   const std::string& manifestSerial = "", const std::string& serial = "3") {
    return sentOf("wam", name, lists, manifestSerial, serial);
  }
  std::string sentOf(const std::string& set, const std::string& name,
                     const std::map<std::string, std::string>& lists,
                     const std::string& manifestSerial = "", const std::string& serial = "3") {
    std::string directory = files / name;
    makeDirectory(directory);
    std::string start = directory;
    start += "/" + set + ".full.";
    std::vector<std::string> words = {"sign", "--key", "Maker", "--homedir", key().home()};
    if (!manifestSerial.empty())
      words.insert(words.end(), {"--manifest", start + "manifest", "--serial", manifestSerial});
    for (const auto& [list, path] : lists) {
      writeFile(start + list + ".list", "WAM_SELF_CHECK\nset=" + set + " mode=full list=" + list +
                                            " serial=" + serial + " date=2026-09-21T12:00:00Z\n" +
                                            sized(path) + "\n");
      words.push_back(start + list + ".list");
    }
    ProgramRun const run = tool(words);
    EXPECT_EQ(run.status, 0) << run.errors;
    return directory;
  }

  static ProgramRun install(std::vector<std::string> words) {
    words.insert(words.begin(), "install");
    return tool(words);
  }

  // Where the set's directory is a mount point, it cannot be exchanged.
  static ProgramRun installByRenames(std::vector<std::string> words) {
    words.insert(words.begin(), "install");
    return toolAfter("mount --bind " + std::string(listDir) + " " + listDir, words);
  }

  // The names in the directory, except the key ring's files, each ended by a blank.
  static std::string names(const std::string& directory = listDir) {
    std::vector<std::string> found;
    for (const auto& member : std::filesystem::directory_iterator(directory))
      found.push_back(member.path().filename());
    std::sort(found.begin(), found.end());
    std::string text;
    for (const std::string& name : found) {
      if (name != "gpg.conf" && name != "pubring.kbx" && name != "packages")
        text += name + " ";
    }
    return text;
  }

  static std::string namesAbove() { return names("/usr/zemo"); }
};

#endif
