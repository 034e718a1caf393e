kiv_tests(base
  SOURCES Array_test.cpp BlockFile_test.cpp MachineMemory_test.cpp Numbers_test.cpp Threads_test.cpp
  LINKS kiv_base)
