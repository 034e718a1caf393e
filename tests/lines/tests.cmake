find_package(Threads REQUIRED)
kiv_tests(lines
  SOURCES Cut_test.cpp Lines_test.cpp Matching_test.cpp Partition_test.cpp Reuse_test.cpp Turned_test.cpp
  LINKS kiv_lines Threads::Threads)
