// doctor: users with write access to the files and directories that decide.

#include "fixture.h"

class DoctorOwnershipTest : public DoctorTest {};

TEST_F(DoctorOwnershipTest, FilesThatOthersMayWriteAreNamed) {
  for (const std::string& path : {home("wam.full.base.list"), home("wam.full.base.list.asc"),
                                  home("pubring.kbx"), home("gpg.conf")}) {
    changeMode(path, 0664);
    expectProblem(doctor(), unchecked, "'" + path + "' is writable by its group",
                  "chmod go-w " + path);
    changeMode(path, 0646);
    expectProblem(doctor(), unchecked, "'" + path + "' is writable by others",
                  "chmod go-w " + path);
    changeMode(path, 0644);
  }
}

TEST_F(DoctorOwnershipTest, ParentsThatOthersMayWriteAreNamedOnce) {
  for (const char* const path : {"/usr", "/usr/zemo", listDir}) {
    changeMode(path, 0777);
    expectProblem(doctor(), unchecked,
                  std::string("'") + path + "' is writable by its group and others",
                  std::string("chmod go-w ") + path);
    changeMode(path, 0755);
  }
}

TEST_F(DoctorOwnershipTest, FilesThatAreNotRootsAreNamed) {
  if (chown(home("gpg.conf").c_str(), 1, 0) != 0)
    GTEST_SKIP() << "there is no other user here";
  ProgramRun const run = doctor();
  expectProblem(run, unchecked, "'" + home("gpg.conf") + "' belongs to user 1, not to root",
                "chown root " + home("gpg.conf"));
}

TEST_F(DoctorOwnershipTest, LinksAreFollowedToTheirTargetsParents) {
  makeDirectory("/usr/zemo/other/inner");
  changeMode("/usr/zemo/other", 0775);
  changeMode("/usr/zemo/other/inner", 0755);
  writeFile("/usr/zemo/other/inner/gpg.conf", readFile(home("gpg.conf")));
  remove(home("gpg.conf"));
  makeLink("../other/./inner/../inner/gpg.conf", home("gpg.conf"));
  expectProblem(doctor(), unchecked, "'/usr/zemo/other' is writable by its group",
                "chmod go-w /usr/zemo/other");
  changeMode("/usr/zemo/other", 0755);
  EXPECT_EQ(doctor().status, 0);
  remove(home("gpg.conf"));
  makeLink("/usr/zemo/other/inner/gpg.conf", home("gpg.conf"));
  changeMode("/usr/zemo/other/inner", 0757);
  expectProblem(doctor(), unchecked, "'/usr/zemo/other/inner' is writable by others",
                "chmod go-w /usr/zemo/other/inner");
  remove("/usr/zemo/other");
}

TEST_F(DoctorOwnershipTest, ALinkToItselfEndsTheSearch) {
  remove(home("gpg.conf"));
  makeLink("gpg.conf", home("gpg.conf"));
  expectAmong(doctor(), notLoaded,
              "'" + home("gpg.conf") + "' leads through a link that cannot be followed");
}

TEST_F(DoctorOwnershipTest, DevicesMayBeWritableByOthers) {
  for (const char* const name :
       {"gpg.conf", "pubring.kbx", "trustdb.gpg", "wam.full.base.list", "wam.full.base.list.asc"}) {
    bool const isThere = access(home(name).c_str(), F_OK) == 0;
    std::string const content = isThere ? readFile(home(name)) : "";
    remove(home(name));
    makeLink("/dev/null", home(name));
    ProgramRun const run = doctor();
    expectAmong(run, run.status, "'" + home(name) + "' is not a regular file");
    EXPECT_NE(run.status & notLoaded, 0);
    bool const command = run.output.find("    fix: rm " + home(name)) != std::string::npos;
    EXPECT_TRUE(command || run.output.find("    fix: remove '" + home(name) + "', and then ") !=
                               std::string::npos)
        << run.output;
    EXPECT_EQ(run.output.find("chmod"), std::string::npos) << run.output;
    remove(home(name));
    if (isThere)
      writeFile(home(name), content);
  }
}

TEST_F(DoctorOwnershipTest, AnOrderThatOthersMayWrite) {
  order("wam.full.base.list\n");
  changeMode(home("listorder"), 0666);
  expectProblem(doctor(), unchecked,
                "'" + home("listorder") + "' is writable by its group and others",
                "chmod go-w " + home("listorder"));
}

TEST_F(DoctorOwnershipTest, APackagesDirectoryThatOthersMayWrite) {
  addList(installDemo(), "demo.full.base.list", sized("/b") + "\n");
  changeMode(home("packages/demo"), 0775);
  expectProblem(doctor(), unchecked, "'" + home("packages/demo") + "' is writable by its group",
                "chmod go-w " + home("packages/demo"));
}
