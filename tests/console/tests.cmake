find_package(Threads REQUIRED)
kiv_tests(console
  SOURCES Conversion_test.cpp Log_test.cpp Run_test.cpp RunCases_test.cpp Scan_test.cpp
  LINKS kiv_console Threads::Threads)
