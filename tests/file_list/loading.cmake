zemo_test(discovery_test
  discovery_test.cpp
  discovery_pattern_test.cpp
  LINK zemo::selfcheck)
zemo_test(signature_test signature_test.cpp ../support/scripted_exec.cpp
  LINK zemo::selfcheck zemo::core)
zemo_test(signature_gpg_test signature_gpg_test.cpp LINK zemo::selfcheck)
# The package double comes first: the program then loads it, and the real package library no more.
zemo_test(loading_test
  loading_fixture.cpp
  loading_test.cpp
  merging_test.cpp
  verified_loading_test.cpp
  ../support/scripted_exec.cpp
  LINK package_double zemo::selfcheck zemo::core ${CMAKE_DL_LIBS})
