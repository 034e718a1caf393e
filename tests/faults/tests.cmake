kiv_tests(faults
  SOURCES FaultTest.cpp RefusedMemory_test.cpp FullDisk_test.cpp BrokenOff_test.cpp Process_test.cpp
  LINKS kiv_run)
target_compile_definitions(test_faults PRIVATE KIV_PROGRAM="$<TARGET_FILE:kiv>")
add_dependencies(test_faults kiv)
