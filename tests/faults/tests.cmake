kiv_tests(faults
  SOURCES BrokenOff_test.cpp FullDisk_test.cpp Process_test.cpp RefusedMemory_test.cpp
  LINKS kiv_console)
target_compile_definitions(test_faults PRIVATE KIV_PROGRAM="$<TARGET_FILE:kiv>")
add_dependencies(test_faults kiv)
